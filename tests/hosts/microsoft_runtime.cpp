#include <windows.h>

#include <stdlib.h>

// The few things that Visual Studio links into a program and that are needed here: the start of the
// program and what the compiler refers to by name. The functions that handle exceptions are in
// vcruntime140.dll.

// The host's main(), which C++ does not allow to be called by its own name.
extern "C" int HostMain(int count, char** arguments) __asm__("_main");

// The table of virtual functions of the class `type_info`. The description of each type that the
// program catches contains its address; the runtime compares types by their names.
extern "C" const void* const kTypeInfoTable __asm__("??_7type_info@@6B@") = nullptr;

// A class with a virtual destructor refers to one of these; from Clang 19 on, to the second. The
// host allocates no objects.
void operator delete(void* object) noexcept {
    ::free(object);
}
void operator delete(void* object, size_t) noexcept {
    ::free(object);
}

// Of msvcrt.dll.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" int __cdecl __getmainargs(int* count, char*** arguments, char*** environment,
                                     int wildcards, int* newMode);

extern "C" void Start() {
    int count = 0;
    char** arguments = nullptr;
    char** environment = nullptr;
    int newMode = 0;
    (void)::__getmainargs(&count, &arguments, &environment, 0, &newMode);
    ::ExitProcess(static_cast<UINT>(HostMain(count, arguments)));
}

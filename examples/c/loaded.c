/*
 * A host that loads libmendloft.dll at run time, from its own folder and from nowhere else.
 *
 *   loaded install    install Apple's USB driver
 *   loaded remove     remove it
 */
#include <windows.h>

#include <mendloft/mendloft.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

/* With a full path, Windows does not search the current folder and PATH for the library. */
static HMODULE LoadFromOwnFolder(const wchar_t* name) {
    wchar_t path[MAX_PATH];
    const DWORD length = GetModuleFileNameW(NULL, path, MAX_PATH);
    if (length == 0 || length == MAX_PATH) return NULL;
    wchar_t* const file = wcsrchr(path, L'\\') + 1;
    if ((size_t)(file - path) + wcslen(name) >= MAX_PATH) return NULL;
    wcscpy(file, name);
    return LoadLibraryExW(path, NULL, LOAD_WITH_ALTERED_SEARCH_PATH);
}

static const char* Meaning(int32_t result) {
    switch (result) {
        case kMendloftSetupToolRan:
            return "the installer tool was run";
        case kMendloftSetupInfMissing:
            return "the driver's INF file is missing";
        case kMendloftSetupToolMissing:
            return "the installer tool is missing";
        case kMendloftSetupToolNotStarted:
            return "the installer tool could not be started";
        default:
            return "a result that this program does not know";
    }
}

/* A cast through this type avoids a warning about incompatible function types. */
typedef void (*AnyFunction)(void);

static int SetUpUsb(HMODULE library, bool install) {
    const MendloftFolderFunction fixFolders =
        (MendloftFolderFunction)(AnyFunction)GetProcAddress(library, "MendloftFolder");
    const MendloftSetupFunction setUp =
        (MendloftSetupFunction)(AnyFunction)GetProcAddress(library, "SetUpUSBDriver");
    if (fixFolders == NULL || setUp == NULL) {
        fputs("libmendloft.dll lacks MendloftFolder or SetUpUSBDriver\n", stderr);
        return EXIT_FAILURE;
    }
    /* SetUpUSBDriver does not report that the driver archive could not be unpacked. */
    if (install && fixFolders(1) != kMendloftFoldersBuilt) {
        fputs("MendloftFolder: the folders could not be rebuilt\n", stderr);
        return EXIT_FAILURE;
    }
    const int32_t result = setUp(install); /* returns when the installer tool has ended */
    printf("SetUpUSBDriver: %d, %s\n", (int)result, Meaning(result));
    return result == kMendloftSetupToolRan ? EXIT_SUCCESS : EXIT_FAILURE;
}

int main(int argc, char** argv) {
    const bool install = argc == 2 && strcmp(argv[1], "install") == 0;
    if (!install && !(argc == 2 && strcmp(argv[1], "remove") == 0)) {
        fputs("usage: loaded install | loaded remove\n", stderr);
        return EXIT_FAILURE;
    }
    const HMODULE library = LoadFromOwnFolder(L"libmendloft.dll");
    if (library == NULL) {
        fprintf(stderr, "libmendloft.dll cannot be loaded: error %lu\n", GetLastError());
        return EXIT_FAILURE;
    }
    const int code = SetUpUsb(library, install);
    FreeLibrary(library);
    return code;
}

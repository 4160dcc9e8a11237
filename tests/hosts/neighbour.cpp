// A library with a compiler's runtime of its own, as an application's other libraries have one.

namespace {

struct Failure {
    int number;
};

[[noreturn]] void Fail(int number) {
    throw Failure{number};
}

}  // namespace

extern "C" __declspec(dllexport) int __cdecl ThrowInside(int number) {
    try {
        Fail(number);
    } catch (const Failure& failure) {
        return failure.number;
    }
}

#include <windows.h>

// A process for tests to end. It sleeps for a minute and then exits with code 1.
int main() {
    ::Sleep(60'000);
    return 1;
}

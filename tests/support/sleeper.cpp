#include <windows.h>

// A process to be ended: sleeps for a minute, then ends by itself with code 1.
int main() {
    ::Sleep(60'000);
    return 1;
}

#pragma once

#include <windows.h>

#include <stdarg.h>
#include <stdio.h>

// What a host of the matrix reports. The hosts are built for two C++ ABIs, and there is no standard
// library for one of them. So the files of this folder use only Windows, a few functions of
// msvcrt.dll and each other.

// The number of expectations that have failed so far, and of those that were met.
inline int g_failed = 0;
inline int g_met = 0;

// Writes a line at once. So the output of a host that is ended shows how far it came.
inline void Say(const char* format, ...) {
    char line[400];
    va_list arguments;
    va_start(arguments, format);
    int length = ::_vsnprintf(line, sizeof(line) - 1, format, arguments);
    va_end(arguments);
    if (length < 0) length = static_cast<int>(sizeof(line)) - 1;  // the text was cut
    line[length] = '\n';
    DWORD written = 0;
    (void)::WriteFile(::GetStdHandle(STD_OUTPUT_HANDLE), line, static_cast<DWORD>(length) + 1,
                      &written, nullptr);
}

// Announces what is tried next.
inline void Begin(const char* what) {
    Say("trying: %s", what);
}

inline bool Expect(bool isTrue, const char* what) {
    if (isTrue) {
        ++g_met;
    } else {
        ++g_failed;
        Say("FAILED: %s", what);
    }
    return isTrue;
}

// For results, counts and HRESULTs.
inline bool ExpectEqual(long expected, long actual, const char* what) {
    if (Expect(expected == actual, what)) return true;
    Say("        expected %ld (0x%lX), got %ld (0x%lX)", expected, expected, actual, actual);
    return false;
}

// The host's exit code: 0 if everything that was expected has happened.
inline int Verdict() {
    Say("%d expectations met, %d failed", g_met, g_failed);
    return g_failed == 0 && g_met > 0 ? 0 : 1;
}

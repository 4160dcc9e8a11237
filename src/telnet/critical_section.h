#pragma once

#include <windows.h>

namespace TELNET {

// A critical section that is created and deleted with its owner. The functions have the names that
// the locks of the standard library call.
class CriticalSection {
public:
    CriticalSection() { ::InitializeCriticalSection(&section_); }
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;
    ~CriticalSection() { ::DeleteCriticalSection(&section_); }

    void lock() { ::EnterCriticalSection(&section_); }
    bool try_lock() { return ::TryEnterCriticalSection(&section_) != FALSE; }
    void unlock() { ::LeaveCriticalSection(&section_); }

private:
    CRITICAL_SECTION section_;
};

}  // namespace TELNET

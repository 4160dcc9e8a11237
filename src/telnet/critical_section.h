#pragma once

#include <windows.h>

namespace TELNET {

// A critical section that lives and dies with its owner, named as std::lock_guard asks.
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

#pragma once

#include <windows.h>

#include <cstdlib>
#include <string>
#include <string_view>

#include "support/fake_api.h"

// The Windows version in the name of the prefix that the tests run in, such as "6.1". Empty when
// they run in none.
[[nodiscard]] inline std::string PrefixVersion() {
    const char* name = std::getenv("MENDLOFT_PREFIX");
    return name == nullptr ? "" : std::string(name).substr(std::string_view("win64-").size());
}

[[nodiscard]] inline bool PrefixIs64Bit() {
    const char* name = std::getenv("MENDLOFT_PREFIX");
    return name != nullptr && std::string_view(name).starts_with("win64-");
}

// Fakes the Windows version and the processor architecture. What a test does not set stays real.
class FakeOs {
public:
    explicit FakeOs(HMODULE module = ::GetModuleHandleW(nullptr))
        : getProcAddress_([this](HMODULE from, const char* name) { return LookUp(from, name); },
                          module) {
        current_ = this;
    }
    FakeOs(const FakeOs&) = delete;
    FakeOs& operator=(const FakeOs&) = delete;
    ~FakeOs() { current_ = nullptr; }

    void Version(DWORD major, DWORD minor, LONG status = 0) {
        versionAsked_ = Answer::kFake;
        major_ = major;
        minor_ = minor;
        status_ = status;
    }
    void WithoutRtlGetVersion() { versionAsked_ = Answer::kMissing; }

    void Architecture(WORD architecture) {
        architectureAsked_ = Answer::kFake;
        architecture_ = architecture;
        setsArchitecture_ = true;
    }
    void ArchitectureUntouched() {
        architectureAsked_ = Answer::kFake;
        setsArchitecture_ = false;
    }
    void WithoutGetNativeSystemInfo() { architectureAsked_ = Answer::kMissing; }
    void Is64Bit(bool yes) {
        Architecture(yes ? PROCESSOR_ARCHITECTURE_AMD64 : PROCESSOR_ARCHITECTURE_INTEL);
    }

    DWORD askedWithSize = 0;  // the size field of the last version record

private:
    enum class Answer { kReal, kFake, kMissing };

    FARPROC LookUp(HMODULE from, const char* name) {
        if (IS_INTRESOURCE(name)) return getProcAddress_.Real(from, name);
        if (std::string_view(name) == "RtlGetVersion")
            return Choose(versionAsked_, &RtlGetVersion, from, name);
        if (std::string_view(name) == "GetNativeSystemInfo") {
            return Choose(architectureAsked_, &GetNativeSystemInfo, from, name);
        }
        return getProcAddress_.Real(from, name);
    }

    template <typename Function>
    FARPROC Choose(Answer answer, Function fake, HMODULE from, const char* name) {
        switch (answer) {
            case Answer::kFake:
                return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(fake));
            case Answer::kMissing:
                return nullptr;
            default:
                return getProcAddress_.Real(from, name);
        }
    }

    static LONG WINAPI RtlGetVersion(RTL_OSVERSIONINFOW* version) {
        current_->askedWithSize = version->dwOSVersionInfoSize;
        version->dwMajorVersion = current_->major_;
        version->dwMinorVersion = current_->minor_;
        return current_->status_;
    }

    static void WINAPI GetNativeSystemInfo(SYSTEM_INFO* info) {
        if (current_->setsArchitecture_) info->wProcessorArchitecture = current_->architecture_;
    }

    static inline FakeOs* current_ = nullptr;
    Answer versionAsked_ = Answer::kReal;
    Answer architectureAsked_ = Answer::kReal;
    DWORD major_ = 0;
    DWORD minor_ = 0;
    LONG status_ = 0;
    WORD architecture_ = 0;
    bool setsArchitecture_ = true;
    FakeApi<"GetProcAddress", decltype(::GetProcAddress)> getProcAddress_;
};

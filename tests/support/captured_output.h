#pragma once

#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <string>
#include <vector>

#include "support/fake_api.h"
#include "support/temporary_folder.h"

// Captures the messages that a module writes to the debugger output while this object lives.
class CapturedDebugOutput {
public:
    explicit CapturedDebugOutput(HMODULE module = ::GetModuleHandleW(nullptr))
        : fake_([this](const wchar_t* text) { messages.emplace_back(text); }, module) {}

    std::vector<std::wstring> messages;

private:
    FakeApi<"OutputDebugStringW", decltype(::OutputDebugStringW)> fake_;
};

// Captures what the process writes to its standard output while this object lives. Modules that use
// the same C runtime share the stream.
class CapturedStandardOutput {
public:
    CapturedStandardOutput() : saved_(::_dup(::_fileno(stdout))) {
        std::fflush(stdout);
        const int file = ::_wopen(path_.c_str(), _O_CREAT | _O_TRUNC | _O_RDWR | _O_TEXT, 0600);
        ::_dup2(file, ::_fileno(stdout));
        ::_close(file);
    }
    CapturedStandardOutput(const CapturedStandardOutput&) = delete;
    CapturedStandardOutput& operator=(const CapturedStandardOutput&) = delete;
    ~CapturedStandardOutput() { End(); }

    // Ends the capture and returns the text, with the runtime's line ends converted to "\n".
    [[nodiscard]] std::string Text() {
        End();
        std::string text = FileContent(path_);
        std::erase(text, '\r');
        return text;
    }

private:
    void End() {
        if (saved_ < 0) return;
        std::fflush(stdout);
        ::_dup2(saved_, ::_fileno(stdout));
        ::_close(saved_);
        saved_ = -1;
    }

    TemporaryFolder folder_;
    std::wstring path_ = folder_ / L"stdout";
    int saved_;
};

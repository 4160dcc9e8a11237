#include <windows.h>
#include <shellapi.h>

#include <array>

#include "inf_installer/text.h"
#include "mendloftctl/encoding.h"
#include "mendloftctl/program.h"
#include "mendloftctl/worker.h"
#include "platform/unique_handle.h"

namespace {

std::wstring ProgramPath() {
    std::array<wchar_t, 32'768> path{};
    const DWORD length =
        ::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    return {path.data(), length};
}

std::vector<std::string> ArgumentsInUtf8() {
    int count = 0;
    const UniqueLocal<wchar_t*> words(::CommandLineToArgvW(::GetCommandLineW(), &count));
    std::vector<std::string> arguments;
    for (int index = 1; index < count; ++index) {
        arguments.push_back(ToUtf8(words.Get()[index]));
    }
    return arguments;
}

// A console takes UTF-16 whatever its code page is; anything else that output is sent to gets
// UTF-8.
void Print(DWORD standardHandle, std::string_view utf8) {
    const HANDLE output = ::GetStdHandle(standardHandle);
    DWORD mode = 0;
    DWORD written = 0;
    if (::GetConsoleMode(output, &mode)) {
        const std::wstring text = ctl::FromUtf8(utf8);
        ::WriteConsoleW(output, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    } else {
        ::WriteFile(output, utf8.data(), static_cast<DWORD>(utf8.size()), &written, nullptr);
    }
}

}  // namespace

int main() {
    const std::vector<std::string> arguments = ArgumentsInUtf8();
    if (const auto task = ctl::ParseWorkerArguments(arguments)) return ctl::RunWorker(*task);
    return ctl::RunProgram(
        arguments, {.program = ProgramPath(),
                    .printResult = [](std::string_view text) { Print(STD_OUTPUT_HANDLE, text); },
                    .printNote = [](std::string_view text) { Print(STD_ERROR_HANDLE, text); }});
}

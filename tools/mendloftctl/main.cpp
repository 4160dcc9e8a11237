#include <windows.h>
#include <shellapi.h>

#include "common/console.h"
#include "common/paths.h"
#include "common/text.h"
#include "mendloftctl/program.h"
#include "mendloftctl/worker.h"
#include "platform/unique_handle.h"

namespace {

std::vector<std::string> ArgumentsInUtf8() {
    int count = 0;
    const UniqueLocal<wchar_t*> words(::CommandLineToArgvW(::GetCommandLineW(), &count));
    std::vector<std::string> arguments;
    for (int index = 1; index < count; ++index) {
        arguments.push_back(tools::ToUtf8(words.Get()[index]));
    }
    return arguments;
}

}  // namespace

int main() {
    const std::vector<std::string> arguments = ArgumentsInUtf8();
    if (const auto task = ctl::ParseWorkerArguments(arguments)) return ctl::RunWorker(*task);
    return ctl::RunProgram(
        arguments,
        {.program = tools::ProgramPath(),
         .printResult = [](std::string_view text) { tools::Print(STD_OUTPUT_HANDLE, text); },
         .printNote = [](std::string_view text) { tools::Print(STD_ERROR_HANDLE, text); }});
}

#include <windows.h>
#include <shellapi.h>

#include "common/console.h"
#include "common/paths.h"
#include "common/text.h"
#include "mendloftctl/program.h"
#include "mendloftctl/worker.h"
#include "platform/unique_handle.h"

namespace {

// The arguments of main are in the system's code page, in which not every path can be written, so
// they are taken from the wide command line.
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

// The program is its own worker (worker.h): one file to ship, and both sides of the pipe are of the
// same version.
int main() {
    const std::vector<std::string> arguments = ArgumentsInUtf8();
    if (const auto task = ctl::ParseWorkerArguments(arguments)) return ctl::RunWorker(*task);
    return ctl::RunProgram(
        arguments,
        {.program = tools::ProgramPath(),
         .printResult = [](std::string_view text) { tools::Print(STD_OUTPUT_HANDLE, text); },
         .printNote = [](std::string_view text) { tools::Print(STD_ERROR_HANDLE, text); }});
}

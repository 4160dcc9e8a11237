#pragma once

#include "inf_installer/command_line.h"
#include "inf_installer/exit_code.h"
#include "inf_installer/report.h"

namespace installer {

// Does what the command line asks for and reports each step to `report`. Returns the exit code of
// the tool. Takes as long as Windows takes, a question to the user included.
[[nodiscard]] ExitCode Execute(const ParsedCommandLine& commandLine, Report& report);

}  // namespace installer

#pragma once

#include "inf_installer/command_line.h"
#include "inf_installer/exit_code.h"
#include "inf_installer/report.h"

namespace installer {

// Does what was asked for and tells about it.
[[nodiscard]] ExitCode Execute(const ParsedCommandLine& commandLine, Report& report);

}  // namespace installer

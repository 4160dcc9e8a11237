#pragma once

#include "command_line.h"
#include "exit_code.h"
#include "report.h"

// Does what was asked for and tells about it.
[[nodiscard]] ExitCode Execute(const ParsedCommandLine& commandLine, Report& report);

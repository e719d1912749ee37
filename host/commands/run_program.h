#pragma once

#include <functional>

namespace kelpo {

/// What a program's main does: opens the standard descriptors that are missing, runs `run`, and returns the program's
/// exit code: ExitCode::system when its output could not be written. An exception becomes one line on the standard
/// error, which begins with `program`, and its exit code: that of DriverLibraryError or LineError, or for any other
/// exception ExitCode::system.
int run_program(const char *program, const std::function<int()> &run);

}  // namespace kelpo

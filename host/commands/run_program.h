#pragma once

#include <functional>

namespace kelpo {

/// What a program's main does: opens the standard descriptors that are missing, runs `run`, and returns what the
/// program is to end with: ExitCode::system when what it printed could not be written. An exception becomes one line on
/// the standard error, which begins with `program`, and its exit code: DriverLibraryError, LineError, or for any other
/// that of a refusing system.
int run_program(const char *program, const std::function<int()> &run);

}  // namespace kelpo

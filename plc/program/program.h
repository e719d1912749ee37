#pragma once

namespace plc {

/// Runs the simulated controller as the command line says, until SIGINT, SIGTERM or SIGHUP. `argv` are the `argc`
/// arguments without the program's name; `name` is what the user calls the program by, such as "kelpo-plc": help and
/// errors show it. Returns the exit status: 0 after one of the signals or --help, 2 for wrong arguments or a mistake in
/// a file that they name, 1 for other errors. To be called once, as the last thing that the program does: the signals
/// stay blocked.
int run_program(int argc, const char *const *argv, const char *name);

}  // namespace plc

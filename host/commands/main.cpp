#include "host/commands/commands.h"
#include "host/commands/run_program.h"
#include "host/exit_code.h"

#include <iostream>
#include <string>
#include <vector>

namespace {

using kelpo::ExitCode;

const char *const help_footer =
    "Exit codes:\n"
    "   0  all well\n"
    "   1  a check, a comparison or a value was not right, or it ended too early to know\n"
    "   2  wrong usage, or a mistake in a list file\n"
    "   3  the driver cannot be loaded\n"
    "   4  the line cannot be opened, or failed\n"
    "   6  the system refused something else\n"
    "   7  no such address\n"
    "   8  no reply\n"
    "   9  refused by the controller\n"
    "  10  a bad reply\n"
    "If several apply, the highest counts.\n\n"
    "Register types 0 to 17 are the driver's own: each says how an address is written, whether it\n"
    "names coils or holding registers, and where these lie in the controller. A register class is\n"
    "the type whose registers it shares. docs/address-map.md lists both.";

int run_kelpo(int argc, char **argv) {
    common::CommandLine line("Talks to PLCs through the driver that panels use, loaded by file name as a panel does.",
                             "kelpo", KELPO_VERSION);
    common::Command app = line.command();
    app.require_subcommand();
    app.footer(help_footer);
    int exit_code = static_cast<int>(ExitCode::all_well);
    kelpo::add_check_command(app, exit_code);
    kelpo::add_plan_command(app, exit_code);
    kelpo::add_poll_command(app, exit_code);
#ifdef KELPO_SERVICE
    kelpo::add_serve_command(app, exit_code);
#endif
    kelpo::add_read_command(app, exit_code);
    kelpo::add_write_command(app, exit_code);
    kelpo::add_scan_command(app, exit_code);
    kelpo::add_trace_command(app, exit_code);
    kelpo::add_listen_command(app, exit_code);
    kelpo::add_address_command(app, exit_code);
    kelpo::add_plc_command(app, exit_code);

    const std::vector<std::string> arguments(argv + 1, argv + argc);
    return line.parse(arguments, std::cout, std::cerr).value_or(exit_code);
}

}  // namespace

int main(int argc, char **argv) {
    return kelpo::run_program("kelpo", [=] { return run_kelpo(argc, argv); });
}

#include "host/commands/commands.h"
#include "host/commands/once_options.h"

namespace kelpo {

void add_read_command(common::Command app, int &exit_code) {
    common::Command read = app.add_subcommand("read", "Read registers and bits once, and show their values.");
    const OnceCommandOptions options(read);
    read.footer(
        std::string(references_help) +
        "\nExamples:\n"
        "  kelpo read --line /dev/ttyUSB0 --speed 19200 --parity even 1:7:100\n"
        "  kelpo read --line tcp:192.168.1.20:4001 1:7:100x10/hex 2:12:40/float 1:15:5.3\n"
        "  kelpo read --list plant.toml --station 3 7:0x8 --json\n"
        "\nEnds with 0 when all was read, 7 bad address, 8 no reply, 9 refused by the controller, 10 bad reply; "
        "the highest\nof them when several references fail. 'kelpo --help' has all exit codes.");
    read.callback([options, &exit_code] { exit_code = static_cast<int>(options.run(run_read)); });
}

}  // namespace kelpo

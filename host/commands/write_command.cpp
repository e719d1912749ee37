#include "host/commands/commands.h"
#include "host/commands/once_options.h"
#include "host/commands/write_waits_option.h"

namespace kelpo {

void add_write_command(common::Command app, int &exit_code) {
    common::Command write = app.add_subcommand("write", "Write registers and bits.");
    const OnceCommandOptions options(write);
    write.add_flag("--check", options.chosen().check, "Read back what was written, and compare");
    const WriteWaitsOption waits(write);
    write.footer(std::string(references_help) +
                 "\nExamples:\n"
                 "  kelpo write --line /dev/ttyUSB0 --speed 19200 --parity even 1:7:100=42\n"
                 "  kelpo write --line /dev/ttyUSB0 --check 1:7:100=1,2,3 2:12:40/float=3.5 1:15:5.3=on\n"
                 "  kelpo write --line tcp:192.168.1.20:4001 1:7:200x50=0\n"
                 "\nReferences are written in their order; all are checked before the first is written. Type 0 "
                 "cannot be written.\nA bit in a register (types 15 to 17) is written by reading the register and "
                 "writing it back.\n"
                 "\nEnds with 0 when all was written, 1 when --check finds another value or a write was not sent in "
                 "time, 7 bad\naddress, 8 no reply, 9 refused by the controller, 10 bad reply; the highest of them "
                 "when several references\nfail. 'kelpo --help' has all exit codes.");
    write.callback([options, waits, &exit_code] {
        options.chosen().waits = waits.value();
        exit_code = static_cast<int>(options.run(run_write));
    });
}

}  // namespace kelpo

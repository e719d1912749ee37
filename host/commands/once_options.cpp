#include "host/commands/once_options.h"

#include "host/commands/stop_on_signals.h"

#include <iostream>

namespace kelpo {

const char *const references_help =
    "A reference is STATION:TYPE:ADDRESS[xCOUNT][/VIEW], and =VALUE[,VALUE...] after it to write:\n"
    "  STATION  1 to 247; may be left out with --station\n"
    "  TYPE     register type, 0 to 17: the driver's own number for a kind of address, such as 7 for 16-bit registers\n"
    "           (docs/address-map.md lists them)\n"
    "  ADDRESS  in the syntax of the type: octal for 0 and 1, from 200 on for 13, word.bit for 15 to 17\n"
    "  COUNT    how many values; a 32-bit value takes two registers (a list's count is in bits or registers)\n"
    "  VIEW     bits; unsigned, signed, hex, binary; float for types 12 to 14;\n"
    "           for types 7 to 11 also unsigned32, signed32, hex32, binary32, float: two registers, high word first,\n"
    "           or followed by -swapped: low word first\n"
    "  VALUE    decimal, 0x..., 0b..., a real number for float; 0, 1, on, off for bits; one for several places goes\n"
    "           to all of them\n";

OnceCommandOptions::OnceCommandOptions(common::Command command)
    : chosen_(std::make_shared<OnceOptions>()), line_(command, LinkSettings()) {
    command.add_option("references", chosen_->references, "What to read or write").required().type_name("REFERENCE");
    command.add_option("--station", chosen_->station, "The station of references that name none")
        .range(1, 247)
        .type_name("N");
    command.add_flag("--json", chosen_->json, "One JSON object for each reference, on a line of its own");
}

ExitCode OnceCommandOptions::run(ExitCode (*what)(DriverOnDemand &, const OnceOptions &, StopSignal &, std::ostream &,
                                                  std::ostream &)) const {
    DriverOnDemand driver(line_.driver_file());
    const auto settings = line_.settings(driver, std::cerr);
    if (!settings)
        return ExitCode::wrong_usage;
    chosen_->link = *settings;
    StopSignal stop;
    const StopOnSignals stopped(stop);
    return what(driver, *chosen_, stop, std::cout, std::cerr);
}

}  // namespace kelpo

#include "host/commands/commands.h"
#include "host/commands/list_or_line.h"
#include "host/commands/stop_on_signals.h"
#include "host/once/find_line.h"
#include "host/once/scan.h"
#include "host/text/words.h"

#include <iostream>
#include <memory>

#include <unistd.h>

namespace kelpo {
namespace {

// What the options are read into, until the command runs.
struct ChosenForScan {
    ScanOptions options;
    std::string stations;
    int from = 1, to = last_station;
    bool find = false;
};

ExitCode scan_as_chosen(ChosenForScan &chosen, const ListOrLine &line) {
    ScanOptions &options = chosen.options;
    try {
        const std::string range = std::to_string(chosen.from) + "-" + std::to_string(chosen.to);
        options.stations = stations_from(chosen.stations.empty() ? range : chosen.stations);
        DriverOnDemand driver(line.driver_file());
        const auto settings = line.settings(driver, std::cerr);
        if (!settings)
            return ExitCode::wrong_usage;
        options.link = *settings;
        options.shows_progress = isatty(STDERR_FILENO) != 0;
        StopSignal stop;
        const StopOnSignals stopped(stop);
        if (!chosen.find)
            return run_scan(driver.get(), options, stop, std::cout, std::cerr);
        const GivenSettings given{line.line().has_speed(), line.line().has_parity(), line.line().has_stop_bits()};
        return run_find(driver.get(), options, given, stop, std::cout, std::cerr);
    } catch (const StationsError &mistake) {
        std::cerr << "kelpo: " << printable(mistake.what()) << "\n";
        return ExitCode::wrong_usage;
    }
}

}  // namespace

void add_scan_command(common::Command app, int &exit_code) {
    const auto chosen = std::make_shared<ChosenForScan>();
    common::Command scan = app.add_subcommand("scan", "Ask one station after the other, and show which answer.");
    const common::Option stations =
        scan.add_option("--stations", chosen->stations, "The stations to ask, such as 1-20,33").type_name("LIST");
    const auto bound = [&](const char *name, int &station, const char *meaning) {
        scan.add_option(name, station, meaning)
            .range(1, last_station)
            .type_name("N")
            .capture_default_str()
            .excludes(stations);
    };
    bound("--from", chosen->from, "The first station to ask");
    bound("--to", chosen->to, "The last station to ask");
    scan.add_option("--type", chosen->options.type, "Register type of the register that each is asked for")
        .range(0, 17)
        .type_name("N")
        .capture_default_str();
    scan.add_option("--address", chosen->options.address, "Its address, in the syntax of the type")
        .type_name("TEXT")
        .capture_default_str();
    scan.add_flag("--find", chosen->find,
                  "Find out the speed, the parity and the stop bits: try one setting after the other until a station "
                  "answers");
    scan.add_flag("--json", chosen->options.json, "One JSON object for each station that answers");
    const ListOrLine line(scan, scan_defaults());
    scan.footer(
        "Any whole reply counts: a value, a refusal, an answer to something else, an answer that is "
        "late.\nCtrl-C ends the scan with what it has.\n"
        "--find tries what is likeliest first, and the first ten stations with each setting before the others.\n"
        "What --speed, --parity and --stop-bits say is not varied.\n"
        "\nExamples:\n"
        "  kelpo scan --line /dev/ttyUSB0 --speed 19200 --parity even\n"
        "  kelpo scan --line tcp:192.168.1.20:4001 --from 1 --to 32 --reply-timeout 500\n"
        "  kelpo scan --line /dev/ttyUSB0 --find --to 10\n"
        "  kelpo scan --line /dev/ttyUSB0 --stations 1-10,200 --type 4 --address 0 --json\n"
        "\nEnds with 0 when a station answers, 1 when none does. 'kelpo --help' has all exit codes.");
    scan.callback([chosen, line, &exit_code] { exit_code = static_cast<int>(scan_as_chosen(*chosen, line)); });
}

}  // namespace kelpo

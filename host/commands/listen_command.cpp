#include "host/commands/commands.h"
#include "host/commands/list_or_line.h"
#include "host/commands/output_check.h"
#include "host/commands/stop_on_signals.h"
#include "host/commands/trace_options.h"
#include "host/trace/listen.h"

#include <csignal>
#include <iostream>
#include <memory>

namespace kelpo {
namespace {

ExitCode listen_as_chosen(const TraceCommandOptions &chosen, const ListOrLine &line) {
    const TraceOptions options = chosen.options();
    refuse_same_output(options.to, options.pcap);
    DriverOnDemand driver(line.driver_file());
    const auto settings = line.settings(driver, std::cerr);
    if (!settings)
        return ExitCode::wrong_usage;
    for (const std::string &output : {options.to, options.pcap})
        refuse_to_overwrite(settings->line.path, output);
    // A reader that closes a pipe has read enough.
    std::signal(SIGPIPE, SIG_IGN);
    StopSignal stop;
    const StopOnSignals on_signals(stop);
    try {
        return listen_to_line(settings->line, settings->timeouts, settings->pauses, options, chosen.duration(), stop,
                              std::cout, std::cerr);
    } catch (const TraceOutputError &cause) {
        std::cerr << "kelpo: " << cause.what() << "\n";
        return ExitCode::system;
    }
}

}  // namespace

void add_listen_command(common::Command app, int &exit_code) {
    common::Command listen =
        app.add_subcommand("listen", "Show what others say on a line, in words, and send nothing.");
    const TraceCommandOptions chosen(listen, "How long to listen; otherwise until Ctrl-C");
    const ListOrLine line(listen, {});
    listen.footer(
        "The line needs an adapter of its own, beside that of the master. In brackets: how long the line was\n"
        "silent before.\n"
        "\nExamples:\n"
        "  kelpo listen --line /dev/ttyUSB1 --speed 19200 --parity even\n"
        "  kelpo listen --line /dev/ttyUSB1 --station 3 --failures --pcap night.pcap\n"
        "A line that is lost is opened again.\n"
        "\nEnds with 0 when a frame was heard, 1 when none was, 4 when the line cannot be opened, or is lost at the "
        "end.");
    listen.callback([chosen, line, &exit_code] { exit_code = static_cast<int>(listen_as_chosen(chosen, line)); });
}

}  // namespace kelpo

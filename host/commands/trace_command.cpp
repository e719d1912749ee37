#include "host/commands/commands.h"
#include "host/commands/line_options.h"
#include "host/commands/output_check.h"
#include "host/commands/stop_on_signals.h"
#include "host/exit_code.h"
#include "host/frames/pcap_file.h"
#include "host/frames/trace_file.h"
#include "host/list/list_file.h"
#include "host/list/remark_text.h"
#include "host/trace/trace_run.h"

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <unistd.h>

namespace kelpo {
namespace {

// What the options are read into, until the command runs.
struct Chosen {
    std::string what;
    std::optional<int> seconds;
    TraceOptions options;
    bool utc = false;
};

bool on_a_colourful_terminal() {
    const char *refused = std::getenv("NO_COLOR");
    return ::isatty(STDOUT_FILENO) == 1 && (refused == nullptr || *refused == '\0');
}

ExitCode trace_list(const Chosen &chosen, const LineOptions &line, StopSignal &stop) {
    std::optional<std::chrono::seconds> duration;
    if (chosen.seconds)
        duration = std::chrono::seconds(*chosen.seconds);
    Driver driver(line.over({}).driver);
    ListReading reading = load_list(chosen.what, {}, driver);
    print_remarks(reading.remarks, "kelpo: ", std::cerr);
    if (!reading.usable())
        return ExitCode::wrong_usage;
    reading.list.link = line.over(reading.list.link);
    if (reading.list.link.line.path.empty())
        throw common::UsageError("--line, or a line in the list, is required");
    for (const std::string &output : {chosen.options.to, chosen.options.pcap})
        refuse_to_overwrite(reading.list.link.line.path, output);
    return trace_line(driver, reading.list, chosen.options, duration, stop, std::cout, std::cerr);
}

ExitCode run(Chosen &chosen, const LineOptions &line) {
    chosen.options.style = {on_a_colourful_terminal(), chosen.utc ? TimeZone::utc : TimeZone::local};
    for (const std::string &output : {chosen.options.to, chosen.options.pcap})
        refuse_to_overwrite(chosen.what, output);
    refuse_same_output(chosen.options.to, chosen.options.pcap);
    // A reader that closes a pipe has read enough.
    std::signal(SIGPIPE, SIG_IGN);
    StopSignal stop;
    const StopOnSignals on_signals(stop);
    if (is_capture_file(chosen.what))
        throw common::UsageError(chosen.what + ": is a capture, for a protocol analyser; kelpo trace shows again what "
                                               "its option --to saved");
    if (!is_trace_file(chosen.what))
        return trace_list(chosen, line, stop);
    if (line.has_line() || chosen.seconds)
        throw common::UsageError(chosen.what + ": is a saved trace; --line and --seconds go with a list");
    return show_trace(chosen.what, chosen.options, stop, std::cout, std::cerr);
}

}  // namespace

void add_trace_command(common::Command app, int &exit_code) {
    const auto chosen = std::make_shared<Chosen>();
    common::Command trace =
        app.add_subcommand("trace", "Show every frame with its meaning in words: live while a list is "
                                    "polled, or from a saved trace.");
    trace.add_option("WHAT", chosen->what, "A list of variables to poll, or a saved trace").required();
    trace.add_option("--seconds", chosen->seconds, "How long to poll; otherwise until Ctrl-C")
        .range(1, 31 * 86400)
        .type_name("N");
    trace.add_option("--to", chosen->options.to, "Save the trace, to be shown again").type_name("FILE");
    trace.add_option("--pcap", chosen->options.pcap, "Save a capture for a protocol analyser").type_name("FILE");
    trace.add_option("--station", chosen->options.filter.station, "Show the requests to this station only")
        .range(0, 255)
        .type_name("N");
    trace
        .add_option("--function", chosen->options.filter.function,
                    "Show the requests with this Modbus function code only")
        .range(1, 127)
        .type_name("N");
    trace.add_flag("--failures", chosen->options.filter.failures, "Show requests without a good reply only");
    trace.add_flag("--utc", chosen->utc, "Show times in UTC instead of local time");
    const LineOptions line(trace, {});
    trace.footer("Files hold everything, also what is not shown.\n"
                 "\n"
                 "Examples:\n"
                 "  kelpo trace panel.toml                              poll, show every frame until Ctrl-C\n"
                 "  kelpo trace panel.toml --line /dev/ttyUSB0 --to night.trace --failures\n"
                 "  kelpo trace night.trace --station 3                 show it again\n"
                 "  kelpo trace night.trace --pcap night.pcap           for a protocol analyser:\n"
                 "  tshark -r night.pcap -o mbrtu.tcp.port:502");
    trace.callback([chosen, line, &exit_code] { exit_code = static_cast<int>(run(*chosen, line)); });
}

}  // namespace kelpo

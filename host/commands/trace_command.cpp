#include "host/commands/commands.h"
#include "host/commands/line_options.h"
#include "host/commands/output_check.h"
#include "host/commands/stop_on_signals.h"
#include "host/commands/trace_options.h"
#include "host/exit_code.h"
#include "host/frames/pcap_file.h"
#include "host/frames/trace_file.h"
#include "host/list/list_file.h"
#include "host/list/remark_text.h"
#include "host/trace/trace_run.h"

#include <csignal>
#include <iostream>
#include <memory>

namespace kelpo {
namespace {

ExitCode trace_list(const std::string &file, const TraceOptions &options, std::optional<std::chrono::seconds> duration,
                    const LineOptions &line, StopSignal &stop) {
    Driver driver(line.over({}).driver);
    ListReading reading = load_list(file, {}, driver);
    print_remarks(reading.remarks, "kelpo: ", std::cerr);
    if (!reading.usable())
        return ExitCode::wrong_usage;
    reading.list.link = line.over(reading.list.link);
    if (reading.list.link.line.path.empty())
        throw common::UsageError("--line, or a line in the list, is required");
    for (const std::string &output : {options.to, options.pcap})
        refuse_to_overwrite(reading.list.link.line.path, output);
    return trace_line(driver, reading.list, options, duration, stop, std::cout, std::cerr);
}

ExitCode trace_as_chosen(const std::string &what, const TraceCommandOptions &chosen, const LineOptions &line) {
    const TraceOptions options = chosen.options();
    for (const std::string &output : {options.to, options.pcap})
        refuse_to_overwrite(what, output);
    refuse_same_output(options.to, options.pcap);
    // A reader that closes a pipe has read enough.
    std::signal(SIGPIPE, SIG_IGN);
    StopSignal stop;
    const StopOnSignals on_signals(stop);
    if (is_capture_file(what))
        throw common::UsageError(what + ": is a capture, for a protocol analyser; kelpo trace shows again what its "
                                        "option --to saved");
    if (!is_trace_file(what))
        return trace_list(what, options, chosen.duration(), line, stop);
    if (line.has_line() || chosen.duration())
        throw common::UsageError(what + ": is a saved trace; --line and --seconds go with a list");
    return show_trace(what, options, stop, std::cout, std::cerr);
}

}  // namespace

void add_trace_command(common::Command app, int &exit_code) {
    const auto what = std::make_shared<std::string>();
    common::Command trace =
        app.add_subcommand("trace", "Show every frame with its meaning in words: live while a list is "
                                    "polled, or from a saved trace.");
    trace.add_option("WHAT", *what, "A list of variables to poll, or a saved trace").required();
    const TraceCommandOptions chosen(trace, "How long to poll; otherwise until Ctrl-C");
    const LineOptions line(trace, {});
    trace.footer("Files hold everything, also what is not shown.\n"
                 "\n"
                 "Examples:\n"
                 "  kelpo trace panel.toml                              poll, show every frame until Ctrl-C\n"
                 "  kelpo trace panel.toml --line /dev/ttyUSB0 --to night.trace --failures\n"
                 "  kelpo trace night.trace --station 3                 show it again\n"
                 "  kelpo trace night.trace --pcap night.pcap           for a protocol analyser:\n"
                 "  tshark -r night.pcap -o mbrtu.tcp.port:502");
    trace.callback(
        [what, chosen, line, &exit_code] { exit_code = static_cast<int>(trace_as_chosen(*what, chosen, line)); });
}

}  // namespace kelpo

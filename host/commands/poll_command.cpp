#include "host/commands/commands.h"
#include "host/commands/line_options.h"
#include "host/commands/list_to_use.h"
#include "host/commands/output_check.h"
#include "host/commands/stop_on_signals.h"
#include "host/commands/write_waits_option.h"

#include "host/poll/poll.h"

#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace kelpo {
namespace {

/// What the command line gave.
struct ChosenForPoll {
    explicit ChosenForPoll(common::Command command) : line(command, LinkSettings()), waits(command) {}

    LineOptions line;
    WriteWaitsOption waits;
    std::string list;
    std::optional<RecordFormat> format;
    std::optional<int> seconds;
    std::optional<int> every;
    bool writes = false;
    std::string trace_file;
};

ExitCode poll_as_chosen(const ChosenForPoll &chosen) {
    refuse_to_overwrite(chosen.list, chosen.trace_file);
    Driver driver(chosen.line.over(LinkSettings()).driver);
    std::optional<PollList> list = list_to_use(chosen.list, chosen.line, driver, "kelpo: ");
    if (!list)
        return ExitCode::wrong_usage;
    require_line(*list);
    PollOptions options;
    options.list = std::move(*list);
    refuse_to_overwrite(options.list.link.line.path, chosen.trace_file);
    options.list_file = chosen.list;
    options.format = chosen.format;
    if (chosen.seconds)
        options.duration = std::chrono::seconds(*chosen.seconds);
    if (chosen.every)
        options.every = std::chrono::milliseconds(*chosen.every);
    options.writes = chosen.writes;
    options.trace_file = chosen.trace_file;
    options.waits = chosen.waits.value();

    StopSignal stop;
    const StopOnSignals on_signals(stop);
    return run_poll(driver, std::move(options), stop, std::cerr);
}

}  // namespace

void add_poll_command(common::Command app, int &exit_code) {
    static const std::map<std::string, RecordFormat> formats = {
        {"plain", RecordFormat::plain}, {"csv", RecordFormat::csv}, {"json", RecordFormat::json}};
    common::Command poll =
        app.add_subcommand("poll", "Poll the variables of a list: on a live screen, or as lines for other programs.");
    const auto chosen = std::make_shared<ChosenForPoll>(poll);
    poll.add_option("LIST", chosen->list, "The list: a TOML file, or a CSV file of variables").required();
    const common::Option format =
        poll.add_option("--format", chosen->format, formats,
                        "plain, csv or json: write a record for each change, instead of the screen; "
                        "plain without a terminal");
    poll.add_option("--every", chosen->every,
                    "Write all values each time this many milliseconds have passed, not only those that changed")
        .range(10, 86400000)
        .type_name("MS")
        .needs(format);
    poll.add_flag("--writes", chosen->writes, "Take lines NAME=VALUE from standard input, and write them")
        .needs(format);
    poll.add_option("--seconds", chosen->seconds, "End after this many seconds; otherwise with q or Ctrl-C")
        .range(1, 86400)
        .type_name("N");
    poll.add_option("--trace", chosen->trace_file,
                    "Keep all frames in a file for 'kelpo trace FILE'; as a capture when its name ends in .pcap")
        .type_name("FILE");
    poll.footer(
        "On the screen ? shows the keys: w writes a value, s switches a station off and on, t shows the trace.\n"
        "Examples:\n"
        "  kelpo poll boiler.toml\n"
        "  kelpo poll tags.csv --line /dev/ttyUSB0 --speed 19200 --parity even\n"
        "  kelpo poll boiler.toml --format json | jq -r 'select(.kind == \"value\") | [.name, .text] | @tsv'\n"
        "  kelpo poll boiler.toml --format csv --every 1000 --seconds 3600 > hour.csv\n"
        "  echo 'set point=350' | kelpo poll boiler.toml --format plain --writes --seconds 5\n"
        "Ends with 0 when all was well at the end; 1 when a write failed or expired, or a variable was never read;\n"
        "4 while the line was lost; 8, 9 or 10 while something was not read: no reply, refused, a bad reply.");
    poll.callback([chosen, &exit_code] { exit_code = static_cast<int>(poll_as_chosen(*chosen)); });
}

}  // namespace kelpo

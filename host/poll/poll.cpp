#include "host/poll/poll.h"

#include "host/engine/poll_engine.h"
#include "host/line/line_text.h"
#include "host/poll/live_screen.h"
#include "host/poll/record_run.h"
#include "host/poll/terminal.h"
#include "host/text/quantities.h"
#include "host/text/words.h"

#include <csignal>
#include <cstddef>
#include <optional>
#include <ostream>
#include <utility>

#include <unistd.h>

namespace kelpo {
namespace {

using std::chrono::steady_clock;

std::string file_name(const std::string &path) {
    return path.substr(path.find_last_of('/') + 1);
}

std::string line_text(const LineSettings &line) {
    if (line.path.rfind("tcp:", 0) == 0)
        return line.path;
    return line.path + " " + character_text(line);
}

std::string title(const PollOptions &options, const PollEngine &engine) {
    const PollList &list = engine.list();
    const auto variables = static_cast<std::int64_t>(list.variables.size());
    return printable("kelpo poll " + file_name(options.list_file) + "  " + counted(variables, "variable") + " in " +
                     counted(engine.blocks(), "block") + "  " + line_text(list.link.line) +
                     (list.link.takes_off_echo ? ", echoes taken off" : ""));
}

// How many bytes of the records had no reader when it ended; nothing when the output has no reader any more.
std::optional<std::size_t> poll(PollEngine &engine, const PollOptions &options, const StopSignal &stop) {
    std::optional<steady_clock::time_point> end;
    if (options.duration)
        end = steady_clock::now() + *options.duration;
    if (!options.format) {
        if (const auto terminal = Terminal::take_over()) {
            LiveScreen(engine, *terminal, title(options, engine)).run(stop, end);
            return 0;
        }
    }
    std::signal(SIGPIPE, SIG_IGN);
    return run_records(engine, {options.format.value_or(RecordFormat::plain), options.every, options.writes},
                       STDOUT_FILENO, stop, end);
}

}  // namespace

ExitCode run_poll(Driver &driver, PollOptions options, StopSignal &stop, std::ostream &error) {
    PollEngine engine(driver, std::move(options.list), stop, options.trace_file, options.waits);
    engine.start();
    const std::optional<std::size_t> unread = poll(engine, options, stop);
    engine.finish();
    if (!unread)
        return ExitCode::all_well;
    if (*unread > 0)
        error << "kelpo: ended before the last " << *unread << " bytes of the records were taken\n";
    for (const PollEvent &event : engine.refresh().events)
        if (event.is_write())
            error << "kelpo: " << printable(words_of(event, engine.list().variables)) << "\n";
    error << engine.summary();
    return engine.exit_code();
}

}  // namespace kelpo

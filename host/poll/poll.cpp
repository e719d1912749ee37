#include "host/poll/poll.h"

#include "host/poll/live_screen.h"
#include "host/poll/poll_engine.h"
#include "host/poll/record_run.h"
#include "host/poll/terminal.h"

#include <csignal>
#include <ostream>

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
    const char parity = line.parity == Parity::none ? 'N' : line.parity == Parity::even ? 'E' : 'O';
    return line.path + " " + std::to_string(line.speed) + " 8" + parity + std::to_string(line.stop_bits);
}

std::string title(const PollOptions &options, int blocks) {
    const std::size_t variables = options.list.variables.size();
    return "kelpo poll " + file_name(options.list_file) + "  " + std::to_string(variables) +
           (variables == 1 ? " variable in " : " variables in ") + std::to_string(blocks) +
           (blocks == 1 ? " block  " : " blocks  ") + line_text(options.list.link.line);
}

// False when nobody is there any more to be told.
bool poll(PollEngine &engine, const PollOptions &options, const StopSignal &stop) {
    std::optional<steady_clock::time_point> end;
    if (options.duration)
        end = steady_clock::now() + *options.duration;
    if (!options.format) {
        if (const auto terminal = Terminal::take_over()) {
            LiveScreen(engine, *terminal, title(options, engine.blocks())).run(stop, end);
            return true;
        }
    }
    std::signal(SIGPIPE, SIG_IGN);
    return run_records(engine, {options.format.value_or(RecordFormat::plain), options.every, options.writes},
                       STDOUT_FILENO, stop, end);
}

}  // namespace

ExitCode run_poll(const PollOptions &options, StopSignal &stop, std::ostream &error) {
    PollEngine engine(options.list, stop, options.trace_file, options.within);
    engine.start();
    const bool heard = poll(engine, options, stop);
    engine.finish();
    if (!heard)
        return ExitCode::all_well;
    for (const PollEvent &event : engine.refresh().events)
        if (event.is_write())
            error << "kelpo: " << words_of(event, options.list.variables) << "\n";
    error << engine.summary();
    return engine.exit_code();
}

}  // namespace kelpo

#include "host/poll/record_run.h"

#include "host/poll/record_output.h"
#include "host/text/words.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <string>
#include <utility>

#include <poll.h>
#include <unistd.h>

namespace kelpo {
namespace {

using std::chrono::steady_clock;
using std::chrono::system_clock;

constexpr auto look_interval = std::chrono::milliseconds(100);
constexpr std::size_t longest_line = 4096;

/// Lines from standard input, as they come.
class InputLines {
public:
    struct Line {
        std::string text;  ///< of one that is too long, its beginning
        bool too_long;
    };

    /// What has come in full since the last call; waits until `deadline` or a stop for the first. The text before the
    /// end of the input is a line too.
    std::vector<Line> take(steady_clock::time_point deadline, const StopSignal &stop) {
        if (ended_) {
            stop.wait_for(deadline - steady_clock::now());
            return {};
        }
        if (stop.wait_for_descriptor(STDIN_FILENO, POLLIN, deadline) != StopSignal::Wait::ready)
            return {};
        char bytes[longest_line];
        const ssize_t count = ::read(STDIN_FILENO, bytes, sizeof bytes);
        if (count < 0 && (errno == EINTR || errno == EAGAIN))
            return {};
        ended_ = count <= 0;
        std::vector<Line> lines;
        for (ssize_t i = 0; i < count; ++i) {
            if (bytes[i] == '\n')
                lines.push_back(std::exchange(line_, {}));
            else if (line_.text.size() < longest_line)
                line_.text += bytes[i];
            else
                line_.too_long = true;
        }
        if (ended_ && !line_.text.empty())
            lines.push_back(std::exchange(line_, {}));
        return lines;
    }

private:
    bool ended_ = false;
    Line line_{};
};

class RecordRun {
public:
    RecordRun(PollEngine &engine, const RecordOptions &options, int output, const StopSignal &stop)
        : engine_(engine), options_(options), output_(output, stop), stop_(stop) {}

    bool run(std::optional<steady_clock::time_point> end) {
        output_.write(record_head(options_.format));
        steady_clock::time_point next_all = steady_clock::now();
        while (!stop_.raised() && !output_.reader_gone()) {
            const steady_clock::time_point now = steady_clock::now();
            const bool all_are_due = options_.every && now >= next_all;
            if (all_are_due)
                next_all = std::max(next_all + *options_.every, now);
            output_.write(news(all_are_due));
            if (end && now >= *end)
                break;
            steady_clock::time_point wake = now + look_interval;
            if (options_.every)
                wake = std::min(wake, next_all);
            if (end)
                wake = std::min(wake, *end);
            wait_until(wake);
        }
        if (output_.reader_gone())
            return false;
        // Writes that have not ended are reported last.
        engine_.finish();
        output_.write_at_once(news(false));
        return true;
    }

private:
    std::string news(bool all_values) {
        const PollEngine::News news = engine_.refresh();
        const auto time = system_clock::now();
        std::string text;
        for (const PollEvent &event : news.events)
            text += event_record(options_.format, event, variables());
        if (all_values) {
            for (std::size_t i = 0; i < variables().size(); ++i)
                if (engine_.watch().states()[i].known())
                    text += value_of(i, time);
        } else if (!options_.every) {
            for (const std::size_t i : news.changed)
                text += value_of(i, time);
        }
        return text;
    }

    std::string value_of(std::size_t index, RecordTime time) const {
        return value_record(options_.format, time, variables()[index], engine_.watch().states()[index]);
    }

    void wait_until(steady_clock::time_point time) {
        if (!options_.writes) {
            stop_.wait_for(time - steady_clock::now());
            return;
        }
        for (const InputLines::Line &line : input_.take(time, stop_))
            if (line.too_long)
                refuse(nullptr, in_quotes(line.text) + " is longer than " + std::to_string(longest_line) +
                                    " bytes, and nothing of it is written");
            else if (!trimmed(line.text).empty())
                write(line.text);
    }

    void write(const std::string &line) {
        const std::size_t sign = line.rfind('=');
        const std::string name(trimmed(line.substr(0, sign)));
        const auto named = std::find_if(variables().begin(), variables().end(),
                                        [&name](const Variable &variable) { return variable.name == name; });
        if (sign == std::string::npos)
            refuse(nullptr, in_quotes(trimmed(line)) + " is not a write such as NAME=VALUE");
        else if (named == variables().end())
            refuse(nullptr, "no variable " + in_quotes(name) + " in the list");
        else if (const WriteAnswer answer =
                     engine_.write(static_cast<std::size_t>(named - variables().begin()), line.substr(sign + 1));
                 !answer.taken)
            refuse(&*named, answer.text);
    }

    void refuse(const Variable *variable, const std::string &why) {
        output_.write(refusal_record(options_.format, system_clock::now(), variable, why));
    }

    const std::vector<Variable> &variables() const {
        return engine_.watch().variables();
    }

    PollEngine &engine_;
    const RecordOptions options_;
    RecordOutput output_;
    const StopSignal &stop_;
    InputLines input_;
};

}  // namespace

bool run_records(PollEngine &engine, const RecordOptions &options, int output, const StopSignal &stop,
                 std::optional<steady_clock::time_point> end) {
    return RecordRun(engine, options, output, stop).run(end);
}

}  // namespace kelpo

#include "host/poll/record_run.h"

#include "host/poll/record_output.h"
#include "host/text/words.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <poll.h>
#include <unistd.h>

namespace kelpo {
namespace {

using std::chrono::steady_clock;
using std::chrono::system_clock;

constexpr auto look_interval = std::chrono::milliseconds(100);
constexpr std::size_t longest_line = 4096;
constexpr std::size_t most_waiting = std::size_t{1} << 20U;

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

/// Which variables are to be written, in turn.
class DueValues {
public:
    explicit DueValues(std::size_t variables) : is_due_(variables) {}

    void add(std::size_t index) {
        count_ += is_due_[index] ? 0 : 1;
        is_due_[index] = true;
    }

    bool any() const {
        return count_ > 0;
    }

    /// Only while there are any.
    std::size_t take() {
        while (!is_due_[next_])
            next_ = (next_ + 1) % is_due_.size();
        is_due_[next_] = false;
        const std::size_t taken = next_;
        next_ = --count_ == 0 ? 0 : next_ + 1;
        next_ %= is_due_.size();
        return taken;
    }

private:
    std::vector<bool> is_due_;
    std::size_t count_ = 0, next_ = 0;
};

class RecordRun {
public:
    RecordRun(PollEngine &engine, const RecordOptions &options, int output, const StopSignal &stop)
        : engine_(engine), options_(options), output_(output, stop), stop_(stop), due_(engine.list().variables.size()) {
    }

    std::optional<std::size_t> run(std::optional<steady_clock::time_point> end) {
        output_.write(record_head(options_.format));
        steady_clock::time_point next_all = steady_clock::now();
        while (!stop_.raised() && !output_.reader_gone()) {
            const steady_clock::time_point now = steady_clock::now();
            const bool all_are_due = options_.every && now >= next_all;
            if (all_are_due)
                next_all = std::max(next_all + *options_.every, now);
            report(all_are_due);
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
            return std::nullopt;
        // Writes that have not ended are reported last, and what was left out before when there is room for it.
        engine_.finish();
        do {
            report(false);
            while (waits_for_reader()) {
                output_.write_until(steady_clock::now() + look_interval);
                write_due();
            }
        } while (left_out_ > 0 && !stop_.raised() && !output_.reader_gone());
        if (output_.reader_gone())
            return std::nullopt;
        return output_.waiting();
    }

private:
    bool waits_for_reader() {
        return output_.waiting() > 0 && !stop_.raised() && !output_.reader_gone();
    }

    // What the reader has not taken is limited: records are left out then, and counted, until half of it is taken.
    bool has_room() {
        leaves_out_ = output_.waiting() > (leaves_out_ ? most_waiting / 2 : most_waiting);
        return !leaves_out_;
    }

    // Takes in what has happened and writes it. ALL_VALUES: all that are known are due.
    void report(bool all_values) {
        const PollEngine::News news = engine_.refresh();
        const auto time = system_clock::now();
        const bool room = has_room();
        std::string text;
        if (room && left_out_ > 0)
            text += left_out_record(options_.format, time, std::exchange(left_out_, 0));
        for (const PollEvent &event : news.events) {
            if (room || event.is_write())
                text += event_record(options_.format, event, variables());
            else
                ++left_out_;
        }
        output_.write(text);
        if (!options_.every)
            // Of each only the last value, when the reader could have got several.
            for (const std::size_t i : news.changed)
                add_due(i, true, room);
        for (std::size_t i = 0; all_values && i < variables().size(); ++i)
            if (engine_.watch().states()[i].known())
                add_due(i, room, room);
        write_due();
    }

    // A value is due, unless there is no room and it comes again anyway; what has no room at once counts as left out.
    void add_due(std::size_t index, bool is_kept, bool room) {
        if (is_kept)
            due_.add(index);
        if (!room)
            ++left_out_;
    }

    // As much of what is due as there is room for, piece by piece: all of a long list is much at once.
    void write_due() {
        constexpr std::size_t piece = std::size_t{1} << 16U;
        const auto time = system_clock::now();
        while (due_.any() && has_room()) {
            std::string text;
            while (due_.any() && text.size() < piece)
                text += value_of(due_.take(), time);
            output_.write(text);
        }
    }

    std::string value_of(std::size_t index, RecordTime time) const {
        return value_record(options_.format, time, variables()[index], engine_.watch().states()[index]);
    }

    void wait_until(steady_clock::time_point time) {
        output_.write_until(time);
        while (due_.any() && output_.waiting() == 0 && !stop_.raised() && !output_.reader_gone()) {
            write_due();
            output_.write_until(time);
        }
        if (!options_.writes || leaves_out_) {
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
    bool leaves_out_ = false;
    std::int64_t left_out_ = 0;  // records since the last one that says so
    DueValues due_;
};

}  // namespace

std::optional<std::size_t> run_records(PollEngine &engine, const RecordOptions &options, int output,
                                       const StopSignal &stop, std::optional<steady_clock::time_point> end) {
    return RecordRun(engine, options, output, stop).run(end);
}

}  // namespace kelpo

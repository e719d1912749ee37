#include "host/trace/listen.h"

#include "host/frames/frame_words.h"
#include "host/frames/heard_frames.h"
#include "host/line/line.h"
#include "host/line/line_error.h"
#include "host/line/modbus.h"
#include "host/link/growing_pause.h"
#include "host/text/quantities.h"
#include "host/text/words.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <ostream>
#include <set>

namespace kelpo {
namespace {

using std::chrono::microseconds;
using Direction = TraceRecord::Direction;

// What was heard, counted.
class Summary {
public:
    void add(const TraceRecord &record) {
        if (record.direction == Direction::sent)
            begin(record);
        else if (record.direction == Direction::received)
            answer(record);
        else
            noise_ += record.bytes.size();
    }

    bool has_frames() const {
        return !stations_.empty();
    }

    void print(std::ostream &error) const {
        for (const auto &[number, station] : stations_) {
            error << "kelpo: station " << number << ": " << station.requests << " requests (functions ";
            for (const int function : station.functions)
                error << (function == *station.functions.begin() ? "" : ", ") << function;
            error << "), " << station.answered << " answered";
            if (station.answered > 0)
                error << fmt::format(" after {:.1f} ms", static_cast<double>(station.time.count()) / 1000 /
                                                             static_cast<double>(station.answered));
            error << ", " << station.refused << " refused, " << station.missed << " without a reply\n";
        }
        error << "kelpo: " << noise_ << " bytes that are no frame, or a reply to nothing\n";
        if (noise_ > 0 && !has_frames())
            error << "kelpo: nothing was understood: is the speed or the parity different?\n";
    }

private:
    struct Station {
        std::uint64_t requests = 0, answered = 0, refused = 0, missed = 0;
        std::set<int> functions;
        microseconds time{0};  // of all that were answered or refused
    };

    void begin(const TraceRecord &record) {
        asked_ = record.bytes[0];
        Station &station = stations_[*asked_];
        ++station.requests;
        station.functions.insert(record.bytes[1]);
    }

    void answer(const TraceRecord &record) {
        if (!asked_)
            return;
        Station &station = stations_[*asked_];
        if (record.bytes.empty())
            ++station.missed;
        else
            ++((record.bytes[1] & modbus::exception_bit) != 0 ? station.refused : station.answered);
        if (!record.bytes.empty() && (record.bytes[1] & modbus::exception_bit) == 0)
            station.time += record.silence.value_or(microseconds(0));
        asked_.reset();
    }

    std::map<int, Station> stations_;
    std::optional<int> asked_;
    std::uint64_t noise_ = 0;
};

/// Listens to one line after the other, as long as there is time.
class Listener {
public:
    /// All must outlive it.
    Listener(TraceOutputs &outputs, Summary &summary, const ReplyTimeouts &timeouts, const StopSignal &stop,
             std::optional<std::chrono::seconds> duration)
        : outputs_(outputs), summary_(summary), timeouts_(timeouts), stop_(stop) {
        if (duration)
            end_ = start_ + *duration;
    }

    bool is_over() const {
        return !outputs_.shown() || stop_.raised() || (end_ && Clock::now() >= *end_);
    }

    /// Until it is over, or throws LineError. What was heard before that is written.
    void listen_to(Line &line) {
        HeardFrames frames(std::chrono::duration_cast<microseconds>(line.shortest_time(1)));
        try {
            take_frames(line, frames);
        } catch (const LineError &) {
            write_last(frames);
            throw;
        }
        write_last(frames);
    }

    /// Shorter when it is over before.
    void pause(std::chrono::milliseconds length) const {
        const auto now = Clock::now();
        const std::chrono::nanoseconds most = end_ ? *end_ - now : length;
        stop_.wait_for(std::min<std::chrono::nanoseconds>(most, length));
    }

private:
    using Clock = Line::Clock;

    void take_frames(Line &line, HeardFrames &frames) {
        auto silent_since = Clock::now();
        while (!is_over()) {
            const std::string bytes = line.listen(line.now() + timeouts_.inter_character);
            if (!bytes.empty()) {
                frames.take(bytes, wall_time_at(line.now()));
                silent_since = line.now();
            } else if (line.now() - silent_since >= timeouts_.inter_character) {
                frames.end();
            }
            write(frames);
        }
    }

    void write_last(HeardFrames &frames) {
        frames.end();
        write(frames);
    }

    void write(HeardFrames &frames) {
        for (const TraceRecord &record : frames.taken()) {
            summary_.add(record);
            outputs_.write(record);
        }
        outputs_.flush();
    }

    // Silences are differences of these times, and the wall clock may be set meanwhile.
    TraceTime wall_time_at(Clock::time_point time) const {
        return std::chrono::time_point_cast<microseconds>(wall_start_ + (time - start_));
    }

    TraceOutputs &outputs_;
    Summary &summary_;
    const ReplyTimeouts &timeouts_;
    const StopSignal &stop_;
    const std::chrono::system_clock::time_point wall_start_ = std::chrono::system_clock::now();
    const Clock::time_point start_ = Clock::now();
    std::optional<Clock::time_point> end_;
};

}  // namespace

ExitCode listen_to_line(LineSettings settings, const ReplyTimeouts &timeouts, const ReopenPauses &pauses,
                        const TraceOptions &options, std::optional<std::chrono::seconds> duration,
                        const StopSignal &stop, std::ostream &out, std::ostream &error) {
    TraceOutputs outputs(options, out);
    std::optional<Line> line;
    line.emplace(settings, stop);
    settings.known_terminal = line->terminal();
    outputs.put_in_place();
    Summary summary;
    Listener listener(outputs, summary, timeouts, stop, duration);
    const GrowingPause pause(pauses.first, pauses.longest);
    std::chrono::milliseconds last{0};
    while (!listener.is_over()) {
        try {
            if (!line) {
                line.emplace(settings, stop);
                error << "kelpo: line is back\n" << std::flush;
            }
            listener.listen_to(*line);
        } catch (const LineError &failure) {
            // A line that breaks again before it carried anything is no better than one that does not open.
            if (line && line->received() > 0)
                last = std::chrono::milliseconds(0);
            line.reset();
            last = pause.after(last);
            error << "kelpo: line lost: " << printable(failure.what()) << "; next try in " << duration_text(last)
                  << "\n"
                  << std::flush;
            listener.pause(last);
        }
    }
    summary.print(error);
    return !line ? ExitCode::no_line : summary.has_frames() ? ExitCode::all_well : ExitCode::not_right;
}

}  // namespace kelpo

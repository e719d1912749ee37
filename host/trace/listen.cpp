#include "host/trace/listen.h"

#include "host/frames/frame_words.h"
#include "host/frames/heard_frames.h"
#include "host/line/line.h"

#include <fmt/format.h>

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

}  // namespace

ExitCode listen_to_line(const LineSettings &settings, const ReplyTimeouts &timeouts, const TraceOptions &options,
                        std::optional<std::chrono::seconds> duration, const StopSignal &stop, std::ostream &out,
                        std::ostream &error) {
    TraceOutputs outputs(options, out);
    Line line(settings, stop);
    outputs.put_in_place();
    HeardFrames frames(std::chrono::duration_cast<microseconds>(line.shortest_time(1)));
    Summary summary;
    const auto write_all = [&] {
        for (const TraceRecord &record : frames.taken()) {
            summary.add(record);
            outputs.write(record);
        }
        outputs.flush();
    };
    // Silences are differences of these times, and the wall clock may be set meanwhile.
    const auto wall_start = std::chrono::system_clock::now();
    const auto wall_time_at = [wall_start, start = line.now()](Line::Time time) {
        return std::chrono::time_point_cast<microseconds>(wall_start + (time - start));
    };
    const auto end = line.now() + duration.value_or(std::chrono::seconds(0));
    auto silent_since = line.now();
    while (outputs.shown() && !stop.raised() && (!duration || line.now() < end)) {
        const std::string bytes = line.listen(line.now() + timeouts.inter_character);
        if (!bytes.empty()) {
            frames.take(bytes, wall_time_at(line.now()));
            silent_since = line.now();
        } else if (line.now() - silent_since >= timeouts.inter_character) {
            frames.end();
        }
        write_all();
    }
    frames.end();
    write_all();
    summary.print(error);
    return summary.has_frames() ? ExitCode::all_well : ExitCode::not_right;
}

}  // namespace kelpo

#pragma once

#include "host/line/stop_signal.h"

#include <cstddef>
#include <string>

namespace kelpo {

/// Lines for another program, through an open file that may be a pipe with a slow reader. What the reader does not take
/// at once waits here.
class RecordOutput {
public:
    using Time = StopSignal::Clock::time_point;

    /// `stop` ends all waiting; it and `descriptor` must outlive the output. The signal SIGPIPE must be ignored.
    RecordOutput(int descriptor, const StopSignal &stop);

    /// Adds the text to what waits, and writes as much of that as the reader takes without a wait. Does nothing when
    /// the reader has gone. Throws std::system_error when the system refuses it for another reason.
    void write(const std::string &text);

    /// Bytes that the reader has not taken yet.
    std::size_t waiting() const {
        return waiting_.size() - taken_;
    }

    /// Writes what waits, until the reader has taken all of it, `deadline` or a stop. Throws as write() does.
    void write_until(Time deadline);

    /// True when the output has no reader any more.
    bool reader_gone();

private:
    void put_some();
    void put_at_once();

    const int descriptor_;
    const StopSignal &stop_;
    std::string waiting_;
    std::size_t taken_ = 0;  // of waiting_, from its beginning
    bool gone_ = false;
};

}  // namespace kelpo

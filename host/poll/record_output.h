#pragma once

#include "host/line/stop_signal.h"

#include <string>

namespace kelpo {

/// Lines for another program, through an open file that may be a pipe with a slow reader.
class RecordOutput {
public:
    /// `stop` ends all waiting; it and `descriptor` must outlive the output. The signal SIGPIPE must be ignored.
    RecordOutput(int descriptor, const StopSignal &stop);

    /// Writes the text at once, unless a stop comes first. Does nothing when the reader has gone. Throws
    /// std::system_error when the system refuses it for another reason.
    void write(const std::string &text);

    /// Likewise, also after a stop, but only what the reader takes without waiting.
    void write_at_once(const std::string &text);

    /// True when the output has no reader any more.
    bool reader_gone();

private:
    std::size_t put(const char *bytes, std::size_t size);

    const int descriptor_;
    const StopSignal &stop_;
    bool gone_ = false;
};

}  // namespace kelpo

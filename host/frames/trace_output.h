#pragma once

#include "host/frames/trace_record.h"

#include <fstream>
#include <stdexcept>
#include <string>

namespace kelpo {

/// A trace or capture file cannot be made or written; the text names it and says why.
class TraceOutputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

enum class TraceForm {
    saved_trace,  ///< what `kelpo trace FILE` shows again
    pcap          ///< what a protocol analyser opens
};

/// Writes records to a file. One thread at a time.
class TraceOutput {
public:
    /// Makes the file, or replaces an earlier one of the same form. Throws TraceOutputError, also when the file exists
    /// and holds anything else: a slip of the keyboard must not cost a variable list.
    TraceOutput(const std::string &file, TraceForm form);

    /// Throws TraceOutputError.
    void write(const TraceRecord &record);

    /// Makes sure that what was written is in the file. Throws TraceOutputError.
    void flush();

private:
    void check();

    std::string file_;
    TraceForm form_;
    std::ofstream out_;
};

}  // namespace kelpo

#pragma once

#include "common/file_beside.h"
#include "host/frames/trace_record.h"
#include "host/line/descriptor.h"

#include <optional>
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
    /// Makes the file under another name in the same folder. A file that has the name already stays, and is replaced
    /// when the new file is put in place. Throws TraceOutputError, also if that file is neither an earlier one of the
    /// same form nor empty: a typing mistake must not cost a variable list. A pipe or a device is written to directly,
    /// once a pipe has its reader.
    TraceOutput(const std::string &file, TraceForm form);

    /// Throws TraceOutputError.
    void write(const TraceRecord &record);

    /// Makes sure that what was written is in the file. Throws TraceOutputError.
    void flush();

    /// Gives the file its name; without that it is removed at its end. More may be written to it. Throws
    /// TraceOutputError.
    void put_in_place();

private:
    [[noreturn]] void fail(int error) const;

    std::string file_;
    TraceForm form_;
    std::optional<common::FileBeside> beside_;
    std::optional<Descriptor> straight_;  // of a pipe or a device
    std::string unwritten_;
};

}  // namespace kelpo

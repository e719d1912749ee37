#pragma once

#include "host/frames/trace_record.h"

#include <cstddef>
#include <functional>
#include <istream>
#include <string>

namespace kelpo {

/// The first lines of a saved trace.
std::string trace_file_head();

/// The sign for a direction in a saved trace, and where one is shown: > < ~ *
char mark_of(TraceRecord::Direction direction);

/// The line of a saved trace for `record`, with its line end. Times are UTC.
std::string trace_file_line(const TraceRecord &record);

/// True when `file` can be read and its first line says that it is a saved trace, of any version.
bool is_trace_file(const std::string &file);

/// What is called while a saved trace is read.
struct TraceReading {
    std::function<bool(const TraceRecord &)> record;   ///< called for each record, in the order of the file; false ends
    std::function<void(const std::string &)> mistake;  ///< "FILE:LINE: what is wrong; what would be right"
};

/// Reads a saved trace. A line that is wrong is reported and skipped; a wrong first line, or the hundredth mistake,
/// ends the reading. Returns the number of mistakes. Takes any bytes; never keeps more than one line, and no more than
/// 8192 bytes of it.
std::size_t read_trace(std::istream &in, const std::string &file, const TraceReading &reading);

}  // namespace kelpo

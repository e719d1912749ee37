#pragma once

#include "host/frames/trace_output.h"
#include "host/frames/trace_record.h"
#include "host/trace/trace_text.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace kelpo {

/// What `kelpo trace` and `kelpo listen` do with the records that they read or make.
struct TraceOptions {
    TraceStyle style;
    TraceFilter filter;  ///< of what is shown; files hold everything
    std::string to;      ///< a saved trace to write as well; empty: none
    std::string pcap;    ///< a capture to write as well; empty: none
};

/// All places where records go: what is shown on a stream, and files. The functions throw TraceOutputError.
class TraceOutputs {
public:
    /// `out` must outlive the object.
    TraceOutputs(const TraceOptions &options, std::ostream &out);

    void write(const TraceRecord &record);
    void flush();
    void put_in_place();

    /// False once what is shown has no reader any more.
    bool shown() const;

    bool saved() const {
        return !files_.empty();
    }

    std::string summary() const;

private:
    TraceFormatter formatter_;
    std::ostream &out_;
    std::vector<TraceOutput> files_;
};

}  // namespace kelpo

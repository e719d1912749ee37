#include "host/trace/trace_outputs.h"

#include <ostream>

namespace kelpo {

TraceOutputs::TraceOutputs(const TraceOptions &options, std::ostream &out)
    : formatter_(options.style, options.filter), out_(out) {
    if (!options.to.empty())
        files_.emplace_back(options.to, TraceForm::saved_trace);
    if (!options.pcap.empty())
        files_.emplace_back(options.pcap, TraceForm::pcap);
}

void TraceOutputs::write(const TraceRecord &record) {
    for (const std::string &line : formatter_.lines(record))
        out_ << line << '\n';
    for (TraceOutput &file : files_)
        file.write(record);
}

void TraceOutputs::flush() {
    out_.flush();
    for (TraceOutput &file : files_)
        file.flush();
}

void TraceOutputs::put_in_place() {
    for (TraceOutput &file : files_)
        file.put_in_place();
}

bool TraceOutputs::shown() const {
    return out_.good();
}

std::string TraceOutputs::summary() const {
    return std::to_string(formatter_.requests()) + " requests, " + std::to_string(formatter_.failures()) +
           " without a good reply";
}

}  // namespace kelpo

#pragma once

#include "host/frames/trace_record.h"
#include "host/frames/trace_time.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kelpo {

/// How a trace is shown.
struct TraceStyle {
    bool coloured = false;  ///< with terminal control sequences
    TimeZone zone = TimeZone::local;
};

/// Which exchanges are shown; notes always are, and and so are bytes thrown away, unless they are whole replies from
/// other stations.
struct TraceFilter {
    std::optional<int> station;   ///< requests to this station, and what came of them
    std::optional<int> function;  ///< requests with this Modbus function code, and what came of them
    bool failures = false;        ///< only requests without a good reply
};

/// Turns records into lines, in the order in which they happened: time, direction, bytes, meaning. Each reply is judged
/// against the request before it. The date has a line of its own, at first and when it changes.
class TraceFormatter {
public:
    TraceFormatter(const TraceStyle &style, const TraceFilter &filter);

    /// The lines, without line ends, that `record` adds: none where the filter leaves it out, several where a request
    /// was kept back until its reply failed.
    std::vector<std::string> lines(const TraceRecord &record);

    std::uint64_t requests() const {
        return requests_;
    }

    /// Replies that were missing or not good, shown or not.
    std::uint64_t failures() const {
        return failures_;
    }

private:
    struct LastRequest {
        TraceRecord record;
        std::string words;
        bool failed;
        bool passes;  // the filter, without its `failures`
        bool shown;
    };

    void sent(const TraceRecord &record, std::vector<std::string> &lines);
    void received(const TraceRecord &record, std::vector<std::string> &lines);
    bool passes(const std::optional<int> &station, const std::optional<int> &function) const;
    void show(const TraceRecord &record, const std::string &words, bool failed, std::vector<std::string> &lines);

    TraceStyle style_;
    TraceFilter filter_;
    std::optional<LastRequest> request_;  // the last one
    bool last_failed_ = false;            // its reply, or the last reply before it
    std::string date_;                    // shown last
    std::uint64_t requests_ = 0;
    std::uint64_t failures_ = 0;
};

}  // namespace kelpo

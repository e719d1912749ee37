#pragma once

#include "host/frames/trace_record.h"
#include "host/poll/poll_view.h"

#include <vector>

namespace kelpo {

/// The records as lines for a screen: time, direction, meaning, and the bytes after it if there is room. Each reply is
/// judged against the request before it.
std::vector<PollModel::TraceLine> trace_lines(const std::vector<TraceRecord> &records);

}  // namespace kelpo

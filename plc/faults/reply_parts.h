#pragma once

#include "plc/faults/faults.h"
#include "plc/protocol/frame.h"

#include <chrono>
#include <vector>

namespace plc {

/// Bytes that are sent in one go.
struct ReplyPart {
    std::chrono::milliseconds wait;  ///< from the end of the part before, or from the time of the reply
    Bytes bytes;
};

/// What is sent for `request`, whose right answer is `reply`, when this happens: perhaps nothing. `reply` is not used
/// when the request is not carried out.
std::vector<ReplyPart> spoiled_reply(const Bytes &request, const Bytes &reply, Happening happening);

}  // namespace plc

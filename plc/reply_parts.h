#pragma once

#include <chrono>
#include <vector>

#include "plc/faults.h"
#include "plc/frame.h"

namespace plc {

/// Bytes that are sent in one go.
struct ReplyPart {
    std::chrono::milliseconds wait;  // from the end of the part before, or from the time of the reply
    Bytes bytes;
};

/// What is sent for `request`, whose right answer is `reply`, when this happens: perhaps nothing. Of a request that is
/// not carried out, `reply` is not looked at.
std::vector<ReplyPart> spoiled_reply(const Bytes &request, const Bytes &reply, Happening happening);

}  // namespace plc

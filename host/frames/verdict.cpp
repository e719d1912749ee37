#include "host/frames/verdict.h"

#include <ozna_kelpo_constants.h>

#include "host/frames/frame_words.h"
#include "host/frames/rtu_frame.h"
#include "host/line/modbus.h"
#include "host/link/rtu_shape.h"

#include <algorithm>
#include <string_view>

namespace kelpo {
namespace {

// Also if the reply was not passed to the driver, since the station asked to wait too often.
bool asks_to_wait(const Exchange &exchange) {
    return rtu::asks_to_wait(exchange.reply) && exchange.request.substr(0, 1) == exchange.reply.substr(0, 1) &&
           rtu::crc_is_right(exchange.reply);
}

// What an adapter returns that receives what it sends: the receiver stops at the expected length.
bool is_echo(const FrameBytes &reply, const FrameBytes &request) {
    return reply.size() >= modbus::shortest_frame && reply.size() <= request.size() &&
           std::equal(reply.begin(), reply.end(), request.begin());
}

}  // namespace

Failure failure_of(const Exchange &exchange) {
    using Kind = Failure::Kind;
    const FrameBytes reply = bytes_of(exchange.reply), request = bytes_of(exchange.request);
    if (exchange.code == ozna_kelpo::code_not_now || asks_to_wait(exchange))
        return {Kind::not_now, "the controller asks to wait (6A 8B)"};
    if (reply.empty())
        return {Kind::no_reply,
                exchange.is_silent_block ? "no reply, although the station answers other requests" : "no reply"};
    if (const auto exception = rtu::exception_code(exchange.reply, exchange.request))
        return {Kind::refused, "refused: " + exception_words(static_cast<int>(*exception)) + " (exception " +
                                   std::to_string(*exception) + ")"};
    if (is_echo(reply, request))
        return {Kind::bad_reply,
                "bad reply: the request came back; the adapter receives what it sends, or the line is a loop"};
    const FrameMeaning meaning = reply_meaning(reply, request, std::nullopt);
    std::string text = "bad reply: " + meaning.words;
    // It looks good but was not accepted: the driver must have had a reason.
    if (!meaning.failed)
        text += "; the driver did not take it (code " + std::to_string(exchange.code) + ")";
    return {Kind::bad_reply, text};
}

ExitCode exit_code_of(Failure::Kind kind) {
    switch (kind) {
    case Failure::Kind::no_reply:
        return ExitCode::no_reply;
    case Failure::Kind::refused:
        return ExitCode::refused;
    case Failure::Kind::bad_reply:
    case Failure::Kind::not_now:
        break;
    }
    return ExitCode::bad_reply;
}

}  // namespace kelpo

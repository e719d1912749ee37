#pragma once

#include "host/frames/trace_record.h"

#include <optional>
#include <string>

namespace kelpo {

/// What a frame means, in one line.
struct FrameMeaning {
    std::string words;  ///< ASCII, no line end; never empty
    bool failed;        ///< not as it should be: the driver will not accept it as a good request or reply
    std::optional<int> station;
    std::optional<int> function;  ///< Modbus function code, without the bit that marks an exception
};

/// What a request asks for, from its bytes: Modbus RTU, or a remote station's frame (docs/remote-format.md), which is
/// recognised by its length and sum. `context` selects the register type if several share an address. Takes any bytes.
FrameMeaning request_meaning(const FrameBytes &request, const std::optional<TraceContext> &context);

/// What a reply says, judged against the request that it answers: exceptions in words, station, function, lengths,
/// echoes and check. An empty `request` means that it is not known: then the reply is judged by itself. No bytes are
/// "no reply". Takes any bytes.
FrameMeaning reply_meaning(const FrameBytes &reply, const FrameBytes &request,
                           const std::optional<TraceContext> &context);

/// Describes bytes that came in when no reply was expected: a whole reply that came too late, or noise.
FrameMeaning discarded_meaning(const FrameBytes &bytes);

/// The text of a Modbus exception code, "illegal data address" for 2; "not in the standard" for an unknown one.
std::string exception_words(int code);

/// The name of a Modbus function, "read holding registers" for 3; empty for an unknown one.
std::string function_name(int function);

}  // namespace kelpo

#pragma once

#include "plc/memory/station_memory.h"
#include "plc/protocol/frame.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace plc {

struct Answer {
    Bytes reply;  ///< the whole reply, CRC included
    std::optional<Change> change;
};

/// Carries out requests. The replies are built by libmodbus, which here has neither the line nor a clock.
class ReplyEngine {
public:
    /// Throws std::system_error when the system provides no socket or no memory.
    ReplyEngine();
    ~ReplyEngine();

    ReplyEngine(const ReplyEngine &) = delete;
    ReplyEngine &operator=(const ReplyEngine &) = delete;

    /// Carries out `request`, as RequestFramer delivers it, on `memory`, and builds the reply under the station number
    /// in the request. A request that gets an exception changes nothing:
    /// - illegal function: not one of the six served ones;
    /// - illegal data value: a quantity, a byte count or a coil value that the function does not allow;
    /// - illegal data address: the range goes beyond address 65535.
    /// Throws std::system_error when libmodbus fails.
    Answer answer(const Bytes &request, StationMemory &memory);

private:
    struct Engine;
    std::unique_ptr<Engine> engine_;
};

}  // namespace plc

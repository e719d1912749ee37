#pragma once

#include "plc/protocol/frame.h"

#include <string>

namespace plc {

/// The controller's end of the line. No call waits.
class Line {
public:
    virtual ~Line() = default;

    /// To be polled for what comes in: readable when receive() has something to do.
    virtual int descriptor() const = 0;

    /// Where a client finds the line.
    virtual const std::string &name() const = 0;

    /// Bytes that have come, at most a few hundred at once; empty when there are none. Throws std::system_error.
    virtual Bytes receive() = 0;

    /// Bytes for which the line has no room, since nobody reads, are lost. Returns whether all were sent. Throws
    /// std::system_error.
    virtual bool send(const Bytes &bytes) = 0;
};

}  // namespace plc

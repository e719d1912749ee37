#pragma once

#include "plc/line/line.h"
#include "plc/system/descriptor.h"

#include <string>

namespace plc {

/// A pseudo-terminal in place of a serial line.
class PtyLine : public Line {
public:
    /// Opens the line in raw mode. Throws std::system_error.
    PtyLine();

    int descriptor() const override;
    const std::string &name() const override;  ///< path of the end that the client opens
    Bytes receive() override;
    bool send(const Bytes &bytes) override;

private:
    Descriptor master_;
    std::string client_path_;
    Descriptor client_;  // never used, but without it the line would hang up when a client leaves
};

}  // namespace plc

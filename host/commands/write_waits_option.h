#pragma once

#include "common/command_line.h"
#include "host/write/write_queue.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace kelpo {

/// The time that `text` means: a whole number followed by ms, s or min, at most a day. Nothing otherwise.
std::optional<std::chrono::milliseconds> duration_from(const std::string &text);

/// --within and --if-away of the commands that write: how long a write may wait, and for what.
class WriteWaitsOption {
public:
    /// Adds them to `command`.
    explicit WriteWaitsOption(common::Command command);

    /// After parsing.
    WriteWaits value() const;

private:
    struct Given;
    std::shared_ptr<Given> given_;
};

}  // namespace kelpo

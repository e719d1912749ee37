#pragma once

#include "common/command_line.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace kelpo {

/// The time that `text` means: a whole number followed by ms, s or min, at most a day. Nothing otherwise.
std::optional<std::chrono::milliseconds> duration_from(const std::string &text);

/// --within of the commands that write: how long a write may wait.
class WithinOption {
public:
    /// Adds it to `command`.
    explicit WithinOption(common::Command command);

    /// After parsing.
    std::chrono::milliseconds value() const;

private:
    std::shared_ptr<std::string> text_;
};

}  // namespace kelpo

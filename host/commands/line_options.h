#pragma once

#include "common/command_line.h"
#include "host/link/link_settings.h"

#include <memory>

namespace kelpo {

/// The options of a command that opens a line: --line, --speed, --parity, --stop-bits, --rs485, --gap, --reply-timeout,
/// --character-timeout, --settle, --retries, --max-count, --no-rest, --echo and
/// --driver. Copies share what the command line gave.
class LineOptions {
public:
    /// Adds the options to `command`. What `defaults` hold is shown in the help.
    LineOptions(common::Command command, const LinkSettings &defaults);

    /// `settings`, overruled by what the command line gave. After parsing.
    LinkSettings over(LinkSettings settings) const;

    /// True when the command line named a line, and what it said of the line. After parsing.
    bool has_line() const;
    bool has_speed() const;
    bool has_parity() const;
    bool has_stop_bits() const;

private:
    struct Given;
    std::shared_ptr<Given> given_;
};

}  // namespace kelpo

#pragma once

#include "host/commands/line_options.h"
#include "host/driver/driver_on_demand.h"

#include <iosfwd>
#include <optional>
#include <string>

namespace kelpo {

/// The line options, and --list FILE: a list file whose line is used, except where the other options say otherwise.
/// Copies share what the command line gave.
class ListOrLine {
public:
    /// Adds the options to `command`.
    ListOrLine(common::Command command, const LinkSettings &defaults);

    /// How the line is to be opened. After parsing. Nothing when the list file has mistakes, which are reported on
    /// `error`. Throws common::UsageError when neither options nor list name a line, and DriverLibraryError.
    std::optional<LinkSettings> settings(DriverOnDemand &driver, std::ostream &error) const;

    /// What the options alone say.
    const LineOptions &line() const {
        return line_;
    }

    /// The file name of the driver. After parsing.
    std::string driver_file() const;

private:
    LinkSettings defaults_;
    LineOptions line_;
    std::shared_ptr<std::string> list_;
};

}  // namespace kelpo

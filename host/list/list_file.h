#pragma once

#include "common/regular_file.h"
#include "host/driver/driver_queries.h"
#include "host/list/list_builder.h"
#include "host/list/poll_list.h"

#include <functional>
#include <optional>
#include <string>

namespace kelpo {

/// A list as far as it could be understood, and what was wrong with it.
struct ListReading {
    PollList list;
    Remarks remarks;  ///< in the order of the files' lines

    /// True when the list can be used: there is no mistake, perhaps warnings.
    bool usable() const;
};

using common::FileContent;

/// What reading a list needs from outside.
struct ListSurroundings {
    AddressOf address_of;
    std::function<FileContent(const std::string &path)> content_of;  ///< for the CSV file that a TOML list names
};

/// Understands `text`, the content of the list file `file`: CSV when the name ends in .csv or the first line names
/// columns, TOML otherwise. What it does not say stays as in `defaults`. Never throws because of the text.
ListReading parse_list(std::string text, const std::string &file, const LinkSettings &defaults,
                       const ListSurroundings &surroundings);

/// Reads the list file `file` and the CSV file that it may name, relative to its own folder; addresses are judged by
/// the driver. Files above 16 MiB are refused. A file that cannot be read is a mistake like any other.
ListReading load_list(const std::string &file, const LinkSettings &defaults, const DriverQueries &driver);

}  // namespace kelpo

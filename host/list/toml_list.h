#pragma once

#include "host/list/list_builder.h"

#include <optional>
#include <string>
#include <string_view>

namespace kelpo {

/// Puts the settings and stations of a TOML list into `list`, and its variables into `builder`. Every mistake is noted
/// there; after a mistake in TOML's own grammar the rest of the file is not checked. Returns the name of the CSV file
/// of further variables, when the list names one.
std::optional<Field> add_toml_list(std::string_view text, const std::string &file, PollList &list,
                                   ListBuilder &builder);

}  // namespace kelpo

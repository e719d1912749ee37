#pragma once

#include "host/list/list_builder.h"

#include <string>
#include <string_view>

namespace kelpo {

/// True when the first line with content names columns as a CSV list of variables does.
bool looks_like_csv(std::string_view text);

/// Adds the variables of a CSV file: a header that names the columns (name, station, type, address, count, view, in any
/// order, type and address at least), then a variable in each record. Empty fields count as left out.
void add_csv_variables(std::string_view text, const std::string &file, ListBuilder &builder);

}  // namespace kelpo

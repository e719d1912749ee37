#pragma once

#include "host/list/poll_list.h"

#include <iosfwd>
#include <string>

namespace kelpo {

/// Those of `first_file`, the list, before those of files that it names; within a file by line.
void sort_by_place(Remarks &remarks, const std::string &first_file);

/// Prints a line for each, with `prefix` in front: the first 100 mistakes and the first 100 warnings, and how many more
/// there are.
void print_remarks(const Remarks &remarks, const std::string &prefix, std::ostream &out);

}  // namespace kelpo

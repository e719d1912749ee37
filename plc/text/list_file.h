#pragma once

#include <functional>
#include <string>
#include <vector>

namespace plc {

/// What the user has to correct: "FILE:LINE: what would be right", or "FILE: ..." when it cannot be read at all.
using Mistakes = std::vector<std::string>;

/// Reads a text file with one item in each line, in which # begins a comment; lines that are empty without comment and
/// blanks are left out. `take` gets each line's text; what it throws as std::invalid_argument becomes one of the
/// `mistakes`: the first hundred, and how many more there are. Only a regular file of at most 16 MiB is read.
void read_list(const std::string &path, const std::function<void(const std::string &)> &take, Mistakes &mistakes);

/// `text` of a user as a message shows it: "nothing" when empty, cut short, and without characters that a terminal acts
/// on.
std::string shown(const std::string &text);

}  // namespace plc

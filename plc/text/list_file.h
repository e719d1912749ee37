#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace plc {

/// What the user has to mend: "FILE:LINE: what would be right", or "FILE: ..." when it cannot be read at all.
using Mistakes = std::vector<std::string>;

struct ListLine {
    unsigned number;   // counted from 1
    std::string text;  ///< without comment, and without blanks around
};

/// The lines of a text file in which # begins a comment; what is empty then is left out. Throws std::runtime_error when
/// the file cannot be read.
std::vector<ListLine> lines_of_list(const std::string &path);

/// Reads a list with one item in each line. `parse` makes an item of a line's text, or throws std::invalid_argument,
/// which becomes one of the `mistakes`.
template <typename Item, typename Parse>
std::vector<Item> read_list(const std::string &path, Parse parse, Mistakes &mistakes) {
    std::vector<Item> items;
    try {
        for (const ListLine &line : lines_of_list(path)) {
            try {
                items.push_back(parse(line.text));
            } catch (const std::invalid_argument &refused) {
                mistakes.push_back(path + ":" + std::to_string(line.number) + ": " + refused.what());
            }
        }
    } catch (const std::runtime_error &unreadable) {
        mistakes.push_back(path + ": " + unreadable.what());
    }
    return items;
}

}  // namespace plc

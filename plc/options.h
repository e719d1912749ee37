#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <variant>

#include "plc/controller.h"

namespace plc {

struct Options {
    Settings settings;
    std::optional<std::string> link;    // name of a symbolic link to the line
    std::optional<std::string> memory;  // file in which the memory is published
};

/// Reads the command line. Returns the options, or the exit status when there is nothing to run: 0 after --help, whose
/// text goes to `out`, 2 after a wrong argument, of which one line to `error` tells.
std::variant<Options, int> read_options(int argc, const char *const *argv, std::ostream &out, std::ostream &error);

}  // namespace plc

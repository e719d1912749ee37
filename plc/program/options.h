#pragma once

#include "plc/line/tcp_line.h"
#include "plc/program/controller.h"

#include <iosfwd>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <sys/types.h>

namespace plc {

struct Options {
    Settings settings;
    std::optional<TcpAddress> listen;   // the line is a TCP port there instead of a pseudo-terminal
    std::optional<std::string> link;    // name of a symbolic link to the line
    std::optional<std::string> memory;  ///< file in which the memory is published
    std::optional<pid_t> companion;     // when this process ends, the controller ends too
};

/// Reads the command line, which is the arguments without the program's name, and the files that it names. `name` is
/// what the user calls the program by: help and errors show it. Returns the options, or the exit status when there is
/// nothing to run: 0 after --help, whose text goes to `out`; 2 after a wrong argument, which is reported in one line to
/// `error`, or mistakes in a file, each of which has a line.
std::variant<Options, int> read_options(const std::vector<std::string> &arguments, const std::string &name,
                                        std::ostream &out, std::ostream &error);

}  // namespace plc

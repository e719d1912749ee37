#pragma once

#include <string>

namespace common {

/// Opens /dev/null for each of the descriptors 0 to 2 without which the program was started: otherwise what it opens
/// first, perhaps a line, would become its input or output. To be called before anything else is opened.
void open_standard_descriptors();

/// Lets go of each terminal among the descriptors 1 and 2 that takes nothing more, as after Ctrl-S or on a connection
/// that hangs: what it has not shown is forgotten and its output goes on, so that a write to it ends. A signal handler
/// may call it.
void release_stuck_terminals() noexcept;

/// Writes out what was printed to standard output. False, after a word on standard error under the program's `name`,
/// when any of it could not be written. It is not a failure when the reader has closed its pipe.
bool output_was_written(const std::string &name);

}  // namespace common

#pragma once

#include <string>

namespace common {

/// Opens /dev/null for each of the descriptors 0 to 2 without which the program was started: otherwise what it opens
/// first, perhaps a line, would become its input or output. To be called before anything else is opened.
void open_standard_descriptors();

/// Writes out what was printed to standard output. False, after a word on standard error under the program's `name`,
/// when any of it could not be written. It is not a failure when the reader has closed its pipe.
bool output_was_written(const std::string &name);

}  // namespace common

#pragma once

#include <string>

namespace common {

/// Opens /dev/null in place of those of the descriptors 0 to 2 that the program was started without: whatever it opens
/// first, a line perhaps, would become its input or output otherwise. To be called before anything else is opened.
void open_standard_descriptors();

/// Writes out what was printed to standard output. False, after a word on standard error under the program's `name`,
/// when any of it could not be written. A reader that has closed its pipe is no failure.
bool output_was_written(const std::string &name);

}  // namespace common

#pragma once

#include <cerrno>
#include <string>

namespace plc {

/// Throws std::system_error, whose text is `what` and the system's words for the error.
[[noreturn]] void fail(const std::string &what, int error = errno);

/// Whether a call has failed only because it would have had to wait, or was interrupted.
bool would_wait(int error);

}  // namespace plc

#pragma once

#include "host/line/descriptor.h"

#include <string>

namespace kelpo {

/// True when the open tty is a pseudo-terminal.
bool is_pseudo_terminal(const Descriptor &tty);

/// True when the file of that name is there, and is a pseudo-terminal.
bool is_pseudo_terminal(const std::string &path);

/// True when the open tty is a port that keeps to its speed: a built-in one or an adapter with a wire,
/// neither a pseudo-terminal nor a controller's own USB port.
bool is_wired(const Descriptor &tty);

/// Identifies the terminal among all that have had, and will have, its name: the number of a pseudo-terminal is soon
/// given to another. "connection" for what is not a tty.
std::string terminal_identity(const Descriptor &tty);

/// Why the pseudo-terminal `path` must not be opened; empty when it may be, or is not a pseudo-terminal.
///
/// It is refused when it is the terminal of a running program, such as a login's shell. The system also gives the
/// number of a pseudo-terminal that is gone to the next program that asks for one. So it is refused when it was made
/// later than the link that `path` is, and, without a link, when it is not the one that `known_identity` names, unless
/// that is empty.
std::string why_not_to_open(const std::string &path, const std::string &known_identity);

}  // namespace kelpo

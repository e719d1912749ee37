#pragma once

#include "host/line/descriptor.h"
#include "host/line/line_settings.h"

#include <string>

namespace kelpo {

/// Opens and sets up the tty `settings.path`, not blocking, for this program alone. Throws LineError, whose text names
/// the path and tells what would be right. A pseudo-terminal knows no parity and no stop bits: there, a refused setting
/// is passed over.
Descriptor open_serial_device(const LineSettings &settings);

/// True when the open tty is a pseudo-terminal.
bool is_pseudo_terminal(const Descriptor &tty);

/// True when the file of that name is there, and is a pseudo-terminal.
bool is_pseudo_terminal(const std::string &path);

/// True when the open tty is a port that keeps to its speed: a built-in one or an adapter with a wire behind it,
/// neither a pseudo-terminal nor a controller's own USB port.
bool is_wired(const Descriptor &tty);

}  // namespace kelpo

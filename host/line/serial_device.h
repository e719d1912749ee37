#pragma once

#include "host/line/descriptor.h"
#include "host/line/line_settings.h"

namespace kelpo {

/// Opens and sets up the tty `settings.path`, non-blocking, for this program alone. Throws LineError, whose text names
/// the path and says what would be right. A pseudo-terminal has no parity and no stop bits: there, a refused setting is
/// ignored.
Descriptor open_serial_device(const LineSettings &settings);

}  // namespace kelpo

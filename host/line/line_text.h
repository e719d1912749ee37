#pragma once

#include "host/line/line_settings.h"

#include <optional>
#include <string>

namespace kelpo {

/// "none", "even" or "odd".
const char *name_of(Parity parity);

/// The parity that has that name; nothing for another text.
std::optional<Parity> parity_named(const std::string &name);

/// Speed and form of a character: "19200 8E1".
std::string character_text(const LineSettings &line);

}  // namespace kelpo

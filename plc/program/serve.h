#pragma once

#include "plc/line/line.h"
#include "plc/program/controller.h"

namespace plc {

/// Carries bytes between the line and the controller until `stop` becomes readable. With `echoes`, what comes is also
/// returned. Throws std::system_error when the line breaks.
void serve(Line &line, Controller &controller, bool echoes, int stop);

}  // namespace plc

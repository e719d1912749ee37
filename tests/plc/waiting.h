#pragma once

#include <poll.h>

/// How long tests wait for what must come, in milliseconds: well above what a busy machine needs.
constexpr int patience_ms = 60000;

/// Waits until something can be read; false when nothing came.
inline bool becomes_readable(int descriptor) {
    pollfd watched = {descriptor, POLLIN, 0};
    return ::poll(&watched, 1, patience_ms) == 1;
}

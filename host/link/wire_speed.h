#pragma once

#include "host/line/channel.h"

#include <cstddef>

namespace kelpo {

/// Whether replies keep to the speed of a line with a wire. A reply that is there sooner than its characters can
/// arrive, counted from the end of the request, began before the request.
///
/// A port that is the controller itself answers sooner than any speed allows, and nothing comes after such a reply.
/// Then the speed says nothing.
class WireSpeed {
public:
    /// Another line.
    void forget() {
        *this = {};
    }

    /// `size` bytes that were read now on `line` answer another request than the last.
    bool is_too_soon(const Channel &line, std::size_t size) const;

    /// A request has had its reply, or none: `came_too_soon` says whether one came that was too soon, `came` whether
    /// one came that was not.
    void note(bool came_too_soon, bool came);

private:
    bool is_kept_ = true;
    int alone_ = 0;  // replies in a row that were too soon, after which nothing came
};

}  // namespace kelpo

#pragma once

#include "host/link/link_watcher.h"

#include <cstddef>
#include <string_view>

namespace kelpo {

/// Whether a line returns what is sent, byte for byte and before any reply, as a loop does and an adapter that receives
/// what it sends. Begins with nothing known about the line.
///
/// The echo is never a reply. If it is to be taken off, the reply is what comes after it.
///
/// Acknowledgements of functions 5 and 6 are the same as their requests. There, another request shows whether the line
/// echoes.
class LineEcho {
public:
    /// `watcher` gets the first echo that is heard, and must outlive the object.
    LineEcho(bool is_taken_off, LinkWatcher &watcher) : is_taken_off_(is_taken_off), watcher_(watcher) {}

    /// Another line: nothing is known about it.
    void forget() {
        state_ = State::unknown;
    }

    /// True when the line is known to return nothing.
    bool is_ruled_out() const {
        return state_ == State::none;
    }

    /// True when nothing may be said about `request` before it is known whether the line echoes.
    bool must_be_known_for(std::string_view request) const;

    /// True when `so_far` may be the beginning of the echo, or all of it, that is to be taken off.
    bool may_begin_with(std::string_view so_far, std::string_view request) const;

    /// True when `bytes` are the echo of `request`, and to be taken off.
    bool is_to_be_taken_off(std::string_view bytes, std::string_view request);

    enum class Finding {
        no_echo,
        echo,
        perhaps  ///< an acknowledgement looks the same, and nothing is known yet
    };

    /// What came after `request`: its first `whole` bytes are a reply with a right check; 0: they are not. `due`: as
    /// many as a good reply has.
    Finding judge(std::string_view bytes, std::size_t whole, std::string_view request, std::size_t due);

    /// A read of the host's own showed it.
    void note(bool heard);

private:
    enum class State { unknown, none, heard };

    const bool is_taken_off_;
    LinkWatcher &watcher_;
    State state_ = State::unknown;
};

}  // namespace kelpo

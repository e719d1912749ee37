#include "host/link/line_echo.h"

#include "host/line/modbus.h"
#include "host/link/rtu_shape.h"

#include <algorithm>
#include <utility>

namespace kelpo {

bool LineEcho::must_be_known_for(std::string_view request) const {
    return is_taken_off_ && state_ == State::unknown && rtu::is_acknowledged_by_itself(request);
}

bool LineEcho::may_begin_with(std::string_view so_far, std::string_view request) const {
    return is_taken_off_ && state_ != State::none && so_far.size() <= request.size() &&
           so_far == request.substr(0, so_far.size());
}

bool LineEcho::is_to_be_taken_off(std::string_view bytes, std::string_view request) {
    const bool is_echo =
        bytes.size() == request.size() && may_begin_with(bytes, request) && !must_be_known_for(request);
    if (is_echo)
        note(true);
    return is_echo;
}

LineEcho::Finding LineEcho::judge(std::string_view bytes, std::size_t whole, std::string_view request,
                                  std::size_t due) {
    const std::size_t compared = std::min(bytes.size(), request.size());
    if (bytes.size() < std::min(due, request.size()) || whole > request.size() ||
        bytes.substr(0, compared) != request.substr(0, compared)) {
        // Damaged bytes show nothing: an echo may be damaged, too. Nor does a reply without one, where echoes came
        // before and are to be taken off: one that is mistaken for an acknowledgement is worse than a write that fails.
        const bool stays = is_taken_off_ && state_ == State::heard;
        if (!stays && (bytes.empty() || whole > 0))
            note(false);
        return Finding::no_echo;
    }
    if (whole == 0 || modbus::is_read(rtu::function_of(request)))
        note(true);
    if (state_ == State::unknown)
        return Finding::perhaps;
    return state_ == State::none ? Finding::no_echo : Finding::echo;
}

void LineEcho::note(bool heard) {
    const State before = std::exchange(state_, heard ? State::heard : State::none);
    if (heard && before != State::heard)
        watcher_.line_echoes(is_taken_off_);
}

}  // namespace kelpo

#include "host/serve/link_pulse.h"

#include <utility>

namespace kelpo {
namespace {

// To open a line again, and to listen to what others have asked on it.
constexpr auto time_to_open = std::chrono::minutes(1);

}  // namespace

bool LinkPulse::has_moved(Time now) {
    const std::uint64_t beats = beats_;
    return std::exchange(seen_, beats) != beats || now < rests_until_.load();
}

void LinkPulse::about_to_ask() {
    ++beats_;
}

void LinkPulse::exchanged(const Exchange & /*exchange*/) {
    ++beats_;
}

void LinkPulse::line_opened() {
    ++beats_;
    rests_until_ = std::chrono::steady_clock::now() + time_to_open;
}

void LinkPulse::line_lost(const std::string & /*why*/, std::chrono::milliseconds pause) {
    ++beats_;
    rests_until_ = std::chrono::steady_clock::now() + pause + time_to_open;
}

}  // namespace kelpo

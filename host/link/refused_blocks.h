#pragma once

#include "host/driver/driver.h"
#include "host/line/channel.h"
#include "host/link/growing_pause.h"
#include "host/link/link_settings.h"
#include "host/link/link_watcher.h"

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace kelpo {

/// Remembers which polled requests were refused for a reason that asking again at once does not change, and for how
/// long each is not worth an exchange: the pauses grow until it is answered. They are short for a station that needs
/// time. What was refused before a line was lost, before its station rested, or before the user switched any station,
/// is asked again at once.
///
/// For the link's thread alone.
class RefusedBlocks : public LinkWatcher {
public:
    using Clock = std::function<Channel::Time()>;

    /// `driver` must outlive the book.
    RefusedBlocks(const Driver &driver, const RestSettings &settings, Clock clock = Channel::Clock::now);

    /// True when `request` need not be sent again at once after the refusal with this code: it has a pause.
    static bool has_pause(const RequestName &request, unsigned exception_code);

    /// The refusal that the driver may have once more for `request`; nothing when it is to be sent.
    std::optional<std::string> refusal_of(std::string_view request);

    void exchanged(const Exchange &exchange) override;
    void rest_ended(int station, bool has_answered) override;
    void line_lost(const std::string &why, std::chrono::milliseconds pause) override;

private:
    struct Refused {
        int station = 0;
        std::string reply;
        bool is_lasting = false;
        std::chrono::milliseconds pause{0};
        Channel::Time until{};
    };

    const Driver &driver_;
    const Clock clock_;
    GrowingPause pause_;        // after a refusal that lasts
    GrowingPause short_pause_;  // after one by a station that needs time
    int switched_ = 0;          // how often the user had switched stations when all below was refused
    std::map<std::string, Refused, std::less<>> refused_;  // by request
};

}  // namespace kelpo

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

/// Remembers which requests of a list are not worth an exchange at present, and for how long: the pauses grow until
/// the request is answered. There are two kinds:
///
/// - It was refused for a reason that asking again at once does not change. The pauses are short for a station that
///   needs time. What was refused before its station rested is asked again at once.
/// - It had no reply several times in a row (RestSettings::after), and each time its station answered others in
/// between.
///   After the station rested, it is asked once at once.
///
/// All is forgotten when the line is lost, and when the user switches any station.
///
/// For the link's thread alone.
class PausedBlocks : public LinkWatcher {
public:
    using Clock = std::function<Channel::Time()>;

    /// `driver` must outlive the book.
    PausedBlocks(const Driver &driver, const RestSettings &settings, Clock clock = Channel::Clock::now);

    /// True when `request` need not be sent again at once after the refusal with this code: it has a pause.
    static bool has_pause(const RequestName &request, unsigned exception_code);

    /// What the driver may have for `request`, once more: the refusal, or no reply, which is empty. Nothing when it is
    /// to be sent.
    std::optional<std::string> reply_instead(std::string_view request);

    /// The block, or a part of it, is not worth an exchange before that time.
    Channel::Time paused_until(const PolledBlock &block);

    /// True for a request that often had no reply although its station answered others.
    bool is_silent(std::string_view request) const;

    void exchanged(const Exchange &exchange) override;

    /// To be called after exchanged(), when late replies have come too. `was_heard`: something came from the station
    /// since the request was sent.
    void settled(const Exchange &exchange, bool was_heard);

    void rest_ended(int station, bool has_answered) override;
    void line_lost(const std::string &why, std::chrono::milliseconds pause) override;

private:
    enum class Reason { lasting_refusal, station_needs_time, silence };

    struct Paused {
        PolledBlock block{};
        std::string reply;
        std::optional<Reason> reason;
        int silences = 0;           // in a row, for silence
        Channel::Time silent_at{};  // the last one
        std::chrono::milliseconds pause{0};
        Channel::Time until{};
    };

    Paused &paused_for(const Exchange &exchange, Reason reason);
    void set_pause(Paused &paused);
    void forget_what_the_user_switched();

    const Driver &driver_;
    const Clock clock_;
    const int most_silent_;
    GrowingPause pause_;
    GrowingPause short_pause_;  // for a station that needs time
    int switched_ = 0;          // how often the user had switched stations when all below was found
    std::map<std::string, Paused, std::less<>> paused_;  // by request
    std::map<int, Channel::Time> answered_at_;           // by station: any of its requests
    bool was_heard_ = false;                             // at a try of the request in flight
};

}  // namespace kelpo

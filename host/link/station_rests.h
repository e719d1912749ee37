#pragma once

#include "host/driver/driver.h"
#include "host/line/channel.h"
#include "host/link/growing_pause.h"
#include "host/link/link_settings.h"
#include "host/link/link_watcher.h"
#include "host/link/rtu_shape.h"

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>

namespace kelpo {

/// Decides which stations rest. A station that gave no reply to several reads in a row is switched off in the
/// driver, so that the others get its time, and asked again occasionally by one short request. When it answers two of
/// these in a row, it is switched on again.
///
/// Noise must not make a station come and go: one whose replies are lost now and then may miss more in a row.
///
/// For the link's thread alone. Has no clock of its own.
class StationRests {
public:
    using Time = Channel::Time;

    /// A request of the host's own to a station that rests.
    struct Probe {
        int station;
        rtu::ShortRead read;
        std::chrono::milliseconds wait;  ///< how long to wait for its reply
    };

    /// `driver` and `watcher` must outlive the object.
    /// `own_replies` are the reply time-outs of stations that have their own.
    StationRests(Driver &driver, const RestSettings &settings, std::chrono::milliseconds reply_timeout,
                 LinkWatcher &watcher, std::map<int, std::chrono::milliseconds> own_replies = {});

    /// A request of the driver has had its reply after this time, or none. `was_heard`: something came from its station
    /// since it was sent.
    void exchanged(const Exchange &exchange, std::chrono::nanoseconds took, bool was_heard, Time now);

    bool any() const {
        return !rests_.empty();
    }

    /// What is to be asked now, if anything. `is_idle`: the driver has nothing to ask.
    std::optional<Probe> due(Time now, bool is_idle);

    /// The station is not to be asked before that time.
    void postpone(int station, Time until);

    /// The probe was sent, and the wait for its reply ended at `now`.
    void probed(int station, Time asked_at, Time now);

    /// Ends the rest of stations that have answered: `replied_at` says when each last did so. A station that may still
    /// answer what it was asked before, as `owes` says, rests until then: it would hold up the others.
    void look(const std::function<Time(int)> &replied_at, const std::function<bool(int)> &owes);

    /// The line was lost: all stations that rest are asked as soon as it is back.
    void line_was_lost();

private:
    struct Rest {
        rtu::ShortRead read;
        Time tried{};
        Time next{};
        Time replied{};         // the last reply that was seen
        int answers = 0;        // short requests in a row that had a reply, also a late one
        bool has_news = false;  // a reply since the last short request had ended
    };
    // How a station does that does not rest.
    struct Health {
        int silent = 0;          // reads in a row without a reply
        int missed = 0;          // tries in a row without one
        int shaky = 0;           // how many reads more it may miss
        int clean = 0;           // requests in a row that had a reply at the first try
        std::string answered{};  // the last read that had a good reply
    };

    static void answered(Health &health);
    std::chrono::milliseconds reply_timeout_of(int station) const;
    void begin(const Exchange &exchange, Time now);
    void set_pause(int station, Rest &rest, Time now);

    Driver &driver_;
    const int most_silent_;
    const std::chrono::milliseconds reply_timeout_;
    const std::map<int, std::chrono::milliseconds> own_replies_;
    LinkWatcher &watcher_;
    GrowingPause pause_;
    std::map<int, Rest> rests_;
    std::map<int, Health> health_;                     // by station
    std::set<int> heard_;                              // those that sent something since their request was first sent
    std::map<int, std::chrono::milliseconds> pauses_;  // the last one of each station, until it answers again
    std::set<int> slow_;                               // may take longer than the usual wait after a probe
    std::optional<int> probed_;                        // the last station
    Time probe_ended_{};
    Time next_probe_{};  // of any station, while there is something else to ask
};

}  // namespace kelpo

#pragma once

#include "host/driver/polled_block.h"
#include "host/driver/request_name.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kelpo {

/// What the driver said about a reply, by its return code.
enum class Outcome {
    good,        ///< the reply was accepted
    sent_again,  ///< no reply, or not a good one; the same request is sent again
    given_up     ///< no reply, or not a good one, and it was the last try
};

/// The outcome that the driver return code `code` of DataCom means.
Outcome outcome_of(int code);

/// One request and what came of it. Points into the link loop's own memory: valid until the call that it is passed to
/// returns.
struct Exchange {
    using Time = std::chrono::system_clock::time_point;

    Time sent_at;              ///< when the request had been passed to the line
    Time ended_at;             ///< the same, and the time until the reply was complete or the wait for it ended
    std::string_view request;  ///< the bytes that went out
    std::string_view reply;    ///< the bytes that came back; empty: none
    std::string_view stale;    ///< what came in before the request was sent, and was thrown away
    std::string_view late;     ///< what came in after it and was for another request, and was thrown away
    int expected_length;       ///< bytes that a good reply has; -1: any number, 0: no reply is expected
    int station;               ///< the request's station
    int type;                  ///< the register class that it serves (a type from 0 to 17)
    int address;               ///< first number in that class, as the driver counts
    int count;                 ///< units of that class
    RequestName name;          ///< how the driver knows the request
    int code;                  ///< the driver return code
    Outcome outcome;           ///< what the code means
    std::uint64_t received;    ///< bytes that came in on this line so far, thrown away or not
    std::uint64_t discarded;   ///< bytes that came in since the previous exchange, and are not part of `reply`
    /// It is of a list, and had no reply before, although its station answered others: PausedBlocks. It gets one try.
    bool is_silent_block;
};

/// What the host wants to find out when it asks a station by itself.
enum class ProbePurpose {
    echo,  ///< does the line return what is sent? An acknowledgement looked the same as its request
    rest   ///< does a station that rests answer again?
};

/// Gets reports of what happens on a link. All calls come from the link thread and hold it up, so they must be quick;
/// those that say so come with the driver's list lock held and must not call the driver.
class LinkWatcher {
public:
    virtual ~LinkWatcher() = default;

    /// The driver is asked for the next request right after this call, so what is queued here can be that request.
    virtual void about_to_ask() {}

    /// The request is about to be sent: `exchange` has nothing but the request yet. False: it is not to be sent any
    /// more, and ends as one that was given up, without exchanged().
    virtual bool may_leave(const Exchange & /*exchange*/) {
        return true;
    }

    virtual void exchanged(const Exchange &) {}

    /// The driver polls the blocks `come` instead of the blocks `gone`.
    virtual void blocks_replaced(const std::vector<PolledBlock> & /*gone*/, const std::vector<PolledBlock> & /*come*/) {
    }

    /// A pass over the cyclic read list is complete.
    virtual void pass_ended() {}

    /// A part of a write or of a once-read is done or has failed. Comes before exchanged() of its last reply. With the
    /// driver's list lock held.
    virtual void request_ended(const RequestName & /*name*/, RequestOutcome /*outcome*/) {}

    /// A request of this group was given up. Comes before exchanged() of its last reply. With the driver's list lock
    /// held.
    virtual void communication_failed(int /*group*/) {}

    /// A station answers later than the reply time-out: it took at least `time`, longer than reported before.
    virtual void reply_late(int /*station*/, std::chrono::milliseconds /*time*/) {}

    /// The host has asked a station for one unit by itself, for this purpose. Not counted as an exchange. Of `exchange`
    /// only times, bytes and station are filled in. Comes right before or after
    /// exchanged() of the request that called for it.
    virtual void line_probed(const Exchange & /*exchange*/, ProbePurpose /*purpose*/) {}

    /// A station gave no reply to several reads in a row: the driver does not ask it any more. One short request
    /// follows after `pause`. Reported again after each of them that has no reply either.
    virtual void station_rests(int /*station*/, std::chrono::milliseconds /*pause*/) {}

    /// A station that rested is asked as before: since it has answered, or else because the user has switched it.
    virtual void rest_ended(int /*station*/, bool /*has_answered*/) {}

    /// The line returns what is sent: it is a loop, or an adapter receives what it sends. `is_taken_off`: the host
    /// takes replies from what comes after that. Reported once for each time that the line is opened.
    virtual void line_echoes(bool /*is_taken_off*/) {}

    /// A station has asked the host to wait too often in a row: from now on this counts as no reply.
    virtual void wait_refused(int /*station*/) {}

    /// The line is open, for the first time or again.
    virtual void line_opened() {}

    /// The line failed or could not be opened again; the next try comes after `pause`.
    virtual void line_lost(const std::string & /*why*/, std::chrono::milliseconds /*pause*/) {}
};

/// Passes everything on to several watchers, in the order in which they were added. They must outlive it.
class WatcherList : public LinkWatcher {
public:
    /// Only while no link runs.
    void add(LinkWatcher &watcher) {
        watchers_.push_back(&watcher);
    }

    void about_to_ask() override;
    bool may_leave(const Exchange &exchange) override;
    void exchanged(const Exchange &exchange) override;
    void blocks_replaced(const std::vector<PolledBlock> &gone, const std::vector<PolledBlock> &come) override;
    void pass_ended() override;
    void request_ended(const RequestName &name, RequestOutcome outcome) override;
    void communication_failed(int group) override;
    void reply_late(int station, std::chrono::milliseconds time) override;
    void line_probed(const Exchange &exchange, ProbePurpose purpose) override;
    void station_rests(int station, std::chrono::milliseconds pause) override;
    void rest_ended(int station, bool has_answered) override;
    void line_echoes(bool is_taken_off) override;
    void wait_refused(int station) override;
    void line_opened() override;
    void line_lost(const std::string &why, std::chrono::milliseconds pause) override;

private:
    std::vector<LinkWatcher *> watchers_;
};

}  // namespace kelpo

#pragma once

#include "host/driver/driver_library.h"
#include "host/line/channel.h"
#include "host/link/line_echo.h"
#include "host/link/link_watcher.h"
#include "host/link/reply_ledger.h"
#include "host/link/rtu_shape.h"
#include "host/link/stray_bytes.h"
#include "host/link/wire_speed.h"

#include <QtCore/QByteArray>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace kelpo {

/// Gives the driver its configuration block and two callbacks that report to `watcher`. Both must live as long as the
/// driver is used. There is one driver per process, so a second call replaces the first.
void attach(const DriverEntryPoints &driver, ComInfo &info, LinkWatcher &watcher);

class CyclePace;
class PausedBlocks;
class StationRests;

/// What decides which requests are not sent. Without them all are.
struct LoopBooks {
    StationRests *rests = nullptr;   ///< stations that are left alone
    PausedBlocks *paused = nullptr;  ///< polled requests that are
    CyclePace *pace = nullptr;       ///< when the next cycle begins
};

/// Settings of a LinkLoop.
struct LoopSettings {
    ReplyTimeouts timeouts;
    /// The driver adds up the failed replies of different requests. With this, each request begins at 0.
    bool retries_per_request = false;
    /// A line may return what is sent: the echo is taken off, and what comes after it is the reply.
    bool takes_off_echo = false;
    std::map<int, std::chrono::milliseconds> replies{};  ///< ReplyTimeouts::reply of stations with one of their own

    ReplyTimeouts timeouts_of(int station) const {
        ReplyTimeouts own = timeouts;
        const auto reply = replies.find(station);
        own.reply = reply == replies.end() ? timeouts.reply : reply->second;
        return own;
    }
};

/// Asks the driver for the next request, sends it, returns the reply to the driver, reports to `watcher`. For one
/// thread.
///
/// The driver accepts any reply that has the right station, function, length and check. That is not enough to know that
/// a reply is for the request in flight. So the loop keeps a ledger of what was asked and has no reply (ReplyLedger),
/// and gives the driver only replies that can be for nothing else. For a reply that it holds back, the driver gets one
/// of length 0: no reply. Before a station that answers is asked for more, the loop listens until the station has
/// nothing left to answer.
///
/// It remembers requests without a reply also when the line is opened again.
class LinkLoop {
public:
    /// All must outlive the loop. Needs `attach` first.
    LinkLoop(const DriverEntryPoints &driver, ComInfo &info, const LoopSettings &settings, LinkWatcher &watcher,
             const LoopBooks &books = {});

    /// Runs until a stop of `line` is requested, and then until the reply in flight has come or its time-out is over.
    /// Throws LineError when the line is gone: the request then stays in flight in the driver, and is sent again when
    /// the loop runs once more, on another line.
    ///
    /// After a reply that the driver does not accept, the loop listens for `timeouts.settle` before it goes on, so that
    /// a late reply does not answer the next request.
    ///
    /// The loop lowers ComInfo::finish_flag whenever it has reported a pass, so that the driver raises it again for the
    /// next one.
    void run(Channel &line);

    /// To be called when the line was lost, before the loop runs on another. What is in flight is then sent again,
    /// except for the second half of the write of a bit in a register: the word that it would write back was read
    /// before the line was lost. The driver gets no reply to it until it gives it up.
    void line_was_lost();

private:
    // The result of waiting for a reply. Its bytes are the first of reply_.
    struct Reply {
        int size;       // bytes that came and are not of a late reply
        bool is_known;  // they are the reply to the request, by the ledger
        bool is_held;   // none of them is passed to the driver
        Channel::Time ended_at;
        std::uint64_t received;  // bytes, by the line until then
        bool is_unclear;         // one that was thrown away may have been for this request
    };

    // A request of the loop's own, to be reported.
    struct Probe {
        Exchange exchange{};
        std::string request, reply, stale;
        bool has_echo = false;  // its own bytes came back
        bool is_whole = false;  // so did a reply with a right check
    };

    void idle();
    bool hand_back_known_reply(const Protocol &request);
    int give_up();
    int take_for_good(QByteArray &reply);
    bool listen_before(int station);
    void exchange(const Protocol &request);
    bool is_final(const Exchange &exchange, unsigned refusal) const;
    bool comes_after_settling(const Exchange &exchange, unsigned refusal) const;
    bool is_to_be_repeated(const Exchange &exchange, const Reply &reply) const;
    void end_exchange(Exchange &exchange, const Reply &reply);
    bool ask(std::string_view request, int station, int reply_size);
    Reply await_reply(std::string_view request, int station, int reply_size);
    ReplyLedger::Arrival arrival_of_what_was_read() const;
    bool takes_off_echo(std::string_view bytes, std::string_view request);
    bool is_echo(std::string_view bytes, std::size_t first, std::string_view request, std::size_t due);
    std::optional<Probe> probe_for_echo(std::string_view request);
    void find_echo_before(std::string_view request);
    std::optional<Probe> probe(const rtu::ShortRead &read, const ReplyTimeouts &timeouts, const Channel::Heard &heard);
    void report_probe(Probe &probe, ProbePurpose purpose);
    void ask_one_that_rests(bool is_idle);
    void end_rests();
    bool may_wait_on(int station, std::string_view reply);
    static bool would_be_taken(std::string_view bytes, std::string_view request, int reply_size);
    void hear(std::string_view bytes);
    void report_lateness();
    bool take_finish_flag();

    const DriverEntryPoints &driver_;
    ComInfo &info_;
    const LoopSettings settings_;
    LinkWatcher &watcher_;
    ReplyLedger ledger_;
    Channel *line_ = nullptr;
    const Channel::Heard heard_ = [this](std::string_view bytes) {
        hear(bytes);
    };
    LineEcho echo_;
    WireSpeed speed_;
    StrayBytes stray_;
    StationRests *const rests_;
    PausedBlocks *const paused_;
    CyclePace *const pace_;
    std::set<std::string> handed_back_;  // requests that were not sent, since one was
    bool was_repeated_ = false;          // the request in flight was sent once more without the driver's knowledge
    std::optional<Probe> echo_probe_;
    std::map<int, int> waits_;  // how often in a row a station has asked the host to wait
    QByteArray reply_;
    std::uint64_t counted_ = 0;  // bytes that had come in at the end of the previous exchange
    std::string stale_;          // came in before the request
    std::string late_;           // came in while the loop waited for its reply, and is for another request
};

}  // namespace kelpo

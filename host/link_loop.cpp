#include "host/link_loop.h"

#include <QtCore/QByteArray>

namespace kelpo {
namespace {

constexpr int longest_reply = 512;  // twice the longest Modbus RTU frame: an over-long reply is seen as one
constexpr auto idle_pause = std::chrono::milliseconds(5);

// The driver's callbacks carry no pointer of the host's.
struct Listeners {
    std::atomic<LinkStatistics *> statistics{nullptr};
    std::atomic<Mailbox<LinkNote> *> notes{nullptr};
};
Listeners listeners;

// Both callbacks run with the driver's list lock held: they must not call the driver and must be quick.
void note_write_result(int, int group, int id, int status) {
    constexpr int done = 1;
    LinkStatistics *statistics = listeners.statistics;
    ++(status == done ? statistics->writes_done : statistics->writes_failed);
    listeners.notes.load()->put({LinkNote::Kind::result, group, id, status});
}

void note_comm_error(QList<RW_VAR> *, int group, int flag) {
    constexpr int no_id = -1;
    ++listeners.statistics.load()->error_calls;
    listeners.notes.load()->put({LinkNote::Kind::comm_error, group, no_id, flag});
}

// The driver raises finish_flag at the end of a pass and when it has nothing to send.
bool take_finish_flag(ComInfo &info) {
    const bool raised = info.finish_flag != 0;
    info.finish_flag = 0;
    return raised;
}

// True when the reply was good.
bool count_outcome(int code, LinkStatistics &statistics) {
    constexpr int sent_again = 0, good = 1, remote_good = 100, not_judged = 1000;
    switch (code) {
    case good:
    case remote_good:
        ++statistics.good;
        return true;
    case sent_again:
    case not_judged:
        ++statistics.failed;
        return false;
    default:
        ++statistics.given_up;
        return false;
    }
}

}  // namespace

void attach(const DriverEntryPoints &driver, ComInfo &info, LinkStatistics &statistics, Mailbox<LinkNote> &notes) {
    listeners.statistics = &statistics;
    listeners.notes = &notes;
    driver.SetComInfo(&info);
    driver.RegistCallBackFuncIntf(note_write_result, note_comm_error);
}

void run_link(const DriverEntryPoints &driver, Line &line, ComInfo &info, const ReplyTimeouts &timeouts,
              LinkStatistics &statistics, Mailbox<LinkNote> &notes) {
    QByteArray reply;
    reply.reserve(longest_reply);

    while (!line.stop_requested()) {
        // The request belongs to the driver and is valid until DataCom. The same one comes back until it is answered or
        // given up: sending it again needs nothing special here.
        const Protocol *request = driver.ComCommunication();
        if (request == nullptr) {
            take_finish_flag(info);
            line.pause(idle_pause);
            continue;
        }

        // A reply that came too late for its own request must not answer this one.
        statistics.bytes_discarded += line.discard_input();
        line.send(request->frame.constData(), static_cast<std::size_t>(request->send_len));
        statistics.bytes_sent += static_cast<std::uint64_t>(request->send_len);

        // resize() within the reserved size moves no bytes; the driver looks at both the array's size and the length.
        reply.resize(longest_reply);
        const auto length = static_cast<int>(line.receive(reply.data(), longest_reply, request->reply_len, timeouts));
        if (line.stop_requested())
            return;
        reply.resize(length);
        ++statistics.exchanges;
        statistics.bytes_received += static_cast<std::uint64_t>(length);

        // No reply is handed over as one of length 0: the driver, not the host, decides how often to try.
        const int group = request->var.var_group, id = request->var.var_id;
        const int code = driver.DataCom(&reply, length)->ret_value;
        if (!count_outcome(code, statistics))
            notes.put({LinkNote::Kind::failed_reply, group, id, code});
        if (take_finish_flag(info))
            ++statistics.passes;
    }
}

}  // namespace kelpo

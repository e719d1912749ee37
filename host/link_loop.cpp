#include "host/link_loop.h"

#include <QtCore/QByteArray>

namespace kelpo {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int longest_reply = 512;  // twice the longest Modbus RTU frame: an over-long reply is seen as one
constexpr auto idle_pause = std::chrono::milliseconds(5);

// The driver's callbacks carry no pointer of the host's.
std::atomic<LinkStatistics *> counting{nullptr};

// Both callbacks run inside DataCom with the driver's list lock held: they must not call the driver and must be quick.
void count_write_result(int, int, int, int status) {
    constexpr int done = 1;
    LinkStatistics *statistics = counting;
    ++(status == done ? statistics->writes_done : statistics->writes_failed);
}

void count_comm_error(QList<RW_VAR> *, int, int) {
    ++counting.load()->error_calls;
}

// The driver raises finish_flag at the end of a pass and when it has nothing to send.
bool take_finish_flag(ComInfo &info) {
    const bool raised = info.finish_flag != 0;
    info.finish_flag = 0;
    return raised;
}

void count_outcome(int code, LinkStatistics &statistics) {
    constexpr int sent_again = 0, good = 1, remote_good = 100, not_judged = 1000;
    switch (code) {
    case good:
    case remote_good:
        ++statistics.good;
        break;
    case sent_again:
    case not_judged:
        ++statistics.failed;
        break;
    default:
        ++statistics.given_up;
    }
}

}  // namespace

void attach(const DriverEntryPoints &driver, ComInfo &info, LinkStatistics &statistics) {
    counting = &statistics;
    driver.SetComInfo(&info);
    driver.RegistCallBackFuncIntf(count_write_result, count_comm_error);
}

void run_link(const DriverEntryPoints &driver, Line &line, ComInfo &info, const ReplyTimeouts &timeouts,
              LinkStatistics &statistics) {
    QByteArray reply;
    reply.reserve(longest_reply);
    auto pass_began = Clock::now();

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
        const int code = driver.DataCom(&reply, length)->ret_value;
        count_outcome(code, statistics);
        if (take_finish_flag(info)) {
            statistics.last_pass_began = pass_began;
            ++statistics.passes;
            pass_began = Clock::now();
        }
    }
}

}  // namespace kelpo

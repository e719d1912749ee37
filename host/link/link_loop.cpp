#include "host/link/link_loop.h"

#include <QtCore/QByteArray>
#include <QtCore/QMutexLocker>

#include <atomic>
#include <utility>

namespace kelpo {
namespace {

using WallClock = std::chrono::system_clock;

constexpr int longest_reply = 512;  // twice the longest Modbus RTU frame: an over-long reply is seen as one
constexpr auto idle_time = std::chrono::milliseconds(5);

// The driver's callbacks carry no pointer of the host's.
std::atomic<LinkWatcher *> told{nullptr};

// Both callbacks run with the driver's list lock held: they must not call the driver and must be quick.
void on_write_result(int, int group, int id, int status) {
    told.load()->request_ended(group, id, status);
}

void on_comm_error(QList<RW_VAR> *, int group, int flag) {
    told.load()->communication_failed(group, flag);
}

// The driver raises finish_flag at the end of a pass and when it has nothing to send. Another thread that makes the
// list anew lowers it, with the list lock held.
bool take_finish_flag(const DriverEntryPoints &driver, ComInfo &info) {
    const QMutexLocker locked(&driver.PLC_driver->list_mutex);
    return std::exchange(info.finish_flag, 0) != 0;
}

std::string_view view_of(const QByteArray &bytes, int length) {
    return {bytes.constData(), static_cast<std::size_t>(length)};
}

// Of noise that does not end, the first is enough.
void keep(std::string &stale, const std::string &more) {
    if (stale.size() < static_cast<std::size_t>(longest_reply))
        stale += more;
}

Exchange exchange_of(const Protocol &request) {
    const RW_VAR &var = request.var;
    Exchange exchange{};
    exchange.expected_length = request.reply_len;
    exchange.station = var.station_no;
    exchange.type = var.reg_type;
    exchange.address = var.reg_addr;
    exchange.count = var.reg_count;
    exchange.group = var.var_group;
    exchange.id = var.var_id;
    return exchange;
}

}  // namespace

void attach(const DriverEntryPoints &driver, ComInfo &info, LinkWatcher &watcher) {
    told = &watcher;
    driver.SetComInfo(&info);
    driver.RegistCallBackFuncIntf(on_write_result, on_comm_error);
}

void run_link(const DriverEntryPoints &driver, Line &line, ComInfo &info, const ReplyTimeouts &timeouts,
              LinkWatcher &watcher) {
    QByteArray reply;
    reply.reserve(longest_reply);
    std::string stale;

    while (!line.stop_requested()) {
        watcher.about_to_ask();
        // The request belongs to the driver and is valid until DataCom. The same one comes back until it is answered or
        // given up: sending it again needs nothing special here.
        const Protocol *request = driver.ComCommunication();
        if (request == nullptr) {
            // Listening, not only waiting: a line that is lost is noticed also when there is nothing to ask.
            take_finish_flag(driver, info);
            keep(stale, line.settle(idle_time));
            continue;
        }
        Exchange exchange = exchange_of(*request);
        const QByteArray frame = request->frame;

        // A reply that came too late for its own request must not answer this one.
        keep(stale, line.await_silence());
        line.send(frame.constData(), static_cast<std::size_t>(request->send_len));
        exchange.sent_at = WallClock::now();
        exchange.request = view_of(frame, request->send_len);

        // resize() within the reserved size moves no bytes; the driver looks at both the array's size and the length.
        reply.resize(longest_reply);
        const auto length = static_cast<int>(line.receive(reply.data(), longest_reply, request->reply_len, timeouts));
        if (line.stop_requested())
            return;
        reply.resize(length);
        exchange.ended_at = WallClock::now();

        // No reply is handed over as one of length 0: the driver, not the host, decides how often to try.
        exchange.code = driver.DataCom(&reply, length)->ret_value;
        exchange.outcome = outcome_of(exchange.code);
        exchange.reply = view_of(reply, length);
        exchange.stale = stale;
        exchange.received = line.received();
        watcher.exchanged(exchange);
        if (take_finish_flag(driver, info))
            watcher.pass_ended();

        // What was late for this request must be in, and thrown away, before the next one is asked.
        stale.clear();
        if (exchange.outcome != Outcome::good)
            stale = line.settle(timeouts.settle);
    }
}

}  // namespace kelpo

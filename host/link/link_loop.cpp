#include "host/link/link_loop.h"

#include "host/driver/register_types.h"
#include "host/line/modbus.h"
#include "host/link/cycle_pace.h"
#include "host/link/paused_blocks.h"
#include "host/link/rtu_shape.h"
#include "host/link/station_rests.h"

#include <QtCore/QMutexLocker>

#include <algorithm>
#include <array>
#include <atomic>
#include <utility>

namespace kelpo {
namespace {

using WallClock = std::chrono::system_clock;
using Whose = ReplyLedger::Whose;
using rtu::most_bytes;

constexpr auto idle_time = std::chrono::milliseconds(5);

// The driver's callbacks carry no pointer of the host's.
std::atomic<LinkWatcher *> attached{nullptr};

// Both callbacks run with the driver's list lock held: they must not call the driver and must be quick.
void on_write_result(int, int group, int id, int status) {
    attached.load()->request_ended({group, id},
                                   status == ozna_kelpo::request_done ? RequestOutcome::done : RequestOutcome::failed);
}

void on_comm_error(QList<RW_VAR> *, int group, int) {
    attached.load()->communication_failed(group);
}

std::string_view view_of(const QByteArray &bytes, int length) {
    return {bytes.constData(), static_cast<std::size_t>(length)};
}

// The wall clock may be set meanwhile, so what has passed is measured with another one.
Exchange::Time wall_time(Exchange::Time begin, Channel::Clock::duration passed) {
    return begin + std::chrono::duration_cast<Exchange::Time::duration>(passed);
}

// From noise that does not end the beginning is enough.
void keep(std::string &kept, std::string_view more) {
    if (kept.size() < most_bytes)
        kept += more;
}

bool is_rtu(std::string_view request) {
    const int function = rtu::function_of(request);
    return modbus::is_read(function) || modbus::is_write(function);
}

// The station that the reply comes from.
int station_of(const Protocol &request) {
    const std::string_view frame = view_of(request.frame, request.send_len);
    return is_rtu(frame) ? static_cast<int>(rtu::byte_at(frame, 0)) : request.var.station_no;
}

// The second of the two requests that write a bit in a register. It carries the word that the first one has read.
bool is_write_half(const RW_VAR &var) {
    return register_type(var.reg_type).is_bit_of_register && var.host_ref2 == ozna_kelpo::write_record &&
           var.store_mode != ozna_kelpo::completes_bit;
}

Exchange exchange_of(const Protocol &request) {
    const RW_VAR &var = request.var;
    Exchange exchange{};
    exchange.expected_length = request.reply_len;
    exchange.station = var.station_no;
    exchange.type = var.reg_type;
    exchange.address = var.reg_addr;
    exchange.count = var.reg_count;
    exchange.name = {var.var_group, var.var_id};
    return exchange;
}

}  // namespace

void attach(const DriverEntryPoints &driver, ComInfo &info, LinkWatcher &watcher) {
    attached = &watcher;
    driver.SetComInfo(&info);
    driver.RegistCallBackFuncIntf(on_write_result, on_comm_error);
}

LinkLoop::LinkLoop(const DriverEntryPoints &driver, ComInfo &info, const LoopSettings &settings, LinkWatcher &watcher,
                   const LoopBooks &books)
    : driver_(driver), info_(info), settings_(settings), watcher_(watcher),
      ledger_(settings.timeouts.reply, settings.timeouts.patience, settings.replies),
      echo_(settings.takes_off_echo, watcher), stray_(ledger_), rests_(books.rests), paused_(books.paused),
      pace_(books.pace) {
    reply_.reserve(static_cast<int>(most_bytes));
}

void LinkLoop::run(Channel &line) {
    line_ = &line;
    echo_.forget();
    speed_.forget();
    stray_.forget();
    counted_ = line.received();
    while (!line.stop_requested()) {
        ask_one_that_rests(false);
        watcher_.about_to_ask();
        // The request belongs to the driver and is valid until DataCom. The same one comes back until it is answered or
        // given up: sending it again needs nothing special here.
        const bool is_held = pace_ != nullptr && pace_->holds(line.now());
        const Protocol *request = is_held ? nullptr : driver_.ComCommunication();
        if (request == nullptr)
            idle();
        else if (!hand_back_known_reply(*request) && listen_before(station_of(*request)))
            exchange(*request);
    }
    line.expect_no_reply_after(ledger_.last_reply_until(line.looked_until()));
}

void LinkLoop::line_was_lost() {
    if (rests_ != nullptr)
        rests_->line_was_lost();
    // The link thread alone changes the list of frames in flight.
    const QList<Protocol> &in_flight = driver_.PLC_driver->frame_list;
    if (in_flight.isEmpty() || !is_write_half(in_flight.first().var))
        return;
    Exchange exchange = exchange_of(in_flight.first());
    const QByteArray frame = in_flight.first().frame;
    exchange.request = view_of(frame, in_flight.first().send_len);
    exchange.sent_at = exchange.ended_at = WallClock::now();
    exchange.code = give_up();
    exchange.outcome = outcome_of(exchange.code);
    watcher_.exchanged(exchange);
}

// Gives up what is in flight. Returns the driver's last return code.
int LinkLoop::give_up() {
    QByteArray none;
    return take_for_good(none);
}

// Hands over the same reply for each repetition that the driver asks for. Returns its last return code.
int LinkLoop::take_for_good(QByteArray &reply) {
    int code = 0;
    do {
        code = driver_.DataCom(&reply, static_cast<int>(reply.size()))->ret_value;
    } while (outcome_of(code) == Outcome::sent_again);
    return code;
}

// True when it is a polled request that would only be refused, or have no reply, again.
bool LinkLoop::hand_back_known_reply(const Protocol &request) {
    if (paused_ == nullptr || !exchange_of(request).name.is_polled())
        return false;
    const std::string_view frame = view_of(request.frame, request.send_len);
    const auto known = paused_->reply_instead(frame);
    if (!known)
        return false;
    const bool nothing_else_was_asked = !handed_back_.insert(std::string(frame)).second;
    QByteArray reply(known->data(), static_cast<int>(known->size()));
    take_for_good(reply);
    if (nothing_else_was_asked) {
        handed_back_.clear();
        idle();
    }
    return true;
}

// Listening, not only waiting: a line that is lost is noticed also when there is nothing to ask.
void LinkLoop::idle() {
    take_finish_flag();
    keep(stale_, line_->settle(idle_time, heard_));
    ask_one_that_rests(pace_ == nullptr);
}

// Until everything that the station may still answer to earlier requests has come or cannot come any more. False when a
// stop came first.
bool LinkLoop::listen_before(int station) {
    while (const auto until = ledger_.listen_until(station, line_->looked_until())) {
        const std::string bytes = line_->listen(*until);
        if (line_->stop_requested())
            return false;
        hear(bytes);
        keep(stale_, bytes);
    }
    return true;
}

void LinkLoop::exchange(const Protocol &request) {
    Exchange exchange = exchange_of(request);
    const QByteArray frame = request.frame;
    exchange.request = view_of(frame, request.send_len);
    const int station = station_of(request), reply_size = request.reply_len;

    exchange.is_silent_block = paused_ != nullptr && paused_->is_silent(exchange.request) && exchange.name.is_of_list();

    // A reply that came too late for its own request must not answer this one.
    keep(stale_, line_->await_silence(heard_));
    find_echo_before(exchange.request);
    if (line_->stop_requested())
        return;
    if (!watcher_.may_leave(exchange)) {
        give_up();
        return;
    }
    const auto asked_at = line_->now();
    if (!ask(exchange.request, station, reply_size))
        return;
    exchange.sent_at = WallClock::now();
    const auto sent_at = line_->now();

    const Reply reply = await_reply(exchange.request, station, reply_size);
    if (line_->broken_off())
        return;
    const auto took = line_->now() - line_->request_end();
    handed_back_.clear();
    exchange.ended_at = wall_time(exchange.sent_at, reply.ended_at - sent_at);
    end_exchange(exchange, reply);
    if (exchange.outcome == Outcome::good && !reply.is_known)
        ledger_.answered(station, exchange.request);

    // A late reply to this request must have come, and been thrown away, before the next one is sent.
    stale_.clear();
    const auto refusal = rtu::exception_code(exchange.reply, exchange.request);
    const bool is_answer =
        exchange.outcome == Outcome::good || (reply.is_known && refusal && !comes_after_settling(exchange, *refusal));
    if (!is_answer)
        stale_ = line_->settle(settings_.timeouts.settle, heard_);
    const bool was_heard = ledger_.heard_at(station) > asked_at;
    if (paused_ != nullptr)
        paused_->settled(exchange, was_heard);
    if (rests_ != nullptr)
        rests_->exchanged(exchange, took, was_heard, line_->now());
}

// Nothing would change if it were sent again at once.
bool LinkLoop::is_final(const Exchange &exchange, unsigned refusal) const {
    return rtu::is_lasting(refusal) || (paused_ != nullptr && PausedBlocks::has_pause(exchange.name, refusal));
}

bool LinkLoop::comes_after_settling(const Exchange &exchange, unsigned refusal) const {
    return rtu::needs_time(refusal) && !is_final(exchange, refusal);
}

// A reply that came may have been the one to this request, and the driver would give it up. So it is sent once more,
// after everything else has come, and counts as the same try.
bool LinkLoop::is_to_be_repeated(const Exchange &exchange, const Reply &reply) const {
    const std::string_view request = exchange.request;
    const bool is_last_try = exchange.is_silent_block || info_.retry_count >= info_.retry_times;
    return is_last_try && !was_repeated_ && reply.size == 0 && reply.is_unclear &&
           modbus::is_read(rtu::function_of(request));
}

void LinkLoop::end_exchange(Exchange &exchange, const Reply &reply) {
    exchange.received = reply.received;
    const std::uint64_t of_reply = static_cast<std::uint64_t>(reply.size);
    exchange.discarded = reply.received - std::min(reply.received, counted_ + of_reply);
    counted_ = reply.received;
    // No reply is passed on as one of length 0: the driver, not the host, decides how often to try.
    QByteArray none;
    reply_.resize(reply.size);
    exchange.reply = view_of(reply_, reply.size);
    const auto refusal = rtu::exception_code(exchange.reply, exchange.request);
    if (reply.is_known && !reply.is_held && refusal && is_final(exchange, *refusal))
        exchange.code = take_for_good(reply_);
    else if (was_repeated_ = is_to_be_repeated(exchange, reply); was_repeated_)
        exchange.code = ozna_kelpo::code_sent_again;
    else if (exchange.is_silent_block && reply.size == 0)
        exchange.code = give_up();
    else
        exchange.code = driver_.DataCom(reply.is_held ? &none : &reply_, reply.is_held ? 0 : reply.size)->ret_value;
    exchange.outcome = outcome_of(exchange.code);
    exchange.stale = stale_;
    exchange.late = late_;
    if (settings_.retries_per_request && exchange.outcome != Outcome::sent_again)
        info_.retry_count = 0;
    watcher_.exchanged(exchange);
    if (echo_probe_)
        report_probe(*echo_probe_, ProbePurpose::echo);
    echo_probe_.reset();
    report_lateness();
    if (take_finish_flag())
        watcher_.pass_ended();
}

// False when a stop came before all of it was sent.
bool LinkLoop::ask(std::string_view request, int station, int reply_size) {
    stray_.forget();
    if (reply_size != 0)
        line_->expect_replies_until(ledger_.last_reply_until(station, line_->now()), ledger_.patience());
    const bool sent = line_->send(request.data(), request.size());
    ledger_.sent(station, request, reply_size, line_->request_end());
    // It may have been sent much later, when another program had the processor. What has come meanwhile is not read
    // yet, and no request may be forgotten because of it.
    if (const auto until = ledger_.last_reply_until(line_->looked_until()))
        line_->expect_replies_until(*until, ledger_.patience());
    return sent;
}

LinkLoop::Reply LinkLoop::await_reply(std::string_view request, int station, int reply_size) {
    late_.clear();
    // resize() within the reserved size moves no bytes; the driver uses both the array's size and the length.
    reply_.resize(static_cast<int>(most_bytes));
    char *const buffer = reply_.data();
    const std::size_t due = reply_size < 0 ? most_bytes : std::min(most_bytes, static_cast<std::size_t>(reply_size));
    bool has_echo = false;
    const auto whole_size = [&](std::string_view so_far) {
        if (!has_echo && echo_.may_begin_with(so_far, request))
            return request.size();
        const std::size_t size = ledger_.reply_size(so_far);
        return size == 0 ? due : std::min(size, most_bytes);
    };
    const ReplyTimeouts timeouts = settings_.timeouts_of(station);
    bool too_soon = false, is_unclear = false;
    for (std::size_t size = 0;;) {
        size = line_->receive(buffer, size, whole_size, timeouts);
        const ReplyLedger::Arrival arrival = arrival_of_what_was_read();
        const std::string_view bytes(buffer, size);
        if (!has_echo && takes_off_echo(bytes, request)) {
            has_echo = true;
            size = 0;
            continue;
        }
        const std::size_t first = ledger_.whole_reply_size(bytes);
        Reply reply{static_cast<int>(size), false, false, line_->now(), line_->received(), is_unclear};
        if (!has_echo && is_echo(bytes, first, request, due)) {
            reply.is_held = true;
            return reply;
        }
        std::size_t late = 0;
        if (size > 0 && speed_.is_too_soon(*line_, size)) {
            // It began before the request had been sent, and answers another one.
            too_soon = true;
            late = size;
            ledger_.heard_damaged(station, bytes, {}, arrival);
        } else if (first > 0) {
            const Whose whose = ledger_.heard(bytes.substr(0, first), request, arrival);
            late = whose == Whose::late ? first : 0;
            is_unclear = is_unclear || (late > 0 && rtu::can_answer(bytes.substr(0, first), request, reply_size));
            reply.is_known = whose == Whose::awaited;
        }
        if (late > 0) {
            keep(late_, bytes.substr(0, late));
            size = static_cast<std::size_t>(std::copy(buffer + late, buffer + size, buffer) - buffer);
            continue;
        }
        speed_.note(too_soon, size > 0);
        if (reply.is_known) {
            keep(late_, bytes.substr(first));
            reply.size = static_cast<int>(first);
            reply.is_held = !may_wait_on(station, bytes.substr(0, first));
        } else {
            ledger_.heard_damaged(station, bytes, request, arrival);
            reply.is_held = would_be_taken(bytes, request, reply_size);
        }
        return reply;
    }
}

ReplyLedger::Arrival LinkLoop::arrival_of_what_was_read() const {
    return {line_->arrived_after(), line_->now()};
}

// It counts as neither received nor thrown away.
bool LinkLoop::takes_off_echo(std::string_view bytes, std::string_view request) {
    const bool is_taken_off = is_rtu(request) && echo_.is_to_be_taken_off(bytes, request);
    if (is_taken_off)
        counted_ += bytes.size();
    return is_taken_off;
}

bool LinkLoop::is_echo(std::string_view bytes, std::size_t first, std::string_view request, std::size_t due) {
    if (!is_rtu(request) || due == 0 || line_->broken_off())
        return false;
    const LineEcho::Finding finding = echo_.judge(bytes, first, request, due);
    if (finding != LineEcho::Finding::perhaps)
        return finding == LineEcho::Finding::echo;
    echo_probe_ = probe_for_echo(request);
    return !echo_.is_ruled_out();
}

// Anything whole that comes back other than its own bytes, even nothing, shows that the line does not echo.
std::optional<LinkLoop::Probe> LinkLoop::probe_for_echo(std::string_view request) {
    const auto read = rtu::short_read(request);
    const int station = static_cast<int>(rtu::byte_at(request, 0));
    auto probed = read ? probe(*read, settings_.timeouts_of(station), nullptr) : std::nullopt;
    if (probed && !line_->broken_off() && (probed->has_echo || probed->reply.empty() || probed->is_whole))
        echo_.note(probed->has_echo);
    return probed;
}

// If the acknowledgement came with the echo while the host finds out about the line, it would be lost.
void LinkLoop::find_echo_before(std::string_view request) {
    if (!echo_.must_be_known_for(request) || line_->stop_requested())
        return;
    auto probed = probe_for_echo(request);
    if (!probed)
        return;
    counted_ += probed->reply.size();
    report_probe(*probed, ProbePurpose::echo);
}

// Asks for one unit, for the host itself. Nothing when a stop came before all of it was sent.
std::optional<LinkLoop::Probe> LinkLoop::probe(const rtu::ShortRead &read, const ReplyTimeouts &timeouts,
                                               const Channel::Heard &heard) {
    const int station = static_cast<int>(rtu::byte_at(read.request, 0));
    Probe probed{};
    probed.stale = line_->await_silence(heard);
    if (!ask(read.request, station, read.reply_size))
        return std::nullopt;
    probed.exchange.sent_at = WallClock::now();
    const auto sent_at = line_->now();
    std::array<char, most_bytes> buffer{};
    const auto whole_size = [&](std::string_view so_far) {
        const std::size_t size = ledger_.reply_size(so_far);
        const bool may_be_echo = !probed.has_echo && read.request.compare(0, so_far.size(), so_far) == 0;
        return size == 0 || may_be_echo ? read.request.size() : size;
    };
    std::size_t size = line_->receive(buffer.data(), 0, whole_size, timeouts);
    probed.has_echo = std::string_view(buffer.data(), size) == read.request;
    if (probed.has_echo && takes_off_echo(read.request, read.request))
        size = line_->receive(buffer.data(), 0, whole_size, timeouts);
    const std::string_view bytes(buffer.data(), size);
    const std::size_t first = ledger_.whole_reply_size(bytes);
    probed.is_whole = first > 0 && bytes != read.request;
    if (probed.is_whole)
        ledger_.heard(bytes.substr(0, first), read.request, arrival_of_what_was_read());
    probed.exchange.ended_at = wall_time(probed.exchange.sent_at, line_->now() - sent_at);
    probed.exchange.station = station;
    probed.exchange.received = line_->received();
    probed.request = read.request;
    probed.reply = bytes;
    return probed;
}

void LinkLoop::report_probe(Probe &probe, ProbePurpose purpose) {
    probe.exchange.request = probe.request;
    probe.exchange.reply = probe.reply;
    probe.exchange.stale = probe.stale;
    watcher_.line_probed(probe.exchange, purpose);
}

// One at a time, and only between two requests of the driver's.
void LinkLoop::ask_one_that_rests(bool is_idle) {
    if (rests_ == nullptr || !rests_->any() || !driver_.PLC_driver->frame_list.isEmpty())
        return;
    end_rests();
    const auto due = rests_->due(line_->now(), is_idle);
    if (!due)
        return;
    if (const auto until = ledger_.listen_until(due->station, line_->looked_until())) {
        rests_->postpone(due->station, *until);
        return;
    }
    const auto asked_at = line_->now();
    ReplyTimeouts timeouts = settings_.timeouts;
    timeouts.reply = due->wait;
    auto probed = probe(due->read, timeouts, heard_);
    if (!probed)
        return;
    counted_ += probed->reply.size();
    report_probe(*probed, ProbePurpose::rest);
    report_lateness();
    end_rests();
    rests_->probed(due->station, asked_at, line_->now());
}

void LinkLoop::end_rests() {
    rests_->look([this](int station) { return ledger_.replied_at(station); },
                 [this](int station) { return ledger_.listen_until(station, line_->looked_until()).has_value(); });
}

// The driver repeats the request for ever as long as a station asks to wait.
bool LinkLoop::may_wait_on(int station, std::string_view reply) {
    constexpr int most_waits = 16;
    int &waits = waits_[station];
    waits = rtu::asks_to_wait(reply) ? std::min(waits + 1, most_waits + 2) : 0;
    if (waits == most_waits + 1)
        watcher_.wait_refused(station);
    return waits <= most_waits;
}

// The driver would accept them, although they are not a reply to the request.
bool LinkLoop::would_be_taken(std::string_view bytes, std::string_view request, int reply_size) {
    if (rtu::asks_to_wait(bytes))
        return true;
    return is_rtu(request) && static_cast<int>(bytes.size()) == reply_size && rtu::crc_is_right(bytes) &&
           bytes.substr(0, 2) == request.substr(0, 2);
}

void LinkLoop::hear(std::string_view bytes) {
    stray_.hear(bytes, arrival_of_what_was_read());
    report_lateness();
}

void LinkLoop::report_lateness() {
    if (const auto lateness = ledger_.take_lateness())
        watcher_.reply_late(lateness->station, std::chrono::ceil<std::chrono::milliseconds>(lateness->time));
}

// The driver raises finish_flag at the end of a pass and when it has nothing to send. Another thread that rebuilds the
// list lowers it, with the list lock held.
bool LinkLoop::take_finish_flag() {
    const QMutexLocker locked(&driver_.PLC_driver->list_mutex);
    return std::exchange(info_.finish_flag, 0) != 0;
}

}  // namespace kelpo

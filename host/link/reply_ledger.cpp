#include "host/link/reply_ledger.h"

#include "host/line/modbus.h"
#include "host/link/rtu_shape.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace kelpo {
namespace {

using rtu::byte_at;
using rtu::function_of;

// With more of them the loop waits: none may be dropped.
constexpr std::size_t most_entries = 64;

}  // namespace

ReplyLedger::ReplyLedger(Duration reply_timeout, std::optional<Duration> patience,
                         const std::map<int, std::chrono::milliseconds> &own_replies) {
    const auto times_with = [&patience](Duration reply) {
        return Times{reply, patience.value_or(reply * 9 / 2)};
    };
    usual_ = times_with(reply_timeout);
    for (const auto &[number, reply] : own_replies)
        own_times_[number] = times_with(reply);
}

ReplyLedger::Times ReplyLedger::times_of(int number) const {
    const auto own = own_times_.find(number);
    return own == own_times_.end() ? usual_ : own->second;
}

ReplyLedger::Station &ReplyLedger::station_of(int number) {
    const auto [station, is_new] = stations_.try_emplace(number);
    if (is_new)
        station->second.times = times_of(number);
    return station->second;
}

ReplyLedger::Duration ReplyLedger::patience() const {
    Duration longest = usual_.patience;
    for (const auto &[number, times] : own_times_)
        longest = std::max(longest, times.patience);
    return longest;
}

void ReplyLedger::sent(int station, std::string_view request, int reply_size, Time end) {
    if (reply_size != 0)
        station_of(station).entries.push_back({std::string(request), reply_size, end});
}

std::size_t ReplyLedger::reply_size(std::string_view bytes) const {
    constexpr std::size_t header = 3;
    if (bytes.size() < header)
        return 0;
    const auto station = stations_.find(static_cast<int>(byte_at(bytes, 0)));
    if (station == stations_.end())
        return 0;
    const int function = function_of(bytes);
    for (const Entry &entry : station->second.entries) {
        const int asked = function_of(entry.request);
        const bool known = modbus::is_read(asked) || modbus::is_write(asked);
        if (known && function == (asked | modbus::exception_bit))
            return modbus::exception_size;
        if (modbus::is_write(asked) && function == asked)
            return modbus::acknowledgement_size;
        const bool due_count = !modbus::is_read(asked) ||
                               byte_at(bytes, 2) + modbus::exception_size == static_cast<std::size_t>(entry.reply_size);
        if (entry.reply_size > 0 && (!known || (function == asked && due_count)))
            return static_cast<std::size_t>(entry.reply_size);
    }
    const std::string_view short_reply = bytes.substr(0, modbus::exception_size);
    const bool asks_to_wait = short_reply.size() == modbus::exception_size && rtu::asks_to_wait(short_reply);
    return asks_to_wait && !station->second.entries.empty() ? modbus::exception_size : 0;
}

std::size_t ReplyLedger::whole_reply_size(std::string_view bytes) const {
    const std::size_t size = reply_size(bytes);
    return size != 0 && size <= bytes.size() && rtu::crc_is_right(bytes.substr(0, size)) ? size : 0;
}

ReplyLedger::Whose ReplyLedger::heard(std::string_view reply, std::string_view awaited, Arrival arrival) {
    const int number = static_cast<int>(byte_at(reply, 0));
    const auto found = stations_.find(number);
    if (found == stations_.end())
        return Whose::nobody;
    Station &station = found->second;
    // A request is forgotten only when the reply certainly came too late for it, even if it was read late.
    forget_expired(station, arrival.after, awaited);

    std::vector<Entry> &entries = station.entries;
    std::vector<std::size_t> candidates;
    for (std::size_t i = 0; i < entries.size(); ++i)
        if (rtu::can_answer(reply, entries[i].request, entries[i].reply_size))
            candidates.push_back(i);
    if (candidates.empty())
        return Whose::nobody;

    const Entry &oldest = entries[candidates.front()];
    const bool is_copy = oldest.sent_at < station.replied_at && reply == station.reply &&
                         arrival.after - station.replied_at < station.times.reply / 2;
    station.heard_at = station.replied_at = arrival.before;
    station.reply = reply;
    if (is_copy)
        return Whose::late;
    const bool all_equal = std::all_of(candidates.begin(), candidates.end(),
                                       [&](std::size_t i) { return entries[i].request == oldest.request; });
    if (!all_equal) {
        // As many of the candidates as there were such replies before may have had theirs.
        std::size_t &unclear = station.unclear[static_cast<std::size_t>(function_of(oldest.request))];
        const Entry &unanswered = entries[candidates[std::min(unclear, candidates.size() - 1)]];
        station.perhaps_late = std::max(station.perhaps_late, arrival.after - unanswered.sent_at);
        ++unclear;
        settle_unclear(number, station);
        return Whose::late;
    }
    const Whose whose = !awaited.empty() && oldest.request == awaited ? Whose::awaited : Whose::late;
    if (candidates.size() == 1)
        note_time(number, station, arrival.after - oldest.sent_at);
    else
        station.perhaps_late = std::max(station.perhaps_late, arrival.after - oldest.sent_at);
    entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(candidates.front()));
    settle_unclear(number, station);
    return whose;
}

void ReplyLedger::heard_damaged(int number, std::string_view bytes, std::string_view awaited, Arrival arrival) {
    const auto found = stations_.find(number);
    if (found == stations_.end() || bytes.empty())
        return;
    Station &station = found->second;
    forget_expired(station, arrival.after, awaited);
    station.heard_at = arrival.before;
    std::vector<Entry> &entries = station.entries;
    const bool only_the_awaited =
        std::all_of(entries.begin(), entries.end(), [&](const Entry &entry) { return entry.request == awaited; });
    if (entries.empty() || !only_the_awaited)
        return;
    const bool due_size = entries.front().reply_size == static_cast<int>(bytes.size());
    const bool due_header = bytes.size() >= 2 && awaited.size() >= 2 && bytes[0] == awaited[0] &&
                            (function_of(bytes) & ~modbus::exception_bit) == function_of(awaited);
    if (due_size || due_header)
        entries.erase(entries.begin());
}

void ReplyLedger::answered(int station, std::string_view awaited) {
    std::vector<Entry> &entries = station_of(station).entries;
    const auto found =
        std::find_if(entries.begin(), entries.end(), [&](const Entry &entry) { return entry.request == awaited; });
    if (found != entries.end())
        entries.erase(found);
}

std::optional<ReplyLedger::Time> ReplyLedger::listen_until(int number, Time now) {
    const auto found = stations_.find(number);
    if (found == stations_.end())
        return std::nullopt;
    Station &station = found->second;
    forget_expired(station, now);
    if (station.entries.empty())
        return std::nullopt;
    const bool answers = station.heard_at > station.entries.front().sent_at;
    if (!answers && station.entries.size() < most_entries)
        return std::nullopt;
    const Time last = answers ? station.entries.back().sent_at : station.entries.front().sent_at;
    return std::max(last, station.heard_at) + station.times.patience;
}

ReplyLedger::Time ReplyLedger::replied_at(int station) const {
    const auto found = stations_.find(station);
    return found == stations_.end() ? Time() : found->second.replied_at;
}

ReplyLedger::Time ReplyLedger::heard_at(int station) const {
    const auto found = stations_.find(station);
    return found == stations_.end() ? Time() : found->second.heard_at;
}

std::optional<ReplyLedger::Time> ReplyLedger::last_reply_until(Time now) {
    std::optional<Time> last;
    for (auto &[number, station] : stations_) {
        forget_expired(station, now);
        if (station.entries.empty())
            continue;
        const auto left = static_cast<std::int64_t>(station.entries.size());
        const Time until = std::max(station.entries.back().sent_at, station.heard_at) + left * station.times.patience;
        last = last ? std::max(*last, until) : until;
    }
    return last;
}

ReplyLedger::Time ReplyLedger::last_reply_until(int number, Time time) const {
    const auto station = stations_.find(number);
    const std::size_t left = station == stations_.end() ? 0 : station->second.entries.size();
    return time + (static_cast<std::int64_t>(left) + 1) * times_of(number).patience;
}

std::optional<ReplyLedger::Lateness> ReplyLedger::take_lateness() {
    return std::exchange(lateness_, std::nullopt);
}

void ReplyLedger::forget_expired(Station &station, Time now, std::string_view awaited) {
    if (station.entries.empty())
        return;
    const auto expired = [&](const Entry &entry) {
        return now - std::max(entry.sent_at, station.heard_at) >= station.times.patience && entry.request != awaited;
    };
    const auto end = std::remove_if(station.entries.begin(), station.entries.end(), expired);
    if (end == station.entries.end())
        return;
    station.entries.erase(end, station.entries.end());
    // A reply was lost. Those that came may have been for the requests that are forgotten, or for the ones after them.
    station.perhaps_late = Duration(0);
    station.unclear.fill(0);
}

// As many unclear replies of a function as there are requests: all of them have had theirs.
void ReplyLedger::settle_unclear(int number, Station &station) {
    std::vector<Entry> &entries = station.entries;
    for (std::size_t function = 0; function < station.unclear.size(); ++function) {
        std::size_t &unclear = station.unclear[function];
        if (unclear == 0)
            continue;
        const auto of_function = [&](const Entry &entry) {
            return static_cast<std::size_t>(function_of(entry.request)) == function;
        };
        const auto left = static_cast<std::size_t>(std::count_if(entries.begin(), entries.end(), of_function));
        if (unclear < left)
            continue;
        entries.erase(std::remove_if(entries.begin(), entries.end(), of_function), entries.end());
        unclear = 0;
    }
    if (entries.empty())
        note_all_answered(number, station);
}

// All requests have had their reply, and the first of the replies took at least as long as it took after the oldest.
void ReplyLedger::note_all_answered(int number, Station &station) {
    note_time(number, station, std::exchange(station.perhaps_late, Duration(0)));
}

void ReplyLedger::note_time(int number, Station &station, Duration time) {
    if (time <= station.times.reply || time <= station.latest)
        return;
    station.latest = time;
    lateness_ = Lateness{number, time};
}

}  // namespace kelpo

#include "host/link/paused_blocks.h"

#include "host/link/rtu_shape.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <utility>

namespace kelpo {
namespace {

// A station that needs time has it soon. Asked once a second, it takes little from the others.
constexpr std::chrono::milliseconds first_short_pause(100);
constexpr std::chrono::milliseconds longest_short_pause(1000);

bool is_within(const PolledBlock &part, const PolledBlock &block) {
    return part.station == block.station && part.register_class == block.register_class && part.first >= block.first &&
           std::int64_t{part.first} + part.count <= std::int64_t{block.first} + block.count;
}

}  // namespace

PausedBlocks::PausedBlocks(const Driver &driver, const RestSettings &settings, Clock clock)
    : driver_(driver), clock_(std::move(clock)), most_silent_(settings.after), pause_(settings.first, settings.longest),
      short_pause_(first_short_pause, longest_short_pause) {}

bool PausedBlocks::has_pause(const RequestName &request, unsigned exception_code) {
    return (request.is_of_list() && rtu::is_lasting(exception_code)) ||
           (request.is_polled() && rtu::needs_time(exception_code));
}

std::optional<std::string> PausedBlocks::reply_instead(std::string_view request) {
    forget_what_the_user_switched();
    const auto paused = paused_.find(request);
    if (paused == paused_.end() || paused->second.until <= clock_())
        return std::nullopt;
    return paused->second.reply;
}

Channel::Time PausedBlocks::paused_until(const PolledBlock &block) {
    forget_what_the_user_switched();
    Channel::Time until{};
    for (const auto &[request, paused] : paused_)
        if (is_within(paused.block, block))
            until = std::max(until, paused.until);
    return until;
}

bool PausedBlocks::is_silent(std::string_view request) const {
    const auto paused = paused_.find(request);
    return paused != paused_.end() && paused->second.reason == Reason::silence &&
           paused->second.silences >= most_silent_;
}

void PausedBlocks::exchanged(const Exchange &exchange) {
    const auto code = rtu::exception_code(exchange.reply, exchange.request);
    if (code || exchange.outcome == Outcome::good)
        answered_at_[exchange.station] = clock_();
    if (!exchange.name.is_of_list() || exchange.outcome == Outcome::sent_again || exchange.reply.empty())
        return;
    if (!code || !has_pause(exchange.name, *code)) {
        const auto paused = paused_.find(exchange.request);
        if (paused != paused_.end())
            paused_.erase(paused);
        return;
    }
    Paused &paused =
        paused_for(exchange, rtu::is_lasting(*code) ? Reason::lasting_refusal : Reason::station_needs_time);
    paused.reply = exchange.reply;
    set_pause(paused);
}

void PausedBlocks::settled(const Exchange &exchange, bool was_heard) {
    if (!exchange.name.is_of_list())
        return;
    was_heard_ = was_heard_ || was_heard || !exchange.reply.empty();
    if (exchange.outcome == Outcome::sent_again || std::exchange(was_heard_, false))
        return;
    Paused &paused = paused_for(exchange, Reason::silence);
    if (paused.silences < most_silent_) {
        const bool others_answer = answered_at_[exchange.station] > paused.silent_at;
        paused.silences = others_answer ? paused.silences + 1 : 1;
        paused.silent_at = clock_();
    }
    if (paused.silences >= most_silent_)
        set_pause(paused);
}

// Begins again when the reason is another.
PausedBlocks::Paused &PausedBlocks::paused_for(const Exchange &exchange, Reason reason) {
    Paused &paused = paused_[std::string(exchange.request)];
    if (paused.reason != reason)
        paused = {{exchange.station, exchange.type, exchange.address, exchange.count}, {}, reason};
    return paused;
}

void PausedBlocks::set_pause(Paused &paused) {
    GrowingPause &pause = paused.reason == Reason::station_needs_time ? short_pause_ : pause_;
    paused.pause = pause.after(paused.pause);
    paused.until = clock_() + pause.by_chance(paused.pause);
}

void PausedBlocks::forget_what_the_user_switched() {
    if (std::exchange(switched_, driver_.times_switched()) != driver_.times_switched())
        paused_.clear();
}

void PausedBlocks::rest_ended(int station, bool) {
    for (auto paused = paused_.begin(); paused != paused_.end();) {
        const bool is_its_own = paused->second.block.station == station;
        const bool is_kept = !is_its_own || paused->second.reason == Reason::silence;
        if (is_its_own)
            paused->second.until = Channel::Time();
        paused = is_kept ? std::next(paused) : paused_.erase(paused);
    }
}

void PausedBlocks::line_lost(const std::string &, std::chrono::milliseconds) {
    paused_.clear();
    was_heard_ = false;
}

}  // namespace kelpo

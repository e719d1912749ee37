#include "host/link/refused_blocks.h"

#include "host/link/rtu_shape.h"

#include <iterator>
#include <utility>

namespace kelpo {
namespace {

// A station that needs time has it soon. Asked once a second, it takes little from the others.
constexpr std::chrono::milliseconds first_short_pause(100);
constexpr std::chrono::milliseconds longest_short_pause(1000);

}  // namespace

RefusedBlocks::RefusedBlocks(const Driver &driver, const RestSettings &settings, Clock clock)
    : driver_(driver), clock_(std::move(clock)), pause_(settings.first, settings.longest),
      short_pause_(first_short_pause, longest_short_pause) {}

bool RefusedBlocks::has_pause(const RequestName &request, unsigned exception_code) {
    return request.is_polled() && (rtu::is_lasting(exception_code) || rtu::needs_time(exception_code));
}

std::optional<std::string> RefusedBlocks::refusal_of(std::string_view request) {
    if (std::exchange(switched_, driver_.times_switched()) != driver_.times_switched())
        refused_.clear();
    const auto refused = refused_.find(request);
    if (refused == refused_.end() || refused->second.until <= clock_())
        return std::nullopt;
    return refused->second.reply;
}

void RefusedBlocks::exchanged(const Exchange &exchange) {
    if (!exchange.name.is_polled() || exchange.outcome == Outcome::sent_again)
        return;
    const auto code = rtu::exception_code(exchange.reply, exchange.request);
    if (!code || !has_pause(exchange.name, *code)) {
        const auto refused = refused_.find(exchange.request);
        if (refused != refused_.end())
            refused_.erase(refused);
        return;
    }
    Refused &refused = refused_[std::string(exchange.request)];
    refused.station = exchange.station;
    refused.reply = exchange.reply;
    const bool is_lasting = rtu::is_lasting(*code);
    if (std::exchange(refused.is_lasting, is_lasting) != is_lasting)
        refused.pause = std::chrono::milliseconds(0);
    GrowingPause &pause = is_lasting ? pause_ : short_pause_;
    refused.pause = pause.after(refused.pause);
    refused.until = clock_() + pause.by_chance(refused.pause);
}

void RefusedBlocks::rest_ended(int station, bool) {
    for (auto refused = refused_.begin(); refused != refused_.end();)
        refused = refused->second.station == station ? refused_.erase(refused) : std::next(refused);
}

void RefusedBlocks::line_lost(const std::string &, std::chrono::milliseconds) {
    refused_.clear();
}

}  // namespace kelpo

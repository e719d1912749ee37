#include "host/link/refused_blocks.h"

#include "host/link/rtu_shape.h"

#include <iterator>
#include <utility>

namespace kelpo {

RefusedBlocks::RefusedBlocks(const Driver &driver, const RestSettings &settings, Clock clock)
    : driver_(driver), clock_(std::move(clock)), pause_(settings.first, settings.longest) {}

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
    if (!code || !rtu::is_lasting(*code)) {
        const auto refused = refused_.find(exchange.request);
        if (refused != refused_.end())
            refused_.erase(refused);
        return;
    }
    Refused &refused = refused_[std::string(exchange.request)];
    refused.station = exchange.station;
    refused.reply = exchange.reply;
    refused.pause = pause_.after(refused.pause);
    refused.until = clock_() + pause_.by_chance(refused.pause);
}

void RefusedBlocks::rest_ended(int station, bool) {
    for (auto refused = refused_.begin(); refused != refused_.end();)
        refused = refused->second.station == station ? refused_.erase(refused) : std::next(refused);
}

void RefusedBlocks::line_lost(const std::string &, std::chrono::milliseconds) {
    refused_.clear();
}

}  // namespace kelpo

#include "host/link/link_statistics.h"

#include <gtest/gtest.h>

#include <string>

namespace kelpo {
namespace {

// A request of eight bytes; five bytes came in that were no reply.
void exchange(LinkStatistics &statistics, Outcome outcome, const std::string &reply) {
    Exchange exchange{};
    exchange.request = std::string_view("\x01\x03\x00\x10\x00\x01\x85\xCF", 8);
    exchange.reply = reply;
    exchange.discarded = 5;
    exchange.outcome = outcome;
    statistics.exchanged(exchange);
}

TEST(LinkStatistics, CountsWhatHappensOnTheLine) {
    LinkStatistics statistics;
    exchange(statistics, Outcome::good, "1234567");
    exchange(statistics, Outcome::sent_again, "");
    exchange(statistics, Outcome::sent_again, "");
    exchange(statistics, Outcome::given_up, "12345");
    const LinkCounts counts = statistics.counts();
    EXPECT_EQ(counts.exchanges, 4U);
    EXPECT_EQ(counts.good, 1U);
    EXPECT_EQ(counts.sent_again, 2U);
    EXPECT_EQ(counts.given_up, 1U);
    EXPECT_EQ(counts.bytes_sent, 32U);
    EXPECT_EQ(counts.bytes_received, 12U);
    EXPECT_EQ(counts.bytes_discarded, 20U);
}

TEST(LinkStatistics, DistinguishesPartsOfRequestsThatFailedFromThoseThatAreDone) {
    LinkStatistics statistics;
    statistics.request_ended({12, 1}, RequestOutcome::done);
    statistics.request_ended({12, 2}, RequestOutcome::failed);
    statistics.request_ended({12, 3}, RequestOutcome::done);
    EXPECT_EQ(statistics.writes_done, 2U);
    EXPECT_EQ(statistics.writes_failed, 1U);
}

}  // namespace
}  // namespace kelpo

#include "plc/faults/faults.h"

#include "hex.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace plc {
namespace {

const Bytes read_100 = hex("03 03 00 64 00 01 C4 37");

Faults faults_of(const std::vector<std::string> &texts, std::uint32_t seed = 1) {
    std::vector<Fault> faults;
    faults.reserve(texts.size());
    for (const std::string &text : texts)
        faults.push_back(parse_fault(text));
    return Faults(faults, seed);
}

// To which of several requests in a row a fault happens.
std::string hits(Faults &faults, const Bytes &request, int count) {
    std::string result;
    for (int i = 0; i < count; ++i)
        result += faults.next(request) ? 'x' : '.';
    return result;
}

std::string hits(const std::string &fault, int count, std::uint32_t seed = 1) {
    Faults faults = faults_of({fault}, seed);
    return hits(faults, read_100, count);
}

TEST(FaultsTest, NoneLetEveryReplyPass) {
    Faults none({}, 1);
    EXPECT_EQ(hits(none, read_100, 3), "...");
}

TEST(FaultsTest, HappenAlwaysUnlessTheyAreCounted) {
    EXPECT_EQ(hits("no-reply", 5), "xxxxx");
    EXPECT_EQ(hits("no-reply times=2", 5), "xx...");
}

TEST(FaultsTest, HappenToTheFirstOfAGivenNumber) {
    EXPECT_EQ(hits("no-reply every=3", 7), "x..x..x");
    EXPECT_EQ(hits("no-reply every=2 times=2", 7), "x.x....");
}

TEST(FaultsTest, BeginAfterAGivenNumberOfRequestsThatFit) {
    EXPECT_EQ(hits("no-reply after=3", 6), "...xxx");
    EXPECT_EQ(hits("no-reply after=2 every=3", 9), "..x..x..x");
    EXPECT_EQ(hits("dead after=2 times=3", 8), "..xxx...");
}

TEST(FaultsTest, LastForAGivenNumberInARow) {
    EXPECT_EQ(hits("dead every=5 for=2", 12), "xx...xx...xx");
    EXPECT_EQ(hits("dead after=1 every=4 for=3 times=4", 12), ".xxx.x......");
    EXPECT_EQ(hits("dead every=2 for=3", 8), "xxx.xxx.");
}

TEST(FaultsTest, HappenAtARateThatTheSeedDecides) {
    EXPECT_EQ(hits("garbled rate=1/4", 24), "....xxx..x.xxxx.xx......");
    EXPECT_EQ(hits("garbled rate=1/4", 24, 2), "........x........x......");
    EXPECT_EQ(hits("garbled rate=1/1", 5), "xxxxx");
    EXPECT_EQ(hits("garbled rate=1/4 times=2", 24), "....xx..................");
    EXPECT_EQ(hits("garbled rate=1/4 for=3", 24), "....xxx..xxxxxx.xxx.....");
}

TEST(FaultsTest, KeepNearTheirRateInTheLongRun) {
    const std::string tenth = hits("garbled rate=1/10", 10000);
    EXPECT_EQ(std::count(tenth.begin(), tenth.end(), 'x'), 1023);
}

TEST(FaultsTest, OfTheSameRateDoNotHappenTogether) {
    Faults faults = faults_of({"garbled station=1 rate=1/4", "garbled rate=1/4"});
    EXPECT_EQ(hits(faults, read_100, 24), "x.....x.........x.......");
}

TEST(FaultsTest, LeaveToChanceWhatTheSeedDecides) {
    Faults faults = faults_of({"noise"});
    Random random = faults.next(read_100)->random;
    EXPECT_EQ(random.below(256), 0x07u);
    EXPECT_EQ(random.below(256), 0x3Cu);
    EXPECT_EQ(random.below(256), 0xF0u);
    Random next = faults.next(read_100)->random;
    EXPECT_NE(next.below(0x10000), Random(1, 0, 0).below(0x10000));
}

TEST(FaultsTest, HappenOnlyToTheRequestsThatFit) {
    const auto fits = [](const std::string &fault, const Bytes &request) {
        return faults_of({fault}).next(request).has_value();
    };
    EXPECT_TRUE(fits("no-reply station=3 function=3 address=100", read_100));
    EXPECT_FALSE(fits("no-reply station=2", read_100));
    EXPECT_FALSE(fits("no-reply function=1", read_100));
    EXPECT_FALSE(fits("no-reply address=101", read_100));
    EXPECT_FALSE(fits("no-reply address=0", hex("03 07 00 00")));  // a request without an address
    EXPECT_TRUE(fits("no-reply function=7", hex("03 07 00 00")));
}

TEST(FaultsTest, CountOnlyTheRequestsThatFit) {
    Faults once = faults_of({"no-reply station=3 times=1"});
    EXPECT_FALSE(once.next(hex("02 03 00 64 00 01 C5 E6")));
    EXPECT_EQ(hits(once, read_100, 2), "x.");
    EXPECT_EQ(once.counts()[0].fitted, 2u);
    EXPECT_EQ(once.counts()[0].happened, 1u);
}

TEST(FaultsTest, GiveWayToTheFirstWhoseTurnItIs) {
    Faults faults = faults_of({"late address=100 times=1", "no-reply every=3 times=1"});
    EXPECT_EQ(faults.next(read_100)->fault.kind, FaultKind::late);
    EXPECT_EQ(hits(faults, read_100, 2), "..");
    EXPECT_EQ(faults.next(read_100)->fault.kind, FaultKind::no_reply);
    EXPECT_EQ(hits(faults, read_100, 3), "...");
    EXPECT_EQ(faults.counts()[0].fitted, 7u);
    EXPECT_EQ(faults.counts()[0].happened, 1u);
    EXPECT_EQ(faults.counts()[1].fitted, 7u);
    EXPECT_EQ(faults.counts()[1].happened, 1u);
}

TEST(FaultsTest, MissABroadcastOnlyAtADeadStation) {
    const Bytes broadcast = hex("03 06 00 64 12 34 C4 B3");
    Faults faults = faults_of({"no-reply", "dead station=3 times=1", "dead after=1"});
    EXPECT_TRUE(faults.misses_broadcast(broadcast));
    EXPECT_TRUE(faults.misses_broadcast(broadcast));
    EXPECT_EQ(faults.counts()[0].fitted, 0u);
    EXPECT_EQ(faults.counts()[1].happened, 1u);
    EXPECT_EQ(faults.counts()[2].happened, 1u);

    Faults other = faults_of({"dead station=2"});
    EXPECT_FALSE(other.misses_broadcast(broadcast));
}

TEST(FaultsTest, CarryOutTheRequestUnlessTheStationIsDeadOrRefuses) {
    const auto carries_out = [](const std::string &fault) {
        return faults_of({fault}).next(read_100)->carries_out();
    };
    EXPECT_FALSE(carries_out("dead"));
    EXPECT_FALSE(carries_out("exception"));
    EXPECT_TRUE(carries_out("no-reply"));
    EXPECT_TRUE(carries_out("late"));
    EXPECT_TRUE(carries_out("wrong-function"));
}

}  // namespace
}  // namespace plc

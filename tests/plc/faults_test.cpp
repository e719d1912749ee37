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

TEST(FaultsTest, HappenToRequestsThatTouchAnAddressAnywhereInTheirRange) {
    const auto touches = [](unsigned address, const std::string &request) {
        return faults_of({"exception touches=" + std::to_string(address)}).next(hex(request)).has_value();
    };
    const std::string reads_100_to_109 = "03 03 00 64 00 0A 85 F0";
    EXPECT_FALSE(touches(99, reads_100_to_109));
    EXPECT_TRUE(touches(100, reads_100_to_109));
    EXPECT_TRUE(touches(105, reads_100_to_109));
    EXPECT_TRUE(touches(109, reads_100_to_109));
    EXPECT_FALSE(touches(110, reads_100_to_109));

    // What is the quantity elsewhere is the value here.
    for (const std::string function : {"05", "06"}) {
        const std::string writes_100 = "03 " + function + " 00 64 FF 00 00 00";
        EXPECT_FALSE(touches(99, writes_100)) << function;
        EXPECT_TRUE(touches(100, writes_100)) << function;
        EXPECT_FALSE(touches(101, writes_100)) << function;
    }
    const std::string writes_coils_100_to_102 = "03 0F 00 64 00 03 01 07 00 00";
    EXPECT_TRUE(touches(102, writes_coils_100_to_102));
    EXPECT_FALSE(touches(103, writes_coils_100_to_102));
    const std::string writes_100_and_101 = "03 10 00 64 00 02 04 00 01 00 02 00 00";
    EXPECT_TRUE(touches(101, writes_100_and_101));
    EXPECT_FALSE(touches(102, writes_100_and_101));

    // A range beyond the last address, nothing at all, and a request that names no address.
    EXPECT_TRUE(touches(65535, "03 01 FF FE 00 08 00 00"));
    EXPECT_FALSE(touches(0, "03 01 FF FE 00 08 00 00"));
    EXPECT_FALSE(touches(100, "03 03 00 64 00 00 00 00"));
    EXPECT_FALSE(touches(0, "03 07 00 00"));
}

TEST(FaultsTest, HappenToRequestsThatFitInAllThatTheyName) {
    Faults faults = faults_of({"exception address=100 touches=105"});
    EXPECT_FALSE(faults.next(hex("03 03 00 63 00 0A 34 31")).has_value());
    EXPECT_FALSE(faults.next(hex("03 03 00 64 00 05 C5 F4")).has_value());
    EXPECT_TRUE(faults.next(hex("03 03 00 64 00 06 85 F5")).has_value());
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

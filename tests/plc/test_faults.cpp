#include <stdexcept>

#include <gtest/gtest.h>

#include "hex.h"
#include "plc/faults.h"

namespace plc {
namespace {

std::string refusal_of(const std::string &text) {
    try {
        parse_fault(text);
    } catch (const std::invalid_argument &refused) {
        return refused.what();
    }
    return "not refused";
}

TEST(FaultText, MayNameEveryField) {
    const Fault fault = parse_fault("no-reply every=4 times=5 address=4990 function=16 station=3");
    EXPECT_EQ(fault.station, 3u);
    EXPECT_EQ(fault.function, 16u);
    EXPECT_EQ(fault.address, 4990u);
    EXPECT_EQ(fault.times, 5u);
    EXPECT_EQ(fault.every, 4u);
}

TEST(FaultText, MayNameNone) {
    const Fault fault = parse_fault(" no-reply ");
    EXPECT_EQ(fault.station, std::nullopt);
    EXPECT_EQ(fault.function, std::nullopt);
    EXPECT_EQ(fault.address, std::nullopt);
    EXPECT_EQ(fault.times, std::nullopt);
    EXPECT_EQ(fault.every, 1u);
}

TEST(FaultText, IsRefusedWhenItIsNotUnderstood) {
    EXPECT_EQ(refusal_of(""), "a fault begins with no-reply, not with ");
    EXPECT_EQ(refusal_of("station=3"), "a fault begins with no-reply, not with station=3");
    EXPECT_EQ(refusal_of("no-reply place=3"), "a fault has no field place");
    EXPECT_EQ(refusal_of("no-reply station"), "a fault's fields are name=number, not station");
    EXPECT_EQ(refusal_of("no-reply station=3 station=4"), "a fault has station twice");
    EXPECT_EQ(refusal_of("no-reply station=248"), "a fault's station is 1 to 247, not 248");
    EXPECT_EQ(refusal_of("no-reply function=128"), "a fault's function is 1 to 127, not 128");
    EXPECT_EQ(refusal_of("no-reply address=65536"), "a fault's address is 0 to 65535, not 65536");
    EXPECT_EQ(refusal_of("no-reply times=0"), "a fault's times is 1 to 1000000, not 0");
    EXPECT_EQ(refusal_of("no-reply every=0"), "a fault's every is 1 to 1000000, not 0");
    EXPECT_EQ(refusal_of("no-reply address=1x"), "a fault's address is 0 to 65535, not 1x");
    EXPECT_EQ(refusal_of("no-reply address="), "a fault's address is 0 to 65535, not ");
    EXPECT_EQ(refusal_of("no-reply address=99999999999"), "a fault's address is 0 to 65535, not 99999999999");
}

const Bytes read_100 = hex("03 03 00 64 00 01 C4 37");

// Which of several requests in a row stay without a reply.
std::string kept_back(Faults &faults, const Bytes &request, int count) {
    std::string result;
    for (int i = 0; i < count; ++i)
        result += faults.keeps_back_reply_to(request) ? 'x' : '.';
    return result;
}

TEST(FaultsTest, NoneLetEveryReplyPass) {
    Faults none({});
    EXPECT_EQ(kept_back(none, read_100, 3), "...");
}

TEST(FaultsTest, HappenAlwaysUnlessTheyAreCounted) {
    Faults always({parse_fault("no-reply")});
    EXPECT_EQ(kept_back(always, read_100, 5), "xxxxx");
    Faults twice({parse_fault("no-reply times=2")});
    EXPECT_EQ(kept_back(twice, read_100, 5), "xx...");
}

TEST(FaultsTest, HappenToTheFirstOfSoMany) {
    Faults every_third({parse_fault("no-reply every=3")});
    EXPECT_EQ(kept_back(every_third, read_100, 7), "x..x..x");
    Faults twice({parse_fault("no-reply every=2 times=2")});
    EXPECT_EQ(kept_back(twice, read_100, 7), "x.x....");
}

TEST(FaultsTest, HappenOnlyToTheRequestsThatFit) {
    const auto fits = [](const std::string &fault, const Bytes &request) {
        return Faults({parse_fault(fault)}).keeps_back_reply_to(request);
    };
    EXPECT_TRUE(fits("no-reply station=3 function=3 address=100", read_100));
    EXPECT_FALSE(fits("no-reply station=2", read_100));
    EXPECT_FALSE(fits("no-reply function=1", read_100));
    EXPECT_FALSE(fits("no-reply address=101", read_100));
    EXPECT_FALSE(fits("no-reply address=0", hex("03 07 00 00")));  // a request without an address
    EXPECT_TRUE(fits("no-reply function=7", hex("03 07 00 00")));
}

TEST(FaultsTest, CountOnlyTheRequestsThatFit) {
    Faults once({parse_fault("no-reply station=3 times=1")});
    EXPECT_FALSE(once.keeps_back_reply_to(hex("02 03 00 64 00 01 C5 E6")));
    EXPECT_EQ(kept_back(once, read_100, 2), "x.");
}

TEST(FaultsTest, EachCountItsOwn) {
    Faults faults({parse_fault("no-reply address=100 times=1"), parse_fault("no-reply every=3")});
    EXPECT_EQ(kept_back(faults, read_100, 5), "x..x.");
}

}  // namespace
}  // namespace plc

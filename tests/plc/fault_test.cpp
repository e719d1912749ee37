#include "plc/faults/fault.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace plc {
namespace {

std::string refusal_of_fault(const std::string &text) {
    try {
        parse_fault(text);
    } catch (const std::invalid_argument &refused) {
        return refused.what();
    }
    return "not refused";
}

TEST(FaultText, MayNameEveryField) {
    const Fault fault =
        parse_fault("no-reply every=4 times=5 address=4990 touches=4995 function=16 station=3 after=6 for=7");
    EXPECT_EQ(fault.kind, FaultKind::no_reply);
    EXPECT_EQ(fault.station, 3u);
    EXPECT_EQ(fault.function, 16u);
    EXPECT_EQ(fault.address, 4990u);
    EXPECT_EQ(fault.touches, 4995u);
    EXPECT_EQ(fault.times, 5u);
    EXPECT_EQ(fault.every, 4u);
    EXPECT_EQ(fault.after, 6u);
    EXPECT_EQ(fault.lasts, 7u);
}

TEST(FaultText, MayNameNone) {
    const Fault fault = parse_fault(" no-reply ");
    EXPECT_EQ(fault.kind, FaultKind::no_reply);
    EXPECT_EQ(fault.station, std::nullopt);
    EXPECT_EQ(fault.function, std::nullopt);
    EXPECT_EQ(fault.address, std::nullopt);
    EXPECT_EQ(fault.touches, std::nullopt);
    EXPECT_EQ(fault.times, std::nullopt);
    EXPECT_EQ(fault.every, std::nullopt);
    EXPECT_FALSE(fault.rate.has_value());
}

TEST(FaultText, IsKeptWithSingleBlanks) {
    EXPECT_EQ(parse_fault("  late   ms=80\tstation=0x3 ").text, "late ms=80 station=0x3");
}

TEST(FaultText, TakesHexadecimalNumbers) {
    EXPECT_EQ(parse_fault("no-reply address=0x1F4").address, 500u);
}

TEST(FaultText, MayGiveARate) {
    const Fault fault = parse_fault("garbled rate=3/1000");
    ASSERT_TRUE(fault.rate.has_value());
    EXPECT_EQ(fault.rate->part, 3u);
    EXPECT_EQ(fault.rate->whole, 1000u);
}

TEST(FaultText, MayBeginWithAnyWordAndItsOwnFields) {
    EXPECT_EQ(parse_fault("dead").kind, FaultKind::dead);
    EXPECT_EQ(parse_fault("exception code=6").kind, FaultKind::exception);
    EXPECT_EQ(parse_fault("exception code=6").code, 6u);
    EXPECT_EQ(parse_fault("late ms=80").kind, FaultKind::late);
    EXPECT_EQ(parse_fault("late ms=80").milliseconds, 80u);
    EXPECT_EQ(parse_fault("truncated bytes=3").kind, FaultKind::truncated);
    EXPECT_EQ(parse_fault("truncated bytes=3").bytes, 3u);
    EXPECT_EQ(parse_fault("garbled").kind, FaultKind::garbled);
    EXPECT_EQ(parse_fault("wrong-station").kind, FaultKind::wrong_station);
    EXPECT_EQ(parse_fault("wrong-function").kind, FaultKind::wrong_function);
    EXPECT_EQ(parse_fault("wrong-length data=0").kind, FaultKind::wrong_length);
    EXPECT_EQ(parse_fault("wrong-length data=0").data, 0u);
    EXPECT_EQ(parse_fault("pieces size=4 gap=2").kind, FaultKind::pieces);
    EXPECT_EQ(parse_fault("pieces size=4 gap=2").size, 4u);
    EXPECT_EQ(parse_fault("pieces size=4 gap=2").gap, 2u);
    EXPECT_EQ(parse_fault("noise bytes=9 gap=3").kind, FaultKind::noise);
    EXPECT_EQ(parse_fault("noise bytes=9 gap=3").bytes, 9u);
    EXPECT_EQ(parse_fault("noise-behind bytes=9 gap=3").kind, FaultKind::noise_behind);
    EXPECT_EQ(parse_fault("echo gap=3").kind, FaultKind::echo);
    EXPECT_EQ(parse_fault("twice gap=3").kind, FaultKind::twice);
}

TEST(FaultText, IsRefusedWithoutAWordThatIsKnown) {
    const std::string words = "a fault begins with no-reply, dead, exception, late, truncated, garbled, wrong-station, "
                              "wrong-function, wrong-length, pieces, noise, noise-behind, echo, twice, not with ";
    EXPECT_EQ(refusal_of_fault(""), words + "nothing");
    EXPECT_EQ(refusal_of_fault("station=3"), words + "station=3");
}

TEST(FaultText, IsRefusedWithAFieldThatTheWordDoesNotHave) {
    EXPECT_EQ(refusal_of_fault("no-reply place=3"),
              "the fault no-reply has no field place, but station, function, address, touches, "
              "after, every, rate, for, times");
    EXPECT_EQ(refusal_of_fault("late bytes=3"),
              "the fault late has no field bytes, but ms, station, function, address, touches, "
              "after, every, rate, for, times");
}

TEST(FaultText, IsRefusedWhenItIsNotUnderstood) {
    EXPECT_EQ(refusal_of_fault("no-reply \x1B[2J"), "a fault's fields are name=number, not \\x1B[2J");
    EXPECT_EQ(refusal_of_fault("late ms=\x1B[2J"), "a fault's ms is 1 to 3600000, not \\x1B[2J");
    EXPECT_EQ(refusal_of_fault("late rate=\x1B[2J"),
              "a fault's rate is a part such as 1/1000, from 1/1000000 to 1/1, not \\x1B[2J");
    EXPECT_EQ(refusal_of_fault("no-reply station"), "a fault's fields are name=number, not station");
    EXPECT_EQ(refusal_of_fault("no-reply station=3 station=4"), "a fault has station twice");
    EXPECT_EQ(refusal_of_fault("no-reply station=248"), "a fault's station is 1 to 247, not 248");
    EXPECT_EQ(refusal_of_fault("no-reply function=128"), "a fault's function is 1 to 127, not 128");
    EXPECT_EQ(refusal_of_fault("no-reply address=65536"), "a fault's address is 0 to 65535, not 65536");
    EXPECT_EQ(refusal_of_fault("no-reply address=-1"), "a fault's address is 0 to 65535, not -1");
    EXPECT_EQ(refusal_of_fault("no-reply touches=65536"), "a fault's touches is 0 to 65535, not 65536");
    EXPECT_EQ(refusal_of_fault("no-reply times=0"), "a fault's times is 1 to 1000000, not 0");
    EXPECT_EQ(refusal_of_fault("no-reply every=0"), "a fault's every is 1 to 1000000, not 0");
    EXPECT_EQ(refusal_of_fault("no-reply for=0"), "a fault's for is 1 to 1000000, not 0");
    EXPECT_EQ(refusal_of_fault("no-reply address=1x"), "a fault's address is 0 to 65535, not 1x");
    EXPECT_EQ(refusal_of_fault("no-reply address="), "a fault's address is 0 to 65535, not nothing");
    EXPECT_EQ(refusal_of_fault("no-reply address=0x"), "a fault's address is 0 to 65535, not 0x");
    EXPECT_EQ(refusal_of_fault("no-reply address=99999999999"), "a fault's address is 0 to 65535, not 99999999999");
    EXPECT_EQ(refusal_of_fault("late ms=0"), "a fault's ms is 1 to 3600000, not 0");
    EXPECT_EQ(refusal_of_fault("exception code=256"), "a fault's code is 1 to 255, not 256");
    EXPECT_EQ(refusal_of_fault("pieces size=0"), "a fault's size is 1 to 255, not 0");
    EXPECT_EQ(refusal_of_fault("no-reply rate=1/2 every=3"), "a fault has every or rate, not both");
}

TEST(FaultText, IsRefusedWithARateThatIsNone) {
    for (const std::string rate : {"2/1", "0/5", "1/0", "1", "1/", "/2", "1/1000001", "-1/2", "1/2/3", "x/2"})
        EXPECT_EQ(refusal_of_fault("no-reply rate=" + rate),
                  "a fault's rate is a part such as 1/1000, from 1/1000000 to 1/1, not " + rate);
}

TEST(FaultText, HasHelpOnEveryWord) {
    const std::string help = help_on_faults();
    EXPECT_NE(help.find("  no-reply "), std::string::npos) << help;
    EXPECT_NE(help.find("  noise-behind bytes=N gap=N "), std::string::npos) << help;
}

}  // namespace
}  // namespace plc

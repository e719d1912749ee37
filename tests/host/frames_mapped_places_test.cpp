#include "host/frames/mapped_places.h"

#include <gtest/gtest.h>

namespace kelpo {
namespace {

constexpr auto coils = ModbusTable::coils;
constexpr auto registers = ModbusTable::holding_registers;

std::string places(ModbusTable table, int address, int count = 1) {
    return mapped_places(table, address, count, {});
}

std::string places(ModbusTable table, int address, int count, int type, int number, int units = 1) {
    return mapped_places(table, address, count, TraceContext{type, number, units, 0, 0});
}

TEST(TraceMappedPlacesTest, EachTypeIsFoundAtItsFirstAddress) {
    EXPECT_EQ(places(coils, 0), "type 1 no. 0");
    EXPECT_EQ(places(coils, 1200), "type 0 no. 0 or type 1 no. 2260");
    EXPECT_EQ(places(coils, 2000), "type 2 no. 0 or type 0 no. 1440 or type 1 no. 3720");
    EXPECT_EQ(places(coils, 4400), "type 3 no. 0 or type 0 no. 6200 or type 1 no. 10460");
    EXPECT_EQ(places(coils, 6000), "type 4 no. 0 or type 0 no. 11300 or type 1 no. 13560");
    EXPECT_EQ(places(coils, 8000), "type 5 no. 0 or type 4 no. 2000 or type 0 no. 15220 or others");
    EXPECT_EQ(places(coils, 9200), "type 6 no. 0 or type 5 no. 1200 or type 4 no. 3200 or others");
    EXPECT_EQ(places(coils, 12000), "type 2 no. 2048 or type 6 no. 2800 or type 5 no. 4000 or others");
    EXPECT_EQ(places(coils, 30000), "type 3 no. 256 or type 2 no. 20048 or type 6 no. 20800 or others");
    EXPECT_EQ(places(registers, 0), "type 7 no. 0");
    EXPECT_EQ(places(registers, 7999), "type 7 no. 7999");
    EXPECT_EQ(places(registers, 8000), "type 8 no. 0");
    EXPECT_EQ(places(registers, 8507), "type 11 no. 7");
    EXPECT_EQ(places(registers, 9000), "type 9 no. 0 or type 11 no. 500");
    EXPECT_EQ(places(registers, 9500), "type 10 no. 0 or type 9 no. 500 or type 11 no. 1000");
    EXPECT_EQ(places(registers, 9700, 2), "type 13 no. 200 or type 10 no. 200..201 or type 9 no. 700..701 or others");
    EXPECT_EQ(places(registers, 12000), "type 8 no. 256 or type 10 no. 2500 or type 9 no. 3000 or others");
    EXPECT_EQ(places(registers, 50000), "type 7 no. 8000 or type 8 no. 38256 or type 10 no. 40500 or others");
    EXPECT_EQ(places(registers, 8300), "");
}

TEST(TraceMappedPlacesTest, ARangeDoesNotCrossABoundary) {
    EXPECT_EQ(places(registers, 7998, 2), "type 7 no. 7998..7999");
    EXPECT_EQ(places(registers, 7999, 2), "");
    EXPECT_EQ(places(registers, 8255, 1), "type 8 no. 255");
    EXPECT_EQ(places(registers, 8255, 2), "");
}

TEST(TraceMappedPlacesTest, TheTypeFollowsFromTheRequest) {
    EXPECT_EQ(places(registers, 9008, 2, 11, 508, 2), "type 11 no. 508..509");
    EXPECT_EQ(places(registers, 9704, 4, 13, 2, 2), "type 13 no. 202..203");
    EXPECT_EQ(places(registers, 50000, 10, 7, 7990, 20), "type 7 no. 8000..8009")
        << "the second frame of a split request";
    EXPECT_EQ(places(registers, 100, 2, 12, 100, 2), "type 12 no. 100..101");
    EXPECT_EQ(places(registers, 100, 1, 15, 1603), "type 15 no. 100.3");
    EXPECT_EQ(places(registers, 12000, 1, 16, 4097), "type 16 no. 256.1");
    EXPECT_EQ(places(registers, 8502, 1, 17, 47), "type 17 no. 2.15");
    EXPECT_EQ(places(coils, 1208, 1, 0, 8), "type 0 no. 10");
}

TEST(TraceMappedPlacesTest, ARequestThatDoesNotFitTheAddressIsPassedOver) {
    EXPECT_EQ(places(registers, 8507, 1, 9, 8), "type 11 no. 7");
    EXPECT_EQ(places(registers, 8507, 1, 99, 8), "type 11 no. 7");
    EXPECT_EQ(places(registers, 8507, 1, 4, 7), "type 11 no. 7");
}

TEST(TraceMappedPlacesTest, NumbersOutsideTheTablesHaveNoPlace) {
    EXPECT_EQ(places(registers, -1), "");
    EXPECT_EQ(places(registers, 65536), "");
    EXPECT_EQ(places(registers, 1, 0), "");
}

}  // namespace
}  // namespace kelpo

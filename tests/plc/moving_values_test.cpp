#include "plc/memory/moving_values.h"

#include "plc/memory/station_memory.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace plc {
namespace {

// In the first zone of registers, of station 1, whose base is 0.
std::uint16_t register_at(unsigned offset, Moment moment) {
    return moving_value(1, Table::registers, offset, moment).value();
}

std::uint32_t pair_at(unsigned station, unsigned address, Moment moment) {
    const std::uint32_t high = moving_value(station, Table::registers, address, moment).value();
    return high << 16 | moving_value(station, Table::registers, address + 1, moment).value();
}

std::vector<bool> states_of_coil(unsigned station, unsigned address, Moment count) {
    std::vector<bool> states;
    for (Moment moment = 0; moment < count; ++moment)
        states.push_back(moving_value(station, Table::coils, address, moment).value() != 0);
    return states;
}

TEST(MovingValues, CountersGainOneAtEveryMoment) {
    EXPECT_EQ(register_at(0, 0), 1000);
    EXPECT_EQ(register_at(0, 1), 1001);
    EXPECT_EQ(register_at(8, 7), 1015);
    EXPECT_EQ(register_at(0, 64536), 0);
    EXPECT_EQ(moving_value(2, Table::registers, 9016, 0), 2316);
}

TEST(MovingValues, RampsClimbToAThousandAndStartAgain) {
    EXPECT_EQ(register_at(1, 0), 50);
    EXPECT_EQ(register_at(1, 1), 100);
    EXPECT_EQ(register_at(1, 19), 1000);
    EXPECT_EQ(register_at(1, 20), 0);
    EXPECT_EQ(register_at(1, 21), 50);
    EXPECT_EQ(register_at(9, 0), 100);
}

TEST(MovingValues, TrianglesGoUpAndDownThroughNegativeValues) {
    EXPECT_EQ(register_at(2, 0), 0xFE3E);  // -450
    EXPECT_EQ(register_at(2, 8), 0xFFCE);  // -50
    EXPECT_EQ(register_at(2, 9), 0);
    EXPECT_EQ(register_at(2, 19), 500);
    EXPECT_EQ(register_at(2, 20), 450);
    EXPECT_EQ(register_at(2, 39), 0xFE0C);  // -500
    EXPECT_EQ(register_at(2, 40), 0xFE3E);
}

TEST(MovingValues, ConstantsNameStationZoneAndOffset) {
    EXPECT_EQ(register_at(3, 0), 1003);
    EXPECT_EQ(register_at(3, 12345), 1003);
    EXPECT_EQ(moving_value(12, Table::registers, 12035, 5), 12735);
}

TEST(MovingValues, PairsAreA32BitCounterWithItsHighWordFirst) {
    EXPECT_EQ(register_at(4, 0), 0x05FC);
    EXPECT_EQ(register_at(5, 0), 0x0744);
    EXPECT_EQ(pair_at(1, 4, 1) - pair_at(1, 4, 0), 100003u);
    EXPECT_EQ(pair_at(1, 12, 1000) - pair_at(1, 12, 999), 100003u);
    EXPECT_EQ(pair_at(3, 12036, 196608), 0xAA2DDAC8u);
}

TEST(MovingValues, ASingleBitRotatesUpwards) {
    EXPECT_EQ(register_at(6, 0), 0x0002);
    EXPECT_EQ(register_at(6, 1), 0x0004);
    EXPECT_EQ(register_at(6, 14), 0x8000);
    EXPECT_EQ(register_at(6, 15), 0x0001);
}

TEST(MovingValues, PseudoRandomValuesAreTheSameInEveryRun) {
    EXPECT_EQ(register_at(7, 0), 0xB2DD);
    EXPECT_EQ(register_at(7, 1), 0x10A9);
    EXPECT_EQ(register_at(15, 0), 0x6B6C);
    EXPECT_EQ(moving_value(2, Table::registers, 7, 0), 0x5517);
    EXPECT_EQ(moving_value(1, Table::registers, 8007, 0), 0x2FD7);
}

TEST(MovingValues, CoilsBlinkWithAPeriodThatGrowsWithTheOffset) {
    EXPECT_EQ(states_of_coil(1, 0, 6), (std::vector<bool>{1, 0, 1, 0, 1, 0}));
    EXPECT_EQ(states_of_coil(1, 1, 6), (std::vector<bool>{0, 1, 1, 0, 0, 1}));
    EXPECT_EQ(states_of_coil(1, 7, 17), (std::vector<bool>{0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0}));
    EXPECT_EQ(states_of_coil(1, 8, 4), (std::vector<bool>{1, 0, 1, 0}));
    EXPECT_EQ(states_of_coil(2, 1, 4), (std::vector<bool>{1, 1, 0, 0}));
    EXPECT_EQ(states_of_coil(1, 4401, 4), (std::vector<bool>{0, 0, 1, 1}));
}

TEST(MovingValues, AreThoseOfTheZonesOnly) {
    EXPECT_TRUE(moves(Table::coils, 1200));
    EXPECT_TRUE(moves(Table::coils, 1239));
    EXPECT_FALSE(moves(Table::coils, 1240));
    EXPECT_FALSE(moves(Table::registers, 1200));
    EXPECT_TRUE(moves(Table::registers, 50039));
    EXPECT_EQ(moving_value(1, Table::registers, 7999, 0), std::nullopt);
    EXPECT_EQ(moving_value(1, Table::coils, 65535, 0), std::nullopt);
}

TEST(StationMemory, BeginsWithEveryZoneAtMomentZero) {
    const StationMemory memory(1);
    EXPECT_EQ(memory.registers[3], 1003);
    EXPECT_EQ(memory.registers[8003], 1103);
    EXPECT_EQ(memory.registers[8503], 1203);
    EXPECT_EQ(memory.registers[9003], 1303);
    EXPECT_EQ(memory.registers[9503], 1403);
    EXPECT_EQ(memory.registers[9703], 1503);
    EXPECT_EQ(memory.registers[50003], 1603);
    EXPECT_EQ(memory.registers[12003], 1703);
    EXPECT_EQ(memory.registers[12035], 1735);
}

TEST(StationMemory, BlinksInEveryZoneOfCoils) {
    StationMemory memory(1);
    for (const unsigned base : {0u, 1200u, 2000u, 4400u, 6000u, 8000u, 9200u, 12000u, 30000u}) {
        memory.move_to(0);
        const std::uint8_t first = memory.coils[base];
        const std::uint8_t last = memory.coils[base + 32];
        memory.move_to(1);
        EXPECT_NE(memory.coils[base], first) << base;
        EXPECT_NE(memory.coils[base + 32], last) << base;
    }
}

TEST(StationMemory, IsZeroOutsideTheZones) {
    StationMemory memory(1);
    memory.move_to(3);
    for (const unsigned address : {40u, 7999u, 8040u, 8540u, 9040u, 9540u, 9740u, 12040u, 49999u, 50040u, 65535u})
        EXPECT_EQ(memory.registers[address], 0) << address;
    for (const unsigned address : {40u, 1199u, 1240u, 2040u, 4440u, 6040u, 8040u, 9240u, 12040u, 30040u, 65535u})
        EXPECT_EQ(memory.coils[address], 0) << address;
    const auto moving = std::count_if(memory.registers.begin(), memory.registers.end(), [](auto v) { return v != 0; });
    EXPECT_LE(moving, 8 * 40);
}

TEST(StationMemory, AStepOverwritesTheZonesAndLeavesTheRest) {
    StationMemory memory(1);
    memory.registers[3] = 7;
    memory.registers[40] = 7;
    memory.coils[40] = 1;
    memory.move_to(1);
    EXPECT_EQ(memory.registers[3], 1003);
    EXPECT_EQ(memory.registers[40], 7);
    EXPECT_EQ(memory.coils[40], 1);
}

TEST(StationMemory, HoldsAllThatAnAddressCanReach) {
    const StationMemory memory(1);
    EXPECT_EQ(memory.coils.size(), 65536u);
    EXPECT_EQ(memory.registers.size(), 65536u);
}

}  // namespace
}  // namespace plc

#include "host/driver/block_plan.h"

#include "host/driver/driver.h"
#include "host/driver/driver_library.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace kelpo {
namespace {

using testing::ElementsAre;

Variable words(int station, int first, int count = 1) {
    return {"", station, 7, std::to_string(first), count, View::unsigned_words};
}

Variable longs(int first, int values = 1) {
    return {"", 1, 12, std::to_string(first), 2 * values, View::unsigned_longs};
}

Variable floats(int first, int values = 1) {
    return {"", 1, 9, std::to_string(first), 2 * values, *view_named("float", 9)};
}

// "station:class:first+count"
std::vector<std::string> blocks_of(const std::vector<Variable> &variables, const DriverSettings &settings = {}) {
    Driver driver(DRIVER_FILE);
    driver.configure(settings);
    std::vector<std::string> texts;
    const int count = driver.poll(variables);
    for (const PolledBlock &block : driver.blocks())
        texts.push_back(std::to_string(block.station) + ":" + std::to_string(block.register_class) + ":" +
                        std::to_string(block.first) + "+" + std::to_string(block.count));
    EXPECT_EQ(count, static_cast<int>(texts.size()));
    return texts;
}

TEST(BlockPlan, GivesEachStationBlocksOfItsOwnSize) {
    DriverSettings settings;
    settings.stations[2] = {10, {}};
    EXPECT_THAT(blocks_of({words(2, 0, 25), words(1, 0, 25), words(3, 0, 25)}, settings),
                ElementsAre("1:7:0+25", "2:7:0+10", "2:7:10+10", "2:7:20+5", "3:7:0+25"));
}

TEST(BlockPlan, LetsAStationHaveLargerBlocksThanTheOthers) {
    DriverSettings settings;
    settings.max_count = 10;
    settings.stations[2] = {20, {}};
    EXPECT_THAT(blocks_of({words(1, 0, 20), words(2, 0, 20)}, settings),
                ElementsAre("1:7:0+10", "1:7:10+10", "2:7:0+20"));
}

TEST(BlockPlan, LeavesNoLongerGapInABlockThanAStationMayHave) {
    DriverSettings settings;
    settings.stations[1] = {100, 4};
    EXPECT_THAT(
        blocks_of({words(1, 0), words(1, 5), words(1, 11), words(1, 12, 3), words(2, 0), words(2, 50)}, settings),
        ElementsAre("1:7:0+6", "1:7:11+4", "2:7:0+51"));
    settings.stations[1] = {100, 0};
    EXPECT_THAT(blocks_of({words(1, 1), words(1, 0), words(1, 3), words(1, 0, 3), words(1, 7)}, settings),
                ElementsAre("1:7:0+4", "1:7:7+1"));
}

TEST(BlockPlan, PutsNoValueInTwoBlocks) {
    EXPECT_THAT(blocks_of({words(1, 0), longs(99)}), ElementsAre("1:7:0+1", "1:7:99+2"));
    EXPECT_THAT(blocks_of({words(1, 0), longs(99), words(1, 101)}), ElementsAre("1:7:0+1", "1:7:99+3"));
    EXPECT_THAT(blocks_of({words(1, 0), longs(1, 150)}),
                ElementsAre("1:7:0+99", "1:7:99+100", "1:7:199+100", "1:7:299+2"));
    EXPECT_THAT(blocks_of({{"", 1, 9, "0", 1, View::unsigned_words}, floats(99)}), ElementsAre("1:9:0+1", "1:9:99+2"));
    DriverSettings settings;
    settings.stations[1] = {7, {}};
    EXPECT_THAT(blocks_of({longs(0, 10)}, settings), ElementsAre("1:7:0+6", "1:7:6+6", "1:7:12+6", "1:7:18+2"));
}

TEST(BlockPlan, CutsWhereTheDriverDoesIfThatPartsNoValue) {
    EXPECT_THAT(blocks_of({longs(0, 60)}), ElementsAre("1:7:0+100", "1:7:100+20"));
    EXPECT_THAT(blocks_of({words(1, 0), words(1, 99, 2)}), ElementsAre("1:7:0+100", "1:7:100+1"));
}

// Each end of a block between 98 and 100 would part one of the two.
TEST(BlockPlan, CutsFarEnoughAheadForValuesThatOverlap) {
    EXPECT_THAT(blocks_of({words(1, 0), longs(98), longs(99)}), ElementsAre("1:7:0+1", "1:7:98+3"));
    EXPECT_THAT(blocks_of({words(1, 0, 98), longs(98), longs(99)}), ElementsAre("1:7:0+98", "1:7:98+3"));
}

TEST(BlockPlan, PartsValuesWhereEveryEndOfABlockWould) {
    std::vector<Variable> chain;
    for (int first = 0; first < 6; ++first)
        chain.push_back(longs(first));
    DriverSettings settings;
    settings.stations[1] = {4, {}};
    EXPECT_THAT(blocks_of(chain, settings), ElementsAre("1:7:0+4", "1:7:4+3"));
}

// With 1 the driver cuts nothing.
TEST(BlockPlan, MakesABlockOfEachValueWhereASingleRegisterIsTheMost) {
    DriverSettings settings;
    settings.stations[1] = {1, {}};
    EXPECT_THAT(
        blocks_of({longs(0, 2), words(1, 4, 3), words(1, 5), {"", 1, 13, "200", 4, View::unsigned_longs}}, settings),
        ElementsAre("1:7:0+2", "1:7:2+2", "1:7:4+1", "1:7:5+1", "1:7:6+1", "1:13:0+1", "1:13:1+1"));
    EXPECT_THAT(blocks_of({{"", 1, 2, "0", 10, View::bits}}, settings), ElementsAre("1:2:0+8", "1:2:8+2"));
}

TEST(BlockPlan, IsWhatTheDriverAsksFor) {
    Driver driver(DRIVER_FILE);
    DriverSettings settings;
    settings.stations[2] = {3, {}};
    driver.configure(settings);
    driver.poll({words(2, 0, 5), words(1, 9)});
    const DriverEntryPoints &entry = driver.library().entry();
    std::vector<std::string> requests;
    const std::vector<std::string> replies = {std::string("\x01\x03\x02\x12\x34\xB5\x33", 7),
                                              std::string("\x02\x03\x06\0\1\0\2\0\3\xE9\x84", 11),
                                              std::string("\x02\x03\x04\0\4\0\5\x48\xF1", 9)};
    for (const std::string &reply : replies) {
        const Protocol *const request = entry.ComCommunication();
        ASSERT_NE(request, nullptr);
        requests.emplace_back(request->frame.constData(), 6);
        QByteArray bytes(reply.data(), static_cast<int>(reply.size()));
        EXPECT_EQ(entry.DataCom(&bytes, static_cast<int>(bytes.size()))->ret_value, 1);
    }
    EXPECT_THAT(requests, ElementsAre(std::string("\1\3\0\x09\0\1", 6), std::string("\2\3\0\0\0\3", 6),
                                      std::string("\2\3\0\3\0\2", 6)));
    EXPECT_THAT(driver.held_values(words(2, 0, 5)), ElementsAre(1, 2, 3, 4, 5));
    EXPECT_THAT(driver.held_values(words(1, 9)), ElementsAre(0x1234));
}

// Writes and single reads, which the driver cuts itself, are not cut by what another station may have.
TEST(BlockPlan, LeavesTheDriverTheLargestCountOfAll) {
    Driver driver(DRIVER_FILE);
    DriverSettings settings;
    settings.max_count = 10;
    settings.stations[2] = {30, {}};
    const ComInfo &info = driver.configure(settings);
    driver.poll({words(1, 0), words(2, 0)});
    EXPECT_EQ(info.max_count, 30);
    driver.queue_read(words(1, 0, 30));
    EXPECT_EQ(driver.library().requests_waiting(), 3);
    driver.queue_read(words(2, 0, 30));
    EXPECT_EQ(driver.library().requests_waiting(), 4);
}

}  // namespace
}  // namespace kelpo

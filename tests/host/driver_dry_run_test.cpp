#include "host/driver/driver.h"
#include "host/driver/dry_run.h"
#include "host/text/hex.h"

#include <gmock/gmock.h>

namespace {

using namespace kelpo;
using testing::ElementsAre;

std::vector<std::string> frames_of(const DryBlock &block) {
    std::vector<std::string> frames;
    for (const PlannedRequest &request : block.requests)
        frames.push_back(hex_text(request.bytes));
    return frames;
}

class DryRuns : public testing::Test {
protected:
    Driver library_{DRIVER_FILE};
    DryRun driver_{library_};
};

TEST_F(DryRuns, ShowTheBlocksAndTheirFrames) {
    const auto blocks = driver_.cycle({{"a", 1, 7, "0", 1, View::unsigned_words},
                                       {"b", 1, 7, "11", 1, View::unsigned_words},
                                       {"c", 2, 13, "204", 2, View::unsigned_longs}},
                                      {{100}});
    ASSERT_EQ(blocks.size(), 2U);
    EXPECT_EQ(blocks[0].station, 1);
    EXPECT_EQ(blocks[0].register_class, 7);
    EXPECT_EQ(blocks[0].first, 0);
    EXPECT_EQ(blocks[0].count, 12);
    EXPECT_THAT(frames_of(blocks[0]), ElementsAre("01 03 00 00 00 0C 45 CF"));
    EXPECT_EQ(blocks[0].requests[0].reply_length, 29);
    EXPECT_EQ(blocks[1].station, 2);
    EXPECT_EQ(blocks[1].register_class, 13);
    EXPECT_EQ(blocks[1].count, 1);
    EXPECT_THAT(frames_of(blocks[1]), ElementsAre("02 03 25 EC 00 02 0E C1"));
    EXPECT_EQ(blocks[1].requests[0].reply_length, 9);
}

TEST_F(DryRuns, ShowBothFramesOfABlockAcrossABoundary) {
    const auto blocks = driver_.cycle({{"a", 1, 2, "2046", 4, View::bits}}, {{100}});
    ASSERT_EQ(blocks.size(), 1U);
    EXPECT_THAT(frames_of(blocks[0]), ElementsAre("01 01 0F CE 00 02 DF 20", "01 01 2E E0 00 02 B5 15"));
    EXPECT_EQ(blocks[0].requests[1].first, 2048);
    EXPECT_EQ(blocks[0].requests[1].modbus_address(), 12000);
}

TEST_F(DryRuns, CutBlocksAtMaxCountAndForgetTheListBefore) {
    driver_.cycle({{"a", 9, 7, "0", 1, View::unsigned_words}}, {{100}});
    const auto blocks = driver_.cycle({{"a", 1, 9, "0", 5, View::unsigned_words}}, {{2}});
    ASSERT_EQ(blocks.size(), 3U);
    EXPECT_EQ(blocks[0].count, 2);
    EXPECT_EQ(blocks[2].first, 4);
    EXPECT_EQ(blocks[2].count, 1);
}

TEST_F(DryRuns, HaveNoBlocksOfNoVariables) {
    EXPECT_TRUE(driver_.cycle({}, {}).empty());
}

TEST_F(DryRuns, ShowWhatAVariableSpans) {
    const auto span = [this](int type, const char *address, int count) {
        const Span found = driver_.span_of({"a", 3, type, address, count, View::bits});
        return std::make_tuple(found.register_class, found.first, found.count);
    };
    EXPECT_EQ(span(7, "5", 3), std::make_tuple(7, 5, 3));
    EXPECT_EQ(span(0, "17", 1), std::make_tuple(0, 15, 1));
    EXPECT_EQ(span(12, "20", 4), std::make_tuple(7, 20, 4));
    EXPECT_EQ(span(13, "204", 4), std::make_tuple(13, 4, 2));
    EXPECT_EQ(span(16, "2.3", 8), std::make_tuple(8, 35, 8));
    EXPECT_EQ(span(7, "0", 1000), std::make_tuple(7, 0, 1000));
}

struct ExpectedMap {
    int register_class;
    bool coils;
    int width;
    int low;
    int start;  // of the high range, 0 without one
    int high;
};

class ClassMaps : public testing::TestWithParam<ExpectedMap> {};

// As docs/address-map.md has them.
TEST_P(ClassMaps, AreFoundFromFramesAlone) {
    const Driver library(DRIVER_FILE);
    const ClassMap map = DryRun(library).map_of(GetParam().register_class);
    EXPECT_EQ(map.coils, GetParam().coils);
    EXPECT_EQ(map.width, GetParam().width);
    EXPECT_EQ(map.low_base, GetParam().low);
    EXPECT_EQ(map.high_start.value_or(0), GetParam().start);
    EXPECT_EQ(map.high_base, GetParam().high);
}

const ExpectedMap maps[] = {
    {0, true, 1, 1200, 0, 0},       {1, true, 1, 0, 0, 0},         {2, true, 1, 2000, 2048, 12000},
    {3, true, 1, 4400, 256, 30000}, {4, true, 1, 6000, 0, 0},      {5, true, 1, 8000, 0, 0},
    {6, true, 1, 9200, 0, 0},       {7, false, 1, 0, 8000, 50000}, {8, false, 1, 8000, 256, 12000},
    {9, false, 1, 9000, 0, 0},      {10, false, 1, 9500, 0, 0},    {11, false, 1, 8500, 0, 0},
    {13, false, 2, 9700, 0, 0},
};

INSTANTIATE_TEST_SUITE_P(OfAllClasses, ClassMaps, testing::ValuesIn(maps));

TEST(ClassMap, ContinuesAfterTheBoundaryAndBeyondSixteenBits) {
    const Driver library(DRIVER_FILE);
    DryRun driver(library);
    EXPECT_EQ(driver.map_of(7).modbus_address(7999), 7999);
    EXPECT_EQ(driver.map_of(7).modbus_address(8001), 50001);
    EXPECT_EQ(driver.map_of(7).modbus_address(30000), 72000);
    EXPECT_EQ(driver.map_of(13).modbus_address(4), 9708);
}

TEST_F(DryRuns, ShowHowAnAddressIsReadAndWritten) {
    const AddressUse word = driver_.use_of(7, "100");
    EXPECT_EQ(word.register_class, 7);
    EXPECT_EQ(hex_text(word.read.bytes), "01 03 00 64 00 01 C5 D5");
    ASSERT_TRUE(word.write);
    EXPECT_EQ(word.write->function(), 16);
    EXPECT_EQ(word.write->modbus_address(), 100);

    const AddressUse bit = driver_.use_of(15, "6.4");
    EXPECT_EQ(bit.read.modbus_address(), 100);
    ASSERT_TRUE(bit.write);
    EXPECT_EQ(bit.write->function(), 3);
    EXPECT_EQ(bit.write->modbus_address(), 6);

    EXPECT_FALSE(driver_.use_of(0, "17").write);
}

TEST_F(DryRuns, GoOnForManyAddresses) {
    for (int i = 0; i < 40; ++i)
        EXPECT_EQ(driver_.use_of(7, std::to_string(i)).read.modbus_address(), i);
}

}  // namespace

#include "host/driver/driver.h"
#include "host/driver/driver_library.h"
#include "host/driver/request_parts.h"
#include "host/once/reference.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace {

using kelpo::Variable;

Variable place(const char *reference) {
    return kelpo::reference_from(reference, {}).place;
}

TEST(PlacesToRead, OfBitsInRegistersAreTheRegistersThatHoldThem) {
    const kelpo::Driver driver(DRIVER_FILE);
    struct Case {
        const char *bits;
        int type;
        const char *address;
        int registers;
    };
    const std::initializer_list<Case> cases = {
        {"1:15:5.3", 7, "5", 1},    {"1:15:5.0x16", 7, "5", 1}, {"1:15:5.0x17", 7, "5", 2}, {"1:16:5.15x2", 8, "5", 2},
        {"1:17:0.8x9", 11, "0", 2}, {"1:16:1.20", 8, "2", 1},   {"1:15:+6.4", 7, "6", 1},
    };
    for (const Case &expected : cases) {
        const auto found = kelpo::place_to_read(driver, place(expected.bits));
        ASSERT_TRUE(found) << expected.bits;
        EXPECT_EQ(found->type, expected.type) << expected.bits;
        EXPECT_EQ(found->address, expected.address) << expected.bits;
        EXPECT_EQ(found->count, expected.registers) << expected.bits;
        EXPECT_EQ(found->station, 1);
    }
}

TEST(PlacesToRead, AreAllOthersAsTheyAre) {
    const kelpo::Driver driver(DRIVER_FILE);
    for (const char *reference : {"3:0:17", "3:7:100x5", "3:13:200x2", "3:14:4"}) {
        const auto found = kelpo::place_to_read(driver, place(reference));
        ASSERT_TRUE(found);
        EXPECT_EQ(found->type, place(reference).type);
        EXPECT_EQ(found->address, place(reference).address);
        EXPECT_EQ(found->count, place(reference).count);
    }
}

TEST(PlacesToRead, AreNoneForABitWithoutAnAddress) {
    const kelpo::Driver driver(DRIVER_FILE);
    for (const char *reference : {"1:15:5", "1:15:a.1", "1:15:5.", "1:15:-1.3"})
        EXPECT_FALSE(kelpo::place_to_read(driver, place(reference))) << reference;
}

// The driver, configured but without a link loop: what it is given stays in its queues.
class IdleDriver {
public:
    explicit IdleDriver(int max_count) {
        driver_.configure({max_count, 0});
    }

    int queued_by_write(const Variable &variable) {
        const std::string bytes(static_cast<std::size_t>(4 * variable.count), '\1');
        driver_.queue_write({variable.station, variable.type, variable.address, variable.count, bytes});
        return driver_.library().requests_waiting();
    }

    int queued_by_read(const Variable &variable) {
        driver_.queue_read(variable);
        return driver_.library().requests_waiting();
    }

private:
    kelpo::Driver driver_{DRIVER_FILE};
};

TEST(PlacesToRead, OfAListAreThoseOfItsVariables) {
    const kelpo::Driver driver(DRIVER_FILE);
    const std::vector<Variable> places = kelpo::places_to_read(driver, {place("1:15:+5.3"), place("1:7:8")});
    ASSERT_EQ(places.size(), 2U);
    EXPECT_EQ(places[0].type, 7);
    EXPECT_EQ(places[0].address, "5");
    EXPECT_EQ(places[0].count, 1);
    EXPECT_EQ(places[1].type, 7);
    EXPECT_EQ(places[1].address, "8");
}

TEST(PartsToRead, HoldAsMany32BitRegistersAsModbusLetsOneRequestRead) {
    const kelpo::Driver driver(DRIVER_FILE);
    const auto parts = kelpo::parts_to_read(driver, place("3:13:210x130"), 100);
    ASSERT_EQ(parts.size(), 3U);
    EXPECT_EQ(parts[0].address, "210");
    EXPECT_EQ(parts[0].count, 124);
    EXPECT_EQ(parts[1].address, "272");
    EXPECT_EQ(parts[1].count, 124);
    EXPECT_EQ(parts[2].address, "334");
    EXPECT_EQ(parts[2].count, 12);
    EXPECT_EQ(parts[2].station, 3);
    EXPECT_EQ(kelpo::parts_to_read(driver, place("3:13:210x62"), 100).size(), 1U);
    EXPECT_EQ(kelpo::parts_to_read(driver, place("3:13:210x130"), 50).size(), 3U);
    EXPECT_EQ(kelpo::parts_to_read(driver, place("3:7:210x100"), 100).size(), 1U);
}

TEST(PartsToRead, HoldWholeValues) {
    const kelpo::Driver driver(DRIVER_FILE);
    for (const char *const pairs : {"3:12:210x25", "3:7:210x25/float", "3:9:210x25/unsigned32-swapped"}) {
        const auto parts = kelpo::parts_to_read(driver, place(pairs), 25);
        ASSERT_EQ(parts.size(), 3U) << pairs;
        EXPECT_EQ(parts[0].count, 24);
        EXPECT_EQ(parts[1].address, "234");
        EXPECT_EQ(parts[1].count, 24);
        EXPECT_EQ(parts[2].address, "258");
        EXPECT_EQ(parts[2].count, 2);
    }
    const auto words = kelpo::parts_to_read(driver, place("3:7:210x50"), 25);
    ASSERT_EQ(words.size(), 2U);
    EXPECT_EQ(words[1].address, "235");
}

class RequestCounts : public testing::TestWithParam<int> {};

const char *const places[] = {
    "1:0:17",   "1:0:0x101",  "1:1:17",       "1:1:0x9",  "1:1:0x801",   "1:2:3",       "1:2:0x33",
    "1:3:0x33", "1:4:0x81",   "1:5:0x801",    "1:6:0x24", "1:7:0",       "1:7:0x100",   "1:7:0x101",
    "1:8:5x3",  "1:9:5x7",    "1:10:5x8",     "1:11:5x9", "1:12:40",     "1:12:40x51",  "1:12:40x50",
    "1:13:200", "1:14:2x101", "1:13:200x101", "1:15:5.3", "1:15:5.3x20", "1:16:0.0x16", "1:17:0.0x3",
};

TEST_P(RequestCounts, OfWritesAreWhatTheDriverQueues) {
    for (const char *reference : places)
        EXPECT_EQ(kelpo::requests_of_write(place(reference), GetParam()),
                  IdleDriver(GetParam()).queued_by_write(place(reference)))
            << reference;
}

TEST_P(RequestCounts, OfReadsAreWhatTheDriverQueues) {
    for (const char *reference : places) {
        const Variable to_read = kelpo::place_to_read(kelpo::Driver(DRIVER_FILE), place(reference)).value();
        EXPECT_EQ(kelpo::requests_of_read(to_read, GetParam()), IdleDriver(GetParam()).queued_by_read(to_read))
            << reference;
    }
}

INSTANTIATE_TEST_SUITE_P(MaxCounts, RequestCounts, testing::Values(1, 7, 50, 100));

}  // namespace

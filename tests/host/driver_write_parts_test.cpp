#include "host/driver/request_parts.h"

#include "host/driver/driver.h"
#include "host/driver/driver_library.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kelpo {
namespace {

struct Entry {
    int type, address, count;
    QByteArray bytes;

    bool operator==(const Entry &other) const {
        return type == other.type && address == other.address && count == other.count && bytes == other.bytes;
    }
};

// What the driver has queued, without a link loop.
std::vector<Entry> queued(const std::vector<WritePart> &parts, int max_count) {
    Driver driver(DRIVER_FILE);
    driver.configure({max_count, 0});
    for (const WritePart &part : parts)
        driver.queue_write(part);
    std::vector<Entry> entries;
    for (const RW_VAR &entry : driver.library().entry().PLC_driver->write_list)
        entries.push_back({entry.reg_type, entry.reg_addr, entry.reg_count, entry.value_bytes});
    return entries;
}

Variable variable(int type, const char *address, int count) {
    return {"x", 1, type, address, count, default_view(type)};
}

Values values_of(const Variable &place) {
    Values values;
    for (int i = 0; i < place.count / units_per_value(place.view); ++i)
        values.push_back(place.view.unit == View::Unit::bit ? (i % 3 == 0 ? 1 : 0) : 1000 + i);
    return values;
}

TEST(WritePartsOfPairs, HoldWholeValues) {
    const Driver driver(DRIVER_FILE);
    const Variable floats{"x", 1, 7, "10", 8, *view_named("float", 7)};
    const std::vector<WritePart> parts = parts_of_write(driver, floats, {1, 2, 3, 4}, 7);
    ASSERT_EQ(parts.size(), 2U);
    EXPECT_EQ(parts[0].count, 6);
    EXPECT_EQ(parts[1].address, "16");
    EXPECT_EQ(parts[1].count, 2);
    EXPECT_EQ(parts[1].bytes, std::string("\0\0\4\0", 4));
    EXPECT_EQ(requests_of_write(floats, 7), 2);
    EXPECT_EQ(requests_of_write(floats, 1), 8);
}

class WriteParts : public testing::TestWithParam<int> {};

// Each makes one request, and all together those that the driver makes of the whole.
TEST_P(WriteParts, AreWhereTheDriverWouldCut) {
    const Variable places[] = {
        variable(1, "17", 1),    variable(1, "17", 1700),  variable(2, "2040", 20), variable(3, "3", 5),
        variable(4, "9", 9),     variable(5, "0", 801),    variable(6, "3", 24),    variable(7, "7900", 250),
        variable(8, "5", 3),     variable(9, "5", 101),    variable(10, "5", 8),    variable(11, "5", 9),
        variable(12, "40", 202), variable(13, "300", 202), variable(14, "2", 4),    variable(15, "5.14", 20),
        variable(16, "1.20", 3), variable(17, "0.0", 16),
    };
    for (const Variable &place : places) {
        const Values values = values_of(place);
        const WritePart whole{1, place.type, place.address, place.count, bytes_of(place.view, values)};
        std::vector<WritePart> parts;
        {
            const Driver driver(DRIVER_FILE);
            parts = parts_of_write(driver, place, values, GetParam());
        }
        for (const WritePart &part : parts)
            EXPECT_EQ(queued({part}, GetParam()).size(), 1U) << place.type << " " << part.address;
        EXPECT_EQ(static_cast<int>(parts.size()), requests_of_write(place, GetParam())) << place.type;
        EXPECT_EQ(queued(parts, GetParam()), queued({whole}, GetParam())) << place.type;
    }
}

INSTANTIATE_TEST_SUITE_P(MaxCounts, WriteParts, testing::Values(1, 7, 50, 100));

TEST(WritePartsOfNothing, AreNone) {
    const Driver driver(DRIVER_FILE);
    EXPECT_TRUE(parts_of_write(driver, variable(0, "17", 1), {1}, 100).empty());
}

}  // namespace
}  // namespace kelpo

#include "Communication_Protocol.h"

#include "int_limits.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using support::int_max;
using support::int_min;

int mapped(int type, int address) {
    PLC_driver.get_offset_address(type, address);
    return address;
}

struct MapRow {
    const char *name;
    int type;
    std::vector<std::pair<int, int>> maps;  ///< address, mapped address
};

class AddressMapRow : public ::testing::TestWithParam<MapRow> {};

std::string row_name(const ::testing::TestParamInfo<MapRow> &row) {
    return row.param.name;
}

void PrintTo(const MapRow &row, std::ostream *out) {
    *out << row.name;
}

TEST_P(AddressMapRow, MapsEveryAddressOfItsList) {
    for (const std::pair<int, int> &map : GetParam().maps)
        EXPECT_EQ(mapped(GetParam().type, map.first), map.second) << "address " << map.first;
}

INSTANTIATE_TEST_SUITE_P(
    Types, AddressMapRow,
    ::testing::Values(
        MapRow{"Type0_IsAddressPlus1200", 0, {{0, 1200}, {1, 1201}, {65535, 66735}, {-1, 1199}, {-1200, 0}}},
        MapRow{"Type1_IsUnchanged", 1, {{0, 0}, {1, 1}, {4095, 4095}, {65535, 65535}, {-5, -5}}},
        MapRow{"Type2_Below2048Is2000MoreAndFrom2048Is9952More",
               2,
               {{0, 2000}, {2047, 4047}, {2048, 12000}, {2049, 12001}, {7999, 17951}}},
        MapRow{"Type3_UpTo255Is4400MoreAndAboveIs29744More",
               3,
               {{0, 4400}, {255, 4655}, {256, 30000}, {257, 30001}, {-1, 4399}}},
        MapRow{"Type4_IsAddressPlus6000", 4, {{0, 6000}, {255, 6255}, {256, 6256}, {2048, 8048}, {8000, 14000}}},
        MapRow{"Type5_IsAddressPlus8000", 5, {{0, 8000}, {255, 8255}, {256, 8256}, {2048, 10048}, {8000, 16000}}},
        MapRow{"Type6_IsAddressPlus9200", 6, {{0, 9200}, {255, 9455}, {256, 9456}, {2048, 11248}, {8000, 17200}}},
        MapRow{"Type7_Below8000IsUnchangedAndFrom8000Is42000More",
               7,
               {{0, 0}, {7999, 7999}, {8000, 50000}, {8001, 50001}, {23535, 65535}, {-1, -1}}},
        MapRow{"Type8_UpTo255Is8000MoreAndAboveIs11744More",
               8,
               {{0, 8000}, {255, 8255}, {256, 12000}, {257, 12001}, {-1, 7999}}},
        MapRow{"Type9_IsAddressPlus9000", 9, {{0, 9000}, {256, 9256}, {2048, 11048}, {8000, 17000}, {-1, 8999}}},
        MapRow{"Type10_IsAddressPlus9500", 10, {{0, 9500}, {256, 9756}, {2048, 11548}, {8000, 17500}, {-1, 9499}}},
        MapRow{"Type11_IsAddressPlus8500", 11, {{0, 8500}, {256, 8756}, {2048, 10548}, {8000, 16500}, {-1, 8499}}},
        MapRow{"Type12_IsMappedAsType7", 12, {{0, 0}, {7999, 7999}, {8000, 50000}, {-1, -1}}},
        MapRow{"Type13_IsTwiceAddressPlus4850",
               13,
               {{0, 9700}, {1, 9702}, {5, 9710}, {4850, 19400}, {-1, 9698}, {-4850, 0}}},
        MapRow{"Type14_IsMappedAsType8", 14, {{0, 8000}, {255, 8255}, {256, 12000}, {-1, 7999}}},
        MapRow{"Type15_IsMappedAsType7", 15, {{0, 0}, {7999, 7999}, {8000, 50000}, {-1, -1}}},
        MapRow{"Type16_IsMappedAsType8", 16, {{0, 8000}, {255, 8255}, {256, 12000}, {-1, 7999}}},
        MapRow{"Type17_IsMappedAsType11", 17, {{0, 8500}, {256, 8756}, {8000, 16500}, {-1, 8499}}}),
    row_name);

TEST(AddressMap, Type1AndTypesOutside0To17LeaveTheAddressUnchanged) {
    for (int type : {1, 18, -1, 19, 255, 256, int_max, int_min})
        for (int address : {0, 300, 9000, 65536, -7, int_max, int_min})
            EXPECT_EQ(mapped(type, address), address) << "type " << type;
}

// Plain 32-bit addition: a sum that does not fit keeps its low 32 bits.
TEST(AddressMap, SumsBeyond32BitsWrapAround) {
    const int largest[18] = {-2147482449, int_max,     -2147473697, -2147453905, -2147477649, -2147475649,
                             -2147474449, -2147441649, -2147471905, -2147474649, -2147474149, -2147475149,
                             -2147441649, 9698,        -2147471905, -2147441649, -2147471905, -2147475149};
    const int smallest[18] = {-2147482448, int_min, -2147481648, -2147479248, -2147477648, -2147475648,
                              -2147474448, int_min, -2147475648, -2147474648, -2147474148, -2147475148,
                              int_min,     9700,    -2147475648, int_min,     -2147475648, -2147475148};
    for (int type = 0; type < 18; ++type) {
        EXPECT_EQ(mapped(type, int_max), largest[type]) << "type " << type;
        EXPECT_EQ(mapped(type, int_min), smallest[type]) << "type " << type;
    }
}

TEST(AddressMap, UsesNoStateOfTheObject) {
    PLC_driver.last_op = 55;
    EXPECT_EQ(mapped(0, 1), 1201);
    EXPECT_EQ(PLC_driver.last_op, 55);
    EXPECT_TRUE(PLC_driver.list_mutex.tryLock());
    PLC_driver.list_mutex.unlock();
}

}  // namespace

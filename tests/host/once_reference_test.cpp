#include "host/once/reference.h"

#include <gtest/gtest.h>

#include <initializer_list>

namespace {

using kelpo::Reference;
using kelpo::reference_from;
using kelpo::Values;
using kelpo::View;

TEST(References, NameStationTypeAndAddress) {
    const Reference reference = reference_from("247:12:8004", {});
    EXPECT_EQ(reference.place.name, "247:12:8004");
    EXPECT_EQ(reference.place.station, 247);
    EXPECT_EQ(reference.place.type, 12);
    EXPECT_EQ(reference.place.address, "8004");
    EXPECT_EQ(reference.place.count, 2);
    EXPECT_EQ(reference.place.view, View::unsigned_longs);
    EXPECT_EQ(reference.values, Values());
}

TEST(References, TakeTheStationThatIsGivenWhenTheyNameNone) {
    const Reference without = reference_from("15:5.3", 9);
    EXPECT_EQ(without.place.name, "9:15:5.3");
    EXPECT_EQ(without.place.station, 9);
    EXPECT_EQ(without.place.address, "5.3");
    EXPECT_EQ(without.place.count, 1);
    EXPECT_EQ(reference_from("1:7:100", 9).place.station, 1);
}

TEST(References, CountValuesNotRegisters) {
    EXPECT_EQ(reference_from("1:7:100x10", {}).place.count, 10);
    EXPECT_EQ(reference_from("1:1:17x3", {}).place.count, 3);
    EXPECT_EQ(reference_from("1:12:40x3", {}).place.count, 6);
    EXPECT_EQ(reference_from("1:7:100x3/float", {}).place.count, 6);
    EXPECT_EQ(reference_from("1:7:100=1,2,3", {}).place.count, 3);
    EXPECT_EQ(reference_from("1:13:200=1,2", {}).place.count, 4);
}

TEST(References, ChooseTheView) {
    const Reference reference = reference_from("1:7:100x2/hex32-swapped", {});
    EXPECT_EQ(reference.place.name, "1:7:100x2/hex32-swapped");
    EXPECT_EQ(reference.place.view, kelpo::view_named("hex32-swapped", 7));
    EXPECT_EQ(reference.place.count, 4);
}

TEST(References, CarryTheValuesToWrite) {
    EXPECT_EQ(reference_from("1:7:100=0x10,-1,0b11", {}).values, (Values{16, 65535, 3}));
    EXPECT_EQ(reference_from("1:7:100/signed=65535", {}).values, Values{-1});
    EXPECT_EQ(reference_from("2:12:40/float=3.5", {}).values, Values{0x40600000});
    EXPECT_EQ(reference_from("1:1:17=on,off", {}).values, (Values{1, 0}));
    EXPECT_EQ(reference_from("1:7:100x2=7,8", {}).values, (Values{7, 8}));
    EXPECT_EQ(reference_from("1:7:100x3/hex=5", {}).place.name, "1:7:100x3/hex");
}

TEST(References, SpreadOneValueOverAllPlaces) {
    const Reference reference = reference_from("1:7:100x3=5", {});
    EXPECT_EQ(reference.place.count, 3);
    EXPECT_EQ(reference.values, (Values{5, 5, 5}));
}

TEST(References, ThatAreWrongSayWhatWouldBeRight) {
    struct Wrong {
        const char *text;
        const char *problem;
    };
    const std::initializer_list<Wrong> cases = {
        {"", "'': a reference is STATION:TYPE:ADDRESS, such as 1:7:100"},
        {"100", "'100': a reference is STATION:TYPE:ADDRESS, such as 1:7:100"},
        {"1:2:3:4", "'1:2:3:4': a reference is STATION:TYPE:ADDRESS, such as 1:7:100"},
        {"1:7:", "'1:7:': there is no address; one is written as in 1:7:100"},
        {"7:100/hex", "'7:100/hex': there is no station; write it in front, such as 1:7:100/hex, or give --station"},
        {"0:7:100", "'0:7:100': the station must be a number from 1 to 247"},
        {"248:7:100", "'248:7:100': the station must be a number from 1 to 247"},
        {":7:100", "':7:100': the station must be a number from 1 to 247"},
        {"1:18:100", "'1:18:100': the register type must be a number from 0 to 17, not '18'"},
        {"1:D:100", "'1:D:100': the register type must be a number from 0 to 17, not 'D'"},
        {"1:7:100x0", "'1:7:100x0': the count must be a number from 1 to 65536, not '0'"},
        {"1:7:100x", "'1:7:100x': the count must be a number from 1 to 65536, not ''"},
        {"1:7:100x65537", "'1:7:100x65537': the count must be a number from 1 to 65536, not '65537'"},
        {"1:13:200/hax", "'1:13:200/hax': type 13 has no view 'hax'; it has unsigned, signed, hex, binary, float"},
        {"1:7:1=", "'1:7:1=': '' does not fit; a value here is a whole number from -32768 to 65535, decimal or such as "
                   "0x1F or 0b101"},
        {"1:7:1=1,,2", "'1:7:1=1,,2': '' does not fit; a value here is a whole number from -32768 to 65535, decimal or "
                       "such as 0x1F or 0b101"},
        {"1:12:1=4294967296", "'1:12:1=4294967296': '4294967296' does not fit; a value here is a whole number from "
                              "-2147483648 to 4294967295, decimal or such as 0x1F or 0b101"},
        {"1:7:1/float=x",
         "'1:7:1/float=x': 'x' does not fit; a value here is a number such as 3.5 or -1e6, or the bits "
         "of one such as 0x40600000"},
        {"1:1:1=2", "'1:1:1=2': '2' does not fit; a value here is 0, 1, on, off, true or false"},
        {"1:7:1x3=1,2", "'1:7:1x3=1,2': there are 2 values for a count of 3; give as many, or one for all"},
    };
    for (const Wrong &wrong : cases) {
        try {
            reference_from(wrong.text, {});
            ADD_FAILURE() << "taken: " << wrong.text;
        } catch (const kelpo::ReferenceError &error) {
            EXPECT_STREQ(error.what(), wrong.problem);
        }
    }
}

}  // namespace

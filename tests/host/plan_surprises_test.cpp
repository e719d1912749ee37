#include "host/plan/surprises.h"
#include "list_material.h"

#include <gmock/gmock.h>

namespace {

using namespace kelpo;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> surprises_of(const std::string &csv) {
    const ListMaterial material;
    const ListReading reading = material.read(csv, "tags.csv");
    EXPECT_THAT(texts_of(reading.remarks), IsEmpty());
    DryRun driver(material.driver());
    return texts_of(surprises(reading.list, driver));
}

TEST(Surprises, AreBitsWhoseWordIsNotPolled) {
    EXPECT_THAT(surprises_of("name,type,address\nopen,15,6.4\n"),
                ElementsAre("tags.csv:2: warning: \"open\" asks for register 100, but shows bits of register 6; to see "
                            "them move, list type 7, address \"6\" as well"));
    EXPECT_THAT(surprises_of("name,type,address,count\nflags,17,7.15,2\nword,11,7,1\n"),
                ElementsAre("tags.csv:2: warning: \"flags\" asks for register 127 to 128, but shows bits of register 7 "
                            "to 8; to see them move, list type 11, address \"8\" as well"));
}

TEST(Surprises, AreNotBitsWhoseWordIsPolled) {
    EXPECT_THAT(surprises_of("name,type,address\nopen,15,6.4\nword,7,6\n"), IsEmpty());
    EXPECT_THAT(surprises_of("name,type,address\nopen,16,6.4\nlong,14,5\n"), IsEmpty());
    EXPECT_THAT(surprises_of("name,type,address\nfirst,15,0.0\n"), IsEmpty());
}

TEST(Surprises, AreBitsWhoseWordIsPolledAtAnotherStation) {
    EXPECT_EQ(surprises_of("name,station,type,address\nopen,1,15,6.4\nword,2,7,6\n").size(), 1U);
}

TEST(Surprises, AreVariablesInTheSamePlace) {
    EXPECT_THAT(surprises_of("name,type,address,count\na,7,0,4\nb,7,3,2\nc,7,5,1\nd,7,5,1\n"),
                ElementsAre("tags.csv:3: warning: \"b\" overlaps \"a\" in line 2",
                            "tags.csv:5: warning: \"d\" is the same place as \"c\" in line 4"));
}

TEST(Surprises, AreNotTwoViewsOrTypesOfOnePlace) {
    EXPECT_THAT(surprises_of("name,type,address,view\na,7,0,signed\nb,7,0,hex\nc,12,0,float\n"), IsEmpty());
    EXPECT_THAT(surprises_of("name,station,type,address\na,1,7,0\nb,2,7,0\n"), IsEmpty());
}

TEST(Surprises, AreNot32BitValuesAcrossTheLongestBlocksEnd) {
    EXPECT_THAT(surprises_of("name,type,address,count\nfirst,7,0,1\nflow,12,99,2\n"), IsEmpty());
    EXPECT_THAT(surprises_of("name,type,address,count,view\nfirst,9,0,1,\nflow,9,97,4,unsigned32\n"), IsEmpty());
}

TEST(Surprises, Are32BitValuesWhereEveryEndOfABlockPartsOne) {
    std::string chain = "name,type,address,count,view\n";
    for (int first = 0; first < 101; ++first)
        chain += "v" + std::to_string(first) + ",7," + std::to_string(first) + ",2," +
                 (first % 2 == 0 ? "unsigned32\n" : "signed32\n");
    const std::vector<std::string> texts = surprises_of(chain);
    EXPECT_THAT(texts, testing::Contains("tags.csv:101: warning: \"v99\" has a 32-bit value in registers 99 and 100, "
                                         "which two requests read: while it changes, it can be half old and half new; "
                                         "give it an address one higher or lower in the controller"));
}

TEST(Surprises, Are32BitValuesThatTheAddressMapParts) {
    EXPECT_THAT(surprises_of("name,type,address\nflow,12,7999\n"),
                ElementsAre("tags.csv:2: warning: \"flow\" has a 32-bit value in registers 7999 and 8000, which two "
                            "requests read: while it changes, it can be half old and half new; give it an address one "
                            "higher or lower in the controller"));
}

TEST(Surprises, AreNot32BitValuesInOneRequest) {
    EXPECT_THAT(surprises_of("name,type,address\nfirst,7,0\nflow,12,98\nhours,13,255\nlast,14,256\n"), IsEmpty());
}

TEST(Surprises, AreTypesThatCannotBeWritten) {
    EXPECT_THAT(surprises_of("name,type,address\na,7,0\nb,0,0\nc,0,1\n"),
                ElementsAre("tags.csv:3: warning: type 0 can be read but not written (2 variables)"));
}

TEST(Surprises, AreAddressesThatAFrameCannotName) {
    EXPECT_THAT(surprises_of("name,type,address\na,7,23535\nb,7,23536\n"),
                ElementsAre("tags.csv:3: warning: \"b\" reaches Modbus address 65536: above 65535 a frame asks for "
                            "another place, here 0"));
}

TEST(Surprises, AreAddressesThatTheCacheCannotTellApart) {
    EXPECT_THAT(surprises_of("name,type,address\na,1,177777\nb,1,200000\n"),
                ElementsAre("tags.csv:3: warning: \"b\" reaches number 65536: above 65535 values are mixed up with "
                            "those of the next register class"));
}

TEST(Surprises, AreListsWithEveryStationOff) {
    const ListMaterial material;
    const ListReading reading =
        material.read("[[station]]\nnumber = 1\nenabled = false\n[[variable]]\ntype = 7\naddress = 0\n", "list.toml");
    DryRun driver(material.driver());
    EXPECT_THAT(texts_of(surprises(reading.list, driver)),
                ElementsAre("list.toml:4: warning: every station is off: nothing will be asked until one is switched "
                            "on"));
}

}  // namespace

#include "plc/memory/preset.h"

#include "plc/text/list_file.h"
#include "temporary_folder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <sys/stat.h>

namespace plc {
namespace {

std::string refusal_of_preset(const std::string &text) {
    try {
        parse_preset(text);
    } catch (const std::invalid_argument &refused) {
        return refused.what();
    }
    return "not refused";
}

TEST(PresetText, GivesRegistersFromAnAddressOn) {
    const Preset preset = parse_preset("3,register,100,0x1234,-5, 65535 ,-32768");
    EXPECT_EQ(preset.station, 3u);
    EXPECT_EQ(preset.table, Table::registers);
    EXPECT_EQ(preset.address, 100u);
    EXPECT_EQ(preset.values, (std::vector<std::uint16_t>{0x1234, 0xFFFB, 0xFFFF, 0x8000}));
}

TEST(PresetText, GivesCoilsFromAnAddressOn) {
    const Preset preset = parse_preset("247 , coil , 0xFFFE , 1,0");
    EXPECT_EQ(preset.station, 247u);
    EXPECT_EQ(preset.table, Table::coils);
    EXPECT_EQ(preset.address, 65534u);
    EXPECT_EQ(preset.values, (std::vector<std::uint16_t>{1, 0}));
}

TEST(PresetText, IsRefusedWhenItIsNotUnderstood) {
    EXPECT_EQ(refusal_of_preset("1,coil,5"),
              "a preset is station,coil,address,value or station,register,address,value and "
              "perhaps more values, not 1,coil,5");
    EXPECT_EQ(refusal_of_preset("0,coil,5,1"), "a station is 1 to 247, not 0");
    EXPECT_EQ(refusal_of_preset("one,coil,5,1"), "a station is 1 to 247, not one");
    EXPECT_EQ(refusal_of_preset("1,input,5,1"), "the second field is coil or register, not input");
    EXPECT_EQ(refusal_of_preset("1,,5,1"), "the second field is coil or register, not nothing");
    EXPECT_EQ(refusal_of_preset("1,coil,65536,1"), "an address is 0 to 65535, not 65536");
    EXPECT_EQ(refusal_of_preset("1,coil,5,2"), "a coil's value is 0 to 1, not 2");
    EXPECT_EQ(refusal_of_preset("1,register,5,65536"), "a register's value is -32768 to 65535, not 65536");
    EXPECT_EQ(refusal_of_preset("1,register,5,-32769"), "a register's value is -32768 to 65535, not -32769");
    EXPECT_EQ(refusal_of_preset("1,register,5,1.5"), "a register's value is -32768 to 65535, not 1.5");
    EXPECT_EQ(refusal_of_preset("1,register,5,1,"), "a register's value is -32768 to 65535, not nothing");
    EXPECT_EQ(refusal_of_preset("1,register,65534,1,2,3"),
              "from address 65534 on there is room for 2 values, not for 3");
}

class ListFile : public testing::Test {
protected:
    std::vector<Preset> read(const std::string &text) {
        std::ofstream(path_) << text;
        std::vector<Preset> presets;
        read_list(
            path_, [&presets](const std::string &line) { presets.push_back(parse_preset(line)); }, mistakes_);
        return presets;
    }

    TemporaryFolder folder_;
    std::string path_ = folder_ / "list";
    Mistakes mistakes_;
};

TEST_F(ListFile, HasAnItemInEachLineThatIsMoreThanAComment) {
    const auto presets = read("# values of the plant\n\n1,coil,5,1 # pump\r\n   \n\t2,register,7,9");
    EXPECT_EQ(mistakes_, Mistakes());
    ASSERT_EQ(presets.size(), 2u);
    EXPECT_EQ(presets[0].values, (std::vector<std::uint16_t>{1}));
    EXPECT_EQ(presets[1].address, 7u);
}

TEST_F(ListFile, ReportsEveryMistakeWithItsLine) {
    const auto presets = read("1,coil,5,7\n# nothing\n1,coil,5,1\n1,lamp,5,1\n");
    EXPECT_EQ(mistakes_, (Mistakes{path_ + ":1: a coil's value is 0 to 1, not 7",
                                   path_ + ":4: the second field is coil or register, not lamp"}));
    EXPECT_EQ(presets.size(), 1u);
}

TEST_F(ListFile, IsMissed) {
    read_list(folder_ / "nowhere", parse_preset, mistakes_);
    EXPECT_EQ(mistakes_, Mistakes{folder_ / "nowhere: cannot be read: No such file or directory"});
}

TEST_F(ListFile, IsNotAFolder) {
    read_list(folder_ / ".", parse_preset, mistakes_);
    EXPECT_EQ(mistakes_, Mistakes{folder_ / ".: cannot be read: Is a directory"});
}

TEST_F(ListFile, IsNoPipeAndNoDevice) {
    ASSERT_EQ(::mkfifo(path_.c_str(), 0600), 0);
    read_list(path_, parse_preset, mistakes_);
    read_list("/dev/zero", parse_preset, mistakes_);
    EXPECT_EQ(mistakes_, (Mistakes{path_ + ": cannot be read: it is not a regular file",
                                   "/dev/zero: cannot be read: it is not a regular file"}));
}

TEST_F(ListFile, IsNotLargerThan16Mebibytes) {
    EXPECT_EQ(read(std::string(16 * 1024 * 1024 - 10, '\n') + "1,coil,5,1").size(), 1u);
    EXPECT_EQ(mistakes_, Mistakes());
    EXPECT_TRUE(read(std::string(16 * 1024 * 1024 - 9, '\n') + "1,coil,5,1").empty());
    EXPECT_EQ(mistakes_, Mistakes{path_ + ": cannot be read: it is larger than 16 MiB"});
}

TEST_F(ListFile, TellsAHundredMistakesAndCountsTheRest) {
    std::string text;
    for (int line = 1; line <= 103; ++line)
        text += "root:*:19000\n";
    read(text);
    ASSERT_EQ(mistakes_.size(), 101u);
    EXPECT_EQ(mistakes_[99], path_ + ":100: a preset is station,coil,address,value or station,register,address,value "
                                     "and perhaps more values, not root:*:19000");
    EXPECT_EQ(mistakes_[100], path_ + ": and 3 more mistakes");
}

TEST(PresetText, IsQuotedShortAndWithoutWhatATerminalObeys) {
    EXPECT_EQ(refusal_of_preset("1,\x1B]0;x\x07,5,1"), "the second field is coil or register, not \\x1B]0;x\\x07");
    EXPECT_EQ(refusal_of_preset(std::string(5000, 'x')),
              "a preset is station,coil,address,value or station,register,address,value and perhaps more values, not " +
                  std::string(59, 'x') + "...");
}

}  // namespace
}  // namespace plc

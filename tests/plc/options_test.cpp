#include "plc/program/options.h"

#include "temporary_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>

namespace plc {
namespace {

using std::chrono::milliseconds;

class OptionsTest : public testing::Test {
protected:
    std::variant<Options, int> read(const std::vector<std::string> &arguments) {
        return read_options(arguments, "kelpo-plc", out_, error_);
    }

    Options options(const std::vector<std::string> &arguments) {
        return std::get<Options>(read(arguments));
    }

    std::string file(const std::string &name, const std::string &text) const {
        std::ofstream(folder_ / name) << text;
        return folder_ / name;
    }

    void expect_refusal(const std::vector<std::string> &arguments, const std::string &culprit) {
        error_.str("");
        const auto result = read(arguments);
        ASSERT_TRUE(std::holds_alternative<int>(result)) << culprit;
        EXPECT_EQ(std::get<int>(result), 2);
        const std::string message = error_.str();
        EXPECT_EQ(message.rfind("kelpo-plc: ", 0), 0u) << message;
        EXPECT_NE(message.find(culprit), std::string::npos) << message;
        EXPECT_EQ(std::count(message.begin(), message.end(), '\n'), 1) << message;
        EXPECT_EQ(message.back(), '\n');
    }

    TemporaryFolder folder_;
    std::ostringstream out_;
    std::ostringstream error_;
};

TEST_F(OptionsTest, NoneAreNeeded) {
    const Options defaults = options({});
    EXPECT_EQ(defaults.settings.stations, (std::vector<unsigned>{1}));
    EXPECT_EQ(defaults.settings.moment, milliseconds(500));
    EXPECT_EQ(defaults.settings.turnaround, milliseconds(1));
    EXPECT_EQ(defaults.settings.silence, milliseconds(5));
    EXPECT_EQ(defaults.settings.baud, 0u);
    EXPECT_TRUE(defaults.settings.faults.empty());
    EXPECT_EQ(defaults.settings.bits_per_byte, 10u);
    EXPECT_EQ(defaults.settings.seed, 1u);
    EXPECT_TRUE(defaults.settings.presets.empty());
    EXPECT_FALSE(defaults.listen.has_value());
    EXPECT_EQ(defaults.link, std::nullopt);
    EXPECT_EQ(defaults.memory, std::nullopt);
}

TEST_F(OptionsTest, AllAreTaken) {
    const Options all =
        options({"--stations", "1,2,247",    "--moment", "0",        "--turnaround", "7",           "--silence",
                 "9",          "--baud",     "115200",   "--parity", "odd",          "--stop-bits", "2",
                 "--seed",     "4294967295", "--link",   "line",     "--memory",     "values"});
    EXPECT_EQ(all.settings.stations, (std::vector<unsigned>{1, 2, 247}));
    EXPECT_EQ(all.settings.moment, milliseconds(0));
    EXPECT_EQ(all.settings.turnaround, milliseconds(7));
    EXPECT_EQ(all.settings.silence, milliseconds(9));
    EXPECT_EQ(all.settings.baud, 115200u);
    EXPECT_EQ(all.settings.bits_per_byte, 12u);
    EXPECT_EQ(all.settings.seed, 4294967295u);
    EXPECT_FALSE(all.settings.echoes);
    EXPECT_TRUE(options({"--echo"}).settings.echoes);
    EXPECT_EQ(all.link, "line");
    EXPECT_EQ(all.memory, "values");
    EXPECT_EQ(error_.str(), "");
}

TEST_F(OptionsTest, TakesSeveralFaults) {
    const auto faults = options({"--fault", "no-reply station=3 times=1", "--fault", "no-reply"}).settings.faults;
    ASSERT_EQ(faults.size(), 2u);
    EXPECT_EQ(faults[0].station, 3u);
    EXPECT_EQ(faults[0].times, 1u);
    EXPECT_EQ(faults[1].station, std::nullopt);
}

TEST_F(OptionsTest, TakesTheFaultsOfFilesAfterItsOwn) {
    const std::string morning = file("morning", "# when the pumps start\nlate ms=80 rate=1/10\n\ngarbled # noise\n");
    const std::string night = file("night", "dead station=1 after=1000");
    const auto faults = options({"--faults", morning, "--fault", "no-reply", "--faults", night}).settings.faults;
    ASSERT_EQ(faults.size(), 4u);
    EXPECT_EQ(faults[0].text, "no-reply");
    EXPECT_EQ(faults[1].text, "late ms=80 rate=1/10");
    EXPECT_EQ(faults[2].text, "garbled");
    EXPECT_EQ(faults[3].text, "dead station=1 after=1000");
}

TEST_F(OptionsTest, TakesPresetsFromFiles) {
    const std::string path = file("values.csv", "1,register,100,7\n2,coil,5,1\n");
    const auto presets = options({"--preset", path, "--stations", "1,2"}).settings.presets;
    ASSERT_EQ(presets.size(), 2u);
    EXPECT_EQ(presets[1].station, 2u);
}

TEST_F(OptionsTest, MistakesInFilesAreReportedWithTheirLines) {
    const std::string values = file("values.csv", "1,register,100,7\n3,coil,5,1\n1,coil,5,2\n");
    const std::string faults = file("faults", "no-reply\n\nlate ms=soon\n");
    const auto result = read({"--stations", "1,2", "--preset", values, "--faults", faults});
    ASSERT_TRUE(std::holds_alternative<int>(result));
    EXPECT_EQ(std::get<int>(result), 2);
    EXPECT_EQ(error_.str(), values + ":2: a station is one of --stations, 1,2, not 3\n" + values +
                                ":3: a coil's value is 0 to 1, not 2\n" + faults +
                                ":3: a fault's ms is 1 to 3600000, not soon\n");
}

TEST_F(OptionsTest, ThereIsRoomFor256Faults) {
    std::string lines;
    for (int i = 0; i < 256; ++i)
        lines += "no-reply\n";
    const std::string path = file("faults", lines);
    EXPECT_EQ(options({"--faults", path}).settings.faults.size(), 256u);
    const auto result = read({"--faults", path, "--fault", "no-reply"});
    ASSERT_TRUE(std::holds_alternative<int>(result));
    EXPECT_EQ(error_.str(), "there may be 256 faults at most, not 257\n");
}

TEST_F(OptionsTest, TakesATcpPortForTheLine) {
    const auto local = options({"--listen", "5020"}).listen;
    ASSERT_TRUE(local.has_value());
    EXPECT_EQ(local->host, "127.0.0.1");
    EXPECT_EQ(local->port, 5020);
    const auto any = options({"--listen", "0.0.0.0:0"}).listen;
    ASSERT_TRUE(any.has_value());
    EXPECT_EQ(any->host, "0.0.0.0");
    EXPECT_EQ(any->port, 0);
}

TEST_F(OptionsTest, HelpShowsTheNameThatItWasCalledBy) {
    read_options({"--help"}, "kelpo plc", out_, error_);
    EXPECT_NE(out_.str().find("Usage: kelpo plc [OPTIONS]"), std::string::npos) << out_.str();
    EXPECT_NE(out_.str().find("\n  kelpo plc --stations"), std::string::npos) << out_.str();
    EXPECT_EQ(out_.str().find("kelpo-plc"), std::string::npos) << out_.str();
    read_options({"--speed"}, "kelpo plc", out_, error_);
    EXPECT_EQ(error_.str().rfind("kelpo plc: ", 0), 0u) << error_.str();
}

TEST_F(OptionsTest, HelpGoesToTheOutputAndEndsWell) {
    const auto result = read({"--help"});
    ASSERT_TRUE(std::holds_alternative<int>(result));
    EXPECT_EQ(std::get<int>(result), 0);
    EXPECT_NE(out_.str().find("--stations"), std::string::npos);
    EXPECT_EQ(error_.str(), "");
}

TEST_F(OptionsTest, VersionIsPrintedUnderTheNameThatItWasCalledBy) {
    const auto result = read_options({"--version"}, "kelpo plc", out_, error_);
    ASSERT_TRUE(std::holds_alternative<int>(result));
    EXPECT_EQ(std::get<int>(result), 0);
    EXPECT_EQ(out_.str().rfind("kelpo plc 1.", 0), 0u) << out_.str();
}

TEST_F(OptionsTest, WrongOnesAreRefusedInOneLineThatNamesThem) {
    expect_refusal({"--stations", "0"}, "--stations");
    expect_refusal({"--stations", "248"}, "--stations");
    expect_refusal({"--stations", "1,x"}, "--stations");
    expect_refusal({"--stations", "1,2,1"}, "station 1 is there twice");
    expect_refusal({"--stations"}, "--stations");
    expect_refusal({"--moment", "-1"}, "--moment");
    expect_refusal({"--moment", "soon"}, "--moment");
    expect_refusal({"--turnaround", "3600001"}, "--turnaround");
    expect_refusal({"--silence", "0"}, "--silence");
    expect_refusal({"--baud", "-9600"}, "--baud");
    expect_refusal({"--link"}, "--link");
    expect_refusal({"--memory"}, "--memory");
    expect_refusal({"--fault", "no-reply station=0"}, "station");
    expect_refusal({"--fault", "no-reply", "more"}, "more");
    expect_refusal({"--parity", "strange"}, "--parity");
    expect_refusal({"--stop-bits", "3"}, "--stop-bits");
    expect_refusal({"--seed", "-1"}, "--seed");
    expect_refusal({"--listen", "65536"}, "65536");
    expect_refusal({"--listen", "localhost:1"}, "127.0.0.1:5020");
    expect_refusal({"--listen", "1", "--link", "line"}, "--link");
    expect_refusal({"--preset"}, "--preset");
    expect_refusal({"--speed", "9600"}, "--speed");
    expect_refusal({"more"}, "more");
}

}  // namespace
}  // namespace plc

#include <algorithm>
#include <sstream>

#include <gtest/gtest.h>

#include "plc/options.h"

namespace plc {
namespace {

using std::chrono::milliseconds;

class OptionsTest : public testing::Test {
protected:
    std::variant<Options, int> read(std::vector<const char *> arguments) {
        arguments.insert(arguments.begin(), "kelpo-plc");
        return read_options(static_cast<int>(arguments.size()), arguments.data(), out_, error_);
    }

    Options options(const std::vector<const char *> &arguments) {
        return std::get<Options>(read(arguments));
    }

    void expect_refusal(const std::vector<const char *> &arguments, const std::string &culprit) {
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
    EXPECT_EQ(defaults.link, std::nullopt);
    EXPECT_EQ(defaults.memory, std::nullopt);
}

TEST_F(OptionsTest, AllAreTaken) {
    const Options all = options({"--stations", "1,2,247", "--moment", "0", "--turnaround", "7", "--silence", "9",
                                 "--baud", "115200", "--link", "line", "--memory", "values"});
    EXPECT_EQ(all.settings.stations, (std::vector<unsigned>{1, 2, 247}));
    EXPECT_EQ(all.settings.moment, milliseconds(0));
    EXPECT_EQ(all.settings.turnaround, milliseconds(7));
    EXPECT_EQ(all.settings.silence, milliseconds(9));
    EXPECT_EQ(all.settings.baud, 115200u);
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

TEST_F(OptionsTest, HelpGoesToTheOutputAndEndsWell) {
    const auto result = read({"--help"});
    ASSERT_TRUE(std::holds_alternative<int>(result));
    EXPECT_EQ(std::get<int>(result), 0);
    EXPECT_NE(out_.str().find("--stations"), std::string::npos);
    EXPECT_EQ(error_.str(), "");
}

TEST_F(OptionsTest, WrongOnesAreRefusedInOneLineThatNamesThem) {
    expect_refusal({"--stations", "0"}, "--stations");
    expect_refusal({"--stations", "248"}, "--stations");
    expect_refusal({"--stations", "1,x"}, "--stations");
    expect_refusal({"--stations", "1,2,1"}, "station 1 stands twice");
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
    expect_refusal({"--speed", "9600"}, "--speed");
    expect_refusal({"more"}, "more");
}

}  // namespace
}  // namespace plc

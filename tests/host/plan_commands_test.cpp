#include "process.h"

#include <gmock/gmock.h>

#include <fstream>

namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class ListCommands : public testing::Test {
protected:
    struct Ended {
        int exit_code;
        std::string output;
    };

    Ended kelpo(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), KELPO_PROGRAM);
        Process process(arguments, folder_.file("output" + std::to_string(++runs_)));
        const int exit_code = process.exit_code();
        return {exit_code, process.output()};
    }

    std::string list(const std::string &name, const std::string &text) const {
        std::ofstream(folder_.file(name)) << text;
        return folder_.file(name);
    }

private:
    TemporaryDirectory folder_;
    int runs_ = 0;
};

TEST_F(ListCommands, CheckSaysThatAListIsGood) {
    const std::string file = list("tags.csv", "name,station,type,address\na,1,7,0\nb,2,7,0\nc,2,7,1\n");
    const Ended ended = kelpo({"check", file, "--driver", DRIVER_FILE});
    EXPECT_EQ(ended.exit_code, 0);
    EXPECT_EQ(ended.output, file + ": good: 3 variables of 2 stations in 2 blocks\n");
}

TEST_F(ListCommands, CheckLetsAListWithWarningsPass) {
    const std::string file = list("tags.csv", "name,type,address\na,0,0\n");
    const Ended ended = kelpo({"check", file, "--driver", DRIVER_FILE});
    EXPECT_EQ(ended.exit_code, 0);
    EXPECT_THAT(ended.output, StartsWith(file + ":2: warning: type 0 can be read but not written (1 variable)\n"));
}

TEST_F(ListCommands, CheckReportsEveryMistakeOfABadList) {
    const std::string file = list("list.toml", "[line]\nspeed = 9601\n[[variable]]\ntype = 18\naddress = 0\n");
    const Ended ended = kelpo({"check", file, "--driver", DRIVER_FILE});
    EXPECT_EQ(ended.exit_code, 2);
    EXPECT_EQ(ended.output, file + ":2: speed 9601 is not a rate that serial lines have; the nearest is 9600\n" + file +
                                ":4: type 18; a register type, 0 to 17\n");
}

TEST_F(ListCommands, SayWhenTheDriverCannotBeLoaded) {
    const std::string file = list("tags.csv", "type,address\n7,0\n");
    for (const std::vector<std::string> &arguments :
         {std::vector<std::string>{"check", file}, {"plan", file}, {"address", "7", "0"}}) {
        std::vector<std::string> with_driver = arguments;
        with_driver.insert(with_driver.end(), {"--driver", "/nowhere/driver.so"});
        const Ended ended = kelpo(with_driver);
        EXPECT_EQ(ended.exit_code, 3);
        EXPECT_THAT(ended.output, HasSubstr("/nowhere/driver.so"));
    }
}

TEST_F(ListCommands, AddressPrintsThePlaceOrWhyThereIsNone) {
    const Ended good = kelpo({"address", "8", "256", "--driver", DRIVER_FILE});
    EXPECT_EQ(good.exit_code, 0);
    EXPECT_THAT(good.output, HasSubstr("polled     holding register 12000 (counted from 1: 12001; 412001)\n"));
    const Ended bad = kelpo({"address", "1", "8", "--driver", DRIVER_FILE});
    EXPECT_EQ(bad.exit_code, 7);
    EXPECT_EQ(bad.output,
              "kelpo: \"8\" has a digit above 7; type 1 takes an octal number (digits 0 to 7), such as 17\n");
    EXPECT_EQ(kelpo({"address", "18", "0", "--driver", DRIVER_FILE}).exit_code, 2);
}

TEST_F(ListCommands, TheVersionIsPrinted) {
    const Ended ended = kelpo({"--version"});
    EXPECT_EQ(ended.exit_code, 0);
    EXPECT_THAT(ended.output, testing::MatchesRegex("kelpo [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(ListCommands, PlanLetsOptionsOverruleTheList) {
    const std::string file = list("list.toml", "[line]\nspeed = 9600\n[timeouts]\nturnaround-ms = 9\n"
                                               "[[variable]]\ntype = 7\naddress = 0\n");
    const Ended as_listed = kelpo({"plan", file, "--driver", DRIVER_FILE});
    EXPECT_EQ(as_listed.exit_code, 0);
    EXPECT_THAT(as_listed.output, HasSubstr("\n9600 8N1: 1041 us a character, 3.6 ms between frames, 9.0 ms until"));
    const Ended overruled =
        kelpo({"plan", file, "--driver", DRIVER_FILE, "--speed", "19200", "--parity", "odd", "--turnaround", "2"});
    EXPECT_THAT(overruled.output, HasSubstr("\n19200 8O1: 572 us a character, 2.0 ms between frames, 2.0 ms until"));
}

TEST_F(ListCommands, PlanSaysThatEchoesAreTakenOff) {
    const std::string file = list("list.toml", "[link]\necho = \"auto\"\n[[variable]]\ntype = 7\naddress = 0\n");
    const std::string words = " until a controller answers, echoes taken off\n";
    EXPECT_THAT(kelpo({"plan", file, "--driver", DRIVER_FILE}).output, HasSubstr(words));
    EXPECT_THAT(kelpo({"plan", file, "--driver", DRIVER_FILE, "--echo", "off"}).output, Not(HasSubstr(words)));
}

TEST_F(ListCommands, PlanRefusesABadList) {
    const std::string file = list("tags.csv", "type,address\n7,x\n");
    const Ended ended = kelpo({"plan", file, "--driver", DRIVER_FILE, "--json"});
    EXPECT_EQ(ended.exit_code, 2);
    EXPECT_EQ(ended.output, file + ":2: address \"x\" is not a number; type 7 takes a decimal number, such as 100\n");
}

TEST_F(ListCommands, PlanPrintsJson) {
    const std::string file = list("tags.csv", "type,address\n7,0\n");
    const Ended ended = kelpo({"plan", file, "--driver", DRIVER_FILE, "--json"});
    EXPECT_EQ(ended.exit_code, 0);
    EXPECT_THAT(ended.output, StartsWith("{\n  \"list\": "));
    EXPECT_THAT(ended.output, HasSubstr("\"bytes_out\": 8,\n    \"bytes_in\": 7,"));
}

}  // namespace

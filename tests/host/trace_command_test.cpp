#include "process.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>

namespace {

const std::string saved = "# kelpo trace 1\n"
                          "2026-11-21 12:00:00.000000 > 01 03 23 30 00 02 CF 80\n"
                          "2026-11-21 12:00:00.010000 <\n"
                          "2026-11-21 12:00:01.000000 > 03 06 00 64 00 2A 48 28\n"
                          "2026-11-21 12:00:01.010000 < 03 06 00 64 00 2A 48 28\n";

class TraceCommandTest : public testing::Test {
protected:
    // Starts `kelpo trace` with these arguments.
    Process &kelpo_trace(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {KELPO_PROGRAM, "trace"});
        return process.emplace(arguments, directory.file("output.txt"));
    }

    std::string put(const std::string &name, const std::string &text) const {
        std::ofstream(directory.file(name), std::ios::binary) << text;
        return directory.file(name);
    }

    TemporaryDirectory directory;
    std::optional<Process> process;
};

TEST_F(TraceCommandTest, ShowsASavedTrace) {
    Process &program = kelpo_trace({put("saved", saved), "--utc", "--station", "3"});
    EXPECT_EQ(program.exit_code(), 0);
    EXPECT_EQ(program.output(),
              "---- 2026-11-21\n"
              "12:00:01.000000 > 03 06 00 64 00 2A 48 28   station 3 write holding register 100 (type 7 "
              "no. 100) = 0x002A (42)\n"
              "12:00:01.010000 < 03 06 00 64 00 2A 48 28   station 3: written, holding register 100 "
              "(type 7 no. 100) = 0x002A (42) [10.0 ms]\n");
}

TEST_F(TraceCommandTest, ShowsOnlyFailures) {
    Process &program = kelpo_trace({put("saved", saved), "--utc", "--failures"});
    EXPECT_EQ(program.exit_code(), 0);
    EXPECT_EQ(program.output(),
              "---- 2026-11-21\n"
              "12:00:00.000000 > 01 03 23 30 00 02 CF 80   station 1 read holding registers 9008..9009 "
              "(type 9 no. 8..9 or type 11 no. 508..509)\n"
              "12:00:00.010000 <                           no reply [10.0 ms]\n");
}

TEST_F(TraceCommandTest, ASavedTraceTakesNoLine) {
    Process &program = kelpo_trace({put("saved", saved), "--line", "/dev/null"});
    EXPECT_EQ(program.exit_code(), 2);
    EXPECT_NE(program.output().find("is a saved trace; --line and --seconds go with a list"), std::string::npos)
        << program.output();
}

TEST_F(TraceCommandTest, ACaptureIsNamedAsSuch) {
    for (const std::string head : {"\xD4\xC3\xB2\xA1", "\xA1\xB2\x3C\x4D", "\x0A\x0D\x0D\x0A"}) {
        Process &program = kelpo_trace({put("line.pcap", head + "and more")});
        EXPECT_EQ(program.exit_code(), 2);
        EXPECT_NE(
            program.output().find("line.pcap: is a capture, for a protocol analyser; kelpo trace shows again what "
                                  "its option --to saved"),
            std::string::npos)
            << program.output();
    }
}

TEST_F(TraceCommandTest, AListNeedsALine) {
    const std::string list = put("list.toml", "[[variable]]\nname = \"v\"\nstation = 1\ntype = 7\naddress = \"100\"\n");
    Process &program = kelpo_trace({list, "--driver", DRIVER_FILE});
    EXPECT_EQ(program.exit_code(), 2) << program.output();
    EXPECT_NE(program.output().find("--line, or a line in the list, is required"), std::string::npos)
        << program.output();
}

TEST_F(TraceCommandTest, MistakesInAListAndOtherErrorsHaveTheirExitCodes) {
    EXPECT_EQ(kelpo_trace({put("wrong.toml", "lyne = 1\n"), "--driver", DRIVER_FILE}).exit_code(), 2);
    const std::string list = put("list.toml", "[[variable]]\nname = \"v\"\nstation = 1\ntype = 7\naddress = \"100\"\n");
    EXPECT_EQ(kelpo_trace({list, "--driver", "/no/such/driver"}).exit_code(), 3);
    EXPECT_EQ(kelpo_trace({list, "--driver", DRIVER_FILE, "--line", "/no/such/line"}).exit_code(), 4);
}

TEST_F(TraceCommandTest, TracesAListUntilInterrupted) {
    const std::string line = directory.file("line");
    Process controller({KELPO_PLC_PROGRAM, "--stations", "1", "--moment", "0", "--link", line},
                       directory.file("controller.txt"));
    ASSERT_TRUE(comes_true([&] { return std::filesystem::exists(line); })) << controller.output();
    const std::string list = put("list.toml", "[[variable]]\nname = \"v\"\nstation = 1\ntype = 7\naddress = \"100\"\n");
    Process &program = kelpo_trace({list, "--driver", DRIVER_FILE, "--line", line, "--reply-timeout", "5000"});
    ASSERT_TRUE(comes_true([&] {
        return program.output().find("station 1: holding register 100 (type 7 no. 100) = 0x0000 (0)") !=
               std::string::npos;
    })) << program.output();
    program.signal(SIGINT);
    EXPECT_EQ(program.exit_code(), 0);
    EXPECT_NE(program.output().find(" requests, 0 without a good reply\n"), std::string::npos);
}

}  // namespace

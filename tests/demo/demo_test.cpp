// The built programs together: the controller at one end of a pseudo-terminal, the host with the driver at the other.
#include "process.h"
#include "terminal_window.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <optional>

namespace {

// Well above what an answer takes on a busy machine; the exercises wait four times as long.
const char *const reply_timeout = "2000";

class DemoTest : public testing::Test {
protected:
    TemporaryDirectory directory;
    const std::string line = directory.file("line");
    const std::string memory = directory.file("memory");

    std::optional<Process> controller;

    void SetUp() override {
        std::vector<std::string> command = {KELPO_PLC_PROGRAM, "--stations", stations(), "--moment", "2000",
                                            "--link",          line,         "--memory", memory};
        for (const std::string &fault : faults())
            command.insert(command.end(), {"--fault", fault});
        controller.emplace(command, directory.file("controller.txt"));
        ASSERT_TRUE(comes_true([&] { return std::filesystem::exists(line) && std::filesystem::exists(memory); }))
            << controller->output();
    }

    virtual const char *stations() const {
        return "1,2,3";
    }

    // What the demonstration's exercises expect.
    virtual std::vector<std::string> faults() const {
        return {"no-reply station=3 function=3 address=9008 every=2", "no-reply station=3 function=16 address=9060"};
    }

    std::vector<std::string> demo(const std::vector<std::string> &more, const std::string &driver = DRIVER_FILE) const {
        std::vector<std::string> command = {KELPO_DEMO_PROGRAM, "--line", line, "--memory", memory, "--driver", driver};
        command.insert(command.end(), more.begin(), more.end());
        return command;
    }

    std::string output_file() const {
        return directory.file("demo.txt");
    }
};

bool contains(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

// True once a number other than 0 comes after `name`.
bool counts_any(const std::string &text, const std::string &name) {
    for (std::size_t at = text.find(name); at != std::string::npos; at = text.find(name, at + 1))
        if (at + name.size() < text.size() && text[at + name.size()] >= '1' && text[at + name.size()] <= '9')
            return true;
    return false;
}

TEST_F(DemoTest, FindsEverythingRight) {
    // It waits for 20 of these: for replies that do not come, and in case they come late.
    const char *const time_out = "800";
    Process host(demo({"--until-proven", "--seconds", "100", "--reply-timeout", time_out}), output_file());
    EXPECT_EQ(host.exit_code(), 0) << host.output();
    const std::string output = host.output();
    EXPECT_TRUE(contains(output, "given up 1 (1 on purpose)\n")) << output;
    EXPECT_TRUE(contains(output, "wrong 0, ")) << output;
    EXPECT_TRUE(contains(output, "57 of 57 moving ones changed")) << output;
    EXPECT_TRUE(contains(output, "writes     35 of 35 done")) << output;
    EXPECT_TRUE(contains(output, "read-only  1 of 1 refused")) << output;
    EXPECT_TRUE(contains(output, "once-reads 6 of 6 right")) << output;
    EXPECT_TRUE(contains(output, "station    1 of 1 at rest")) << output;
    EXPECT_TRUE(contains(output, "retries    1 of 1 answered")) << output;
    EXPECT_TRUE(contains(output, "give-ups   1 of 1 given up")) << output;
    EXPECT_TRUE(contains(output, "verdict    every value shown was what the controller held, and every exercise was "
                                 "right\n"))
        << output;
    EXPECT_FALSE(contains(output, "\x1b")) << output;
}

TEST_F(DemoTest, NoticesADriverThatGivesOneWrongValue) {
    Process host(demo({"--keep"}, WRONG_VALUE_DRIVER_FILE), output_file());
    ASSERT_TRUE(comes_true([&] { return counts_any(host.output(), "wrong "); })) << host.output();
    host.signal(SIGINT);
    EXPECT_EQ(host.exit_code(), 1) << host.output();
    const std::string output = host.output();
    EXPECT_TRUE(contains(output, "wrong      plant number (station 1, type 7, address 3) showed 1002, "
                                 "the controller held 1003"))
        << output;
    EXPECT_TRUE(contains(output, "verdict    FAILED: ")) << output;
    EXPECT_TRUE(contains(output, " values shown were wrong")) << output;
}

TEST_F(DemoTest, NoticesADriverThatWritesWrongly) {
    Process host(demo({"--keep", "--reply-timeout", reply_timeout}, WRONG_WRITE_DRIVER_FILE), output_file());
    const std::string altered = "write tank setpoint (station 2, type 9, address 100) = 5005: ";
    const std::string missing = "write tank limits (station 3, type 10, address 100) = 11 22 33: ";
    ASSERT_TRUE(comes_true([&] { return contains(host.output(), missing); })) << host.output();
    host.signal(SIGINT);
    EXPECT_EQ(host.exit_code(), 1) << host.output();
    const std::string output = host.output();
    EXPECT_TRUE(contains(output, "wrong      " + altered +
                                     "the controller's log has 0 -> 5004 in register 9100 of station 2\n"))
        << output;
    EXPECT_TRUE(contains(output, "wrong      " + missing + "the driver reported the results none\n")) << output;
    EXPECT_TRUE(contains(output, "2 exercises were not right")) << output;
}

TEST_F(DemoTest, NoticesAControllerWhoseValuesStopMoving) {
    Process still({KELPO_PLC_PROGRAM, "--stations", "1,2,3", "--moment", "0", "--link", directory.file("still"),
                   "--memory", directory.file("still memory")},
                  directory.file("still.txt"));
    ASSERT_TRUE(comes_true([&] { return std::filesystem::exists(directory.file("still")); }));
    Process host({KELPO_DEMO_PROGRAM, "--line", directory.file("still"), "--memory", directory.file("still memory"),
                  "--driver", DRIVER_FILE, "--seconds", "2"},
                 output_file());
    EXPECT_EQ(host.exit_code(), 1) << host.output();
    EXPECT_TRUE(contains(host.output(), "57 moving variables never changed")) << host.output();
}

TEST_F(DemoTest, EndsCleanlyWhenInterrupted) {
    Process host(demo({"--keep"}), output_file());
    ASSERT_TRUE(comes_true([&] { return counts_any(host.output(), "passes "); })) << host.output();
    host.signal(SIGINT);
    EXPECT_GE(host.exit_code(), 0);
    EXPECT_TRUE(contains(host.output(), "verdict    ")) << host.output();
}

TEST_F(DemoTest, EndsWhenTheControllerIsGone) {
    Process host(demo({"--keep"}), output_file());
    ASSERT_TRUE(comes_true([&] { return contains(host.output(), "; passes "); })) << host.output();
    controller->signal(SIGKILL);
    EXPECT_EQ(host.exit_code(), 4) << host.output();
    EXPECT_TRUE(contains(host.output(), "FAILED: the line failed (" + line + ": ")) << host.output();
}

TEST_F(DemoTest, NamesWhatItCannotOpen) {
    Process no_driver(demo({}, "/nowhere/driver.so"), directory.file("no driver.txt"));
    EXPECT_EQ(no_driver.exit_code(), 3);
    EXPECT_TRUE(contains(no_driver.output(), "/nowhere/driver.so")) << no_driver.output();

    Process no_line({KELPO_DEMO_PROGRAM, "--line", "/nowhere/tty", "--memory", memory, "--driver", DRIVER_FILE},
                    directory.file("no line.txt"));
    EXPECT_EQ(no_line.exit_code(), 4);
    EXPECT_TRUE(contains(no_line.output(), "/nowhere/tty")) << no_line.output();

    Process no_memory({KELPO_DEMO_PROGRAM, "--line", line, "--memory", "/nowhere/memory", "--driver", DRIVER_FILE},
                      directory.file("no memory.txt"));
    EXPECT_EQ(no_memory.exit_code(), 6);
    EXPECT_TRUE(contains(no_memory.output(), "/nowhere/memory")) << no_memory.output();

    Process unknown_option({KELPO_DEMO_PROGRAM, "--unknown"}, directory.file("unknown option.txt"));
    EXPECT_EQ(unknown_option.exit_code(), 2);
}

TEST_F(DemoTest, ShowsTheScreenOfPollOnATerminal) {
    const TerminalWindow window(directory,
                                in_shell_quotes(demo({"--keep"})) + "; echo \"ended with $?\"; read -r line");
    ASSERT_TRUE(window.comes_to_show("1-3 ok")) << window.shown();
    ASSERT_TRUE(window.comes_to_show(": right")) << window.shown();
    EXPECT_TRUE(contains(window.shown(), "kelpo-demo: 62 variables in 44 blocks of 3 stations")) << window.shown();
    EXPECT_TRUE(contains(window.shown(), " st name ")) << window.shown();
    window.type("q");
    ASSERT_TRUE(window.comes_to_show("ended with ")) << window.shown();
    EXPECT_TRUE(contains(window.shown(), "verdict ")) << window.shown();
}

class DemoWithoutFaults : public DemoTest {
protected:
    std::vector<std::string> faults() const override {
        return {};
    }
};

TEST_F(DemoWithoutFaults, NoticesThatAnExpectedFailureDidNotHappen) {
    Process host(demo({"--keep", "--reply-timeout", reply_timeout}), output_file());
    ASSERT_TRUE(comes_true([&] { return contains(host.output(), "write without an answer, "); })) << host.output();
    host.signal(SIGINT);
    EXPECT_EQ(host.exit_code(), 1) << host.output();
    const std::string output = host.output();
    EXPECT_TRUE(contains(output, "retries    0 of 1 answered")) << output;
    EXPECT_TRUE(contains(output, "give-ups   0 of 1 given up")) << output;
}

class DemoWithoutStation3 : public DemoTest {
protected:
    const char *stations() const override {
        return "1,2";
    }
};

TEST_F(DemoWithoutStation3, NoticesThatRequestsAreGivenUp) {
    Process host(demo({"--keep", "--reply-timeout", "20"}), output_file());
    ASSERT_TRUE(comes_true([&] { return counts_any(host.output(), "given up "); })) << host.output();
    host.signal(SIGINT);
    EXPECT_EQ(host.exit_code(), 1) << host.output();
    EXPECT_TRUE(contains(host.output(), " requests were given up")) << host.output();
}

}  // namespace

#include "common/command_line.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

enum class Colour { red, green };

// A program with a command `read` and a command `write`, and options of all kinds.
class CommandLineTest : public testing::Test {
protected:
    CommandLineTest() : line_("Does things.", "tool", "1.2") {
        common::Command program = line_.command();
        program.require_subcommand();
        common::Command read = program.add_subcommand("read", "Reads");
        read.add_option("--speed", speed, "How fast").range(1, 9);
        read.add_option("--colour", colour, {{"red", Colour::red}, {"green", Colour::green}}, "Which");
        read.callback([this] { called = "read"; });
        common::Command write = program.add_subcommand("write", "Writes");
        write.callback([] { throw common::UsageError("nothing to write"); });
        common::Command other = program.add_subcommand("other", "Another program");
        other.pass_on([this](const std::vector<std::string> &words) { passed = words; });
    }

    // The program's exit code.
    std::optional<int> parse(const std::vector<std::string> &arguments) {
        return line_.parse(arguments, out, error);
    }

    std::string refusal(const std::vector<std::string> &arguments) {
        EXPECT_EQ(parse(arguments), 2);
        EXPECT_EQ(out.str(), "");
        return error.str();
    }

    std::optional<int> speed;
    std::optional<Colour> colour;
    std::string called;
    std::vector<std::string> passed;
    std::ostringstream out;
    std::ostringstream error;

private:
    common::CommandLine line_;
};

TEST_F(CommandLineTest, FillsTheOptionsAndCallsTheCommand) {
    EXPECT_EQ(parse({"read", "--colour", "green", "--speed=7"}), std::nullopt);
    EXPECT_EQ(called, "read");
    EXPECT_EQ(speed, 7);
    EXPECT_EQ(colour, Colour::green);
}

TEST_F(CommandLineTest, HelpAndVersionEndWell) {
    EXPECT_EQ(parse({"--version"}), 0);
    EXPECT_EQ(out.str(), "tool 1.2\n");
    EXPECT_EQ(parse({"read", "--help"}), 0);
    EXPECT_NE(out.str().find("--speed"), std::string::npos);
    EXPECT_EQ(error.str(), "");
}

TEST_F(CommandLineTest, AnUnknownCommandSuggestsWhatWasMeant) {
    EXPECT_EQ(refusal({"red"}), "tool: there is no command red; read was meant\n");
}

TEST_F(CommandLineTest, AnUnknownCommandUnlikeAllOthersListsThem) {
    EXPECT_EQ(refusal({"xyzzy"}), "tool: there is no command xyzzy; there are read, write, other\n");
}

TEST_F(CommandLineTest, AnUnknownOptionSuggestsWhatWasMeant) {
    EXPECT_EQ(refusal({"read", "--sped", "4"}), "tool: there is no option --sped; --speed was meant\n");
}

TEST_F(CommandLineTest, AnUnknownOptionIsNamedWithoutItsValue) {
    EXPECT_EQ(refusal({"read", "--color=red"}), "tool: there is no option --color; --colour was meant\n");
}

TEST_F(CommandLineTest, AnUnknownWordSuggestsWhatWasMeant) {
    EXPECT_EQ(refusal({"read", "--colour", "rad"}), "tool: --colour: there is no rad; red was meant\n");
}

TEST_F(CommandLineTest, WhatNothingTakesIsNamed) {
    EXPECT_EQ(refusal({"read", "more"}), "tool: nothing takes the argument more\n");
}

TEST_F(CommandLineTest, WhatACommandRefusesIsReportedInOneLine) {
    EXPECT_EQ(refusal({"write"}), "tool: nothing to write\n");
}

TEST_F(CommandLineTest, ANumberOutOfItsRangeIsRefused) {
    EXPECT_EQ(refusal({"read", "--speed", "10"}), "tool: --speed: Value 10 not in range 1 to 9\n");
    EXPECT_EQ(called, "");
}

TEST_F(CommandLineTest, WhatIsPassedOnIsNotLookedAt) {
    EXPECT_EQ(parse({"other", "--help", "--speed", "x"}), std::nullopt);
    EXPECT_EQ(passed, (std::vector<std::string>{"--help", "--speed", "x"}));
}

}  // namespace

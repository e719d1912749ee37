// kelpo poll as a user has it: in a terminal, and in a pipe, with a controller on the other end of the line.
#include "process.h"
#include "pseudo_terminal.h"
#include "terminal_window.h"

#include "plc/memory/memory_reader.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using testing::HasSubstr;

bool contains(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

// Stays 0 until it is written.
constexpr unsigned level_register = 200;

const char *const variables = "[[variable]]\n"
                              "name = \"tank level\"\n"
                              "station = 1\n"
                              "type = 7\n"
                              "address = \"200\"\n"
                              "\n"
                              "[[variable]]\n"
                              "name = \"boiler counter\"\n"
                              "station = 2\n"
                              "type = 7\n"
                              "address = \"4\"\n"
                              "count = 2\n"
                              "view = \"unsigned32\"\n"
                              "\n";

const char *const mixer = "[[variable]]\n"
                          "name = \"mixer speed\"\n"
                          "station = 3\n"
                          "type = 7\n"
                          "address = \"10\"\n";

/// A controller with stations 1 and 2, and a list that may name a station 3 as well.
class PollProgramTest : public testing::Test {
protected:
    TemporaryDirectory directory;
    const std::string line = directory.file("line");
    const std::string memory = directory.file("memory");
    const std::string list = directory.file("plant.toml");
    std::unique_ptr<Process> controller;

    void start_controller(const std::vector<std::string> &more = {}) {
        std::vector<std::string> command{KELPO_PLC_PROGRAM, "--stations", "1,2",      "--link", line,
                                         "--memory",        memory,       "--moment", "500"};
        command.insert(command.end(), more.begin(), more.end());
        controller = std::make_unique<Process>(command, directory.file("controller.txt"));
        ASSERT_TRUE(comes_true([this] { return std::filesystem::exists(line) && std::filesystem::exists(memory); }))
            << controller->output();
    }

    // The link is removed first: the system may give the terminal's number to another program.
    void kill_controller() {
        std::filesystem::remove(line);
        controller->signal(SIGKILL);
        controller->exit_code();
        std::filesystem::remove(memory);
    }

    // The wait for a reply is longer than a busy machine takes; for one that never comes, not as long.
    void write_list(const std::string &content, int reply_milliseconds) const {
        std::ofstream(list) << "[line]\npath = \"" << line << "\"\n\n[timeouts]\nreply-ms = " << reply_milliseconds
                            << "\n\n[link]\nretries = 1\n\n"
                            << content;
    }

    std::vector<std::string> poll(const std::vector<std::string> &more) const {
        std::vector<std::string> command = {KELPO_PROGRAM, "poll", list, "--driver", DRIVER_FILE};
        command.insert(command.end(), more.begin(), more.end());
        return command;
    }

    std::optional<unsigned> level_held() const {
        const plc::MemoryReader reader = plc::MemoryReader::open(memory);
        return reader.holding_register(1, level_register, reader.moment());
    }

    std::string output_file() const {
        return directory.file("poll.txt");
    }
};

class PollScreenTest : public PollProgramTest {
protected:
    std::optional<TerminalWindow> window;

    // Afterwards the terminal shows the exit code, and whether it echoes what is typed.
    void open(const std::vector<std::string> &more) {
        window.emplace(directory, in_shell_quotes(poll(more)) +
                                      "; echo \"ended with $?\"; stty -a | grep -o ' -*echo '; read -r line");
    }
};

TEST_F(PollScreenTest, ShowsValuesAndAStationThatIsDownAndWritesByKeys) {
    start_controller();
    write_list(std::string(variables) + mixer, 2000);
    open({});
    ASSERT_TRUE(window->comes_to_show("3 DOWN")) << window->shown();
    ASSERT_TRUE(window->comes_to_show("1 2 ok")) << window->shown();
    const std::string shown = window->shown();
    EXPECT_THAT(shown, HasSubstr("kelpo poll plant.toml  3 variables in 3 blocks"));
    EXPECT_THAT(shown, testing::ContainsRegex(">    1 tank level     7:200 +0 "));
    EXPECT_THAT(shown, testing::ContainsRegex(" D   3 mixer speed    7:10 +- "));
    EXPECT_THAT(shown, HasSubstr("q quit  space pause  w write"));

    window->type("w");
    ASSERT_TRUE(window->comes_to_show("write tank level (-32768 to 65535):")) << window->shown();
    window->type("350");
    window->press({"Enter"});
    ASSERT_TRUE(window->comes_to_show("write tank level = 350: done")) << window->shown();
    EXPECT_EQ(level_held(), 350U);
    ASSERT_TRUE(comes_true([this] {
        return testing::Value(window->shown(), testing::ContainsRegex("1 tank level     7:200 +350 "));
    })) << window->shown();

    window->type("q");
    ASSERT_TRUE(window->comes_to_show("ended with 8")) << window->shown();
    EXPECT_THAT(window->shown(), HasSubstr("station    3 does not answer: no reply"));
    EXPECT_THAT(window->shown(), HasSubstr("writes     1 done, 0 failed"));
    EXPECT_TRUE(window->comes_to_show("\n echo")) << window->shown();
}

TEST_F(PollScreenTest, SaysWhyARefusedVariableIsNotReadAndThatItsStationRefuses) {
    start_controller({"--fault", "exception station=2 code=2"});
    write_list(variables, 10000);
    open({});
    ASSERT_TRUE(window->comes_to_show("stations  2 refusing, 1 of 1 block refused: illegal data address (exception 2)"))
        << window->shown();
    ASSERT_TRUE(window->comes_to_show(" E   2 boiler counter")) << window->shown();
    window->press({"Down"});
    ASSERT_TRUE(window->comes_to_show("boiler counter: refused: illegal data address (exception 2)"))
        << window->shown();
    window->type("q");
    ASSERT_TRUE(window->comes_to_show("ended with 9")) << window->shown();
    EXPECT_THAT(window->shown(), HasSubstr("station    2 refusing, 1 of 1 block refused: illegal data address"));
    EXPECT_THAT(window->shown(), HasSubstr("never read boiler counter: refused"));
}

TEST_F(PollScreenTest, SearchesPausesShowsTheTraceAndHelp) {
    start_controller();
    write_list(variables, 10000);
    open({});
    ASSERT_TRUE(window->comes_to_show("1-2 of 2")) << window->shown();
    window->type("/count");
    ASSERT_TRUE(window->comes_to_show("find \"count\" 1-1 of 1")) << window->shown();
    window->press({"Enter"});
    EXPECT_FALSE(contains(window->shown(), "tank level")) << window->shown();
    window->press({"Escape"});
    ASSERT_TRUE(window->comes_to_show("1-2 of 2")) << window->shown();

    window->type("t");
    ASSERT_TRUE(window->comes_to_show("trace, newest last")) << window->shown();
    ASSERT_TRUE(window->comes_to_show("holding registers")) << window->shown();
    window->type("t");
    ASSERT_TRUE(comes_true([this] { return !contains(window->shown(), "trace, newest last"); })) << window->shown();

    window->type("?");
    ASSERT_TRUE(window->comes_to_show("Any key goes back.")) << window->shown();
    window->type("x");
    window->type(" ");
    ASSERT_TRUE(window->comes_to_show(" PAUSED ")) << window->shown();
    window->type("p");
    ASSERT_TRUE(comes_true([this] { return !contains(window->shown(), "PAUSED"); })) << window->shown();

    // So wide that the right end of the title says so.
    window->resize(120, 30);
    ASSERT_TRUE(comes_true([this] {
        const std::string shown = window->shown();
        return shown.substr(0, shown.find('\n')).size() > 100;
    })) << window->shown();

    window->press({"C-c"});
    ASSERT_TRUE(window->comes_to_show("ended with 0")) << window->shown();
    EXPECT_THAT(window->shown(), HasSubstr("exchanges  "));
    EXPECT_TRUE(window->comes_to_show("\n echo")) << window->shown();
}

TEST_F(PollScreenTest, SwitchesAStationOffAndOnAndKeepsWritesFromIt) {
    start_controller();
    write_list(variables, 10000);
    open({});
    ASSERT_TRUE(window->comes_to_show("1 2 ok")) << window->shown();
    window->type("s");
    ASSERT_TRUE(window->comes_to_show("station 1 switched off")) << window->shown();
    ASSERT_TRUE(window->comes_to_show(">O   1 tank level")) << window->shown();
    EXPECT_THAT(window->shown(), HasSubstr("stations  1 off  2 ok"));
    window->type("w7");
    window->press({"Enter"});
    ASSERT_TRUE(window->comes_to_show("tank level: not written, station 1 is switched off")) << window->shown();
    window->type("s");
    ASSERT_TRUE(window->comes_to_show("station 1 switched on")) << window->shown();
    ASSERT_TRUE(window->comes_to_show("stations  1 2 ok")) << window->shown();
    EXPECT_EQ(level_held(), 0U);
}

class PollRecordsTest : public PollProgramTest {
protected:
    std::string records() const {
        std::ifstream file(output_file());
        return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }

    // `command` with its standard input from a pipe with a name, which stays open as long as the descriptor.
    std::vector<std::string> with_input(const std::vector<std::string> &command) const {
        return {"/bin/sh", "-c", "exec " + in_shell_quotes(command) + "<'" + directory.file("input") + "'"};
    }
};

TEST_F(PollRecordsTest, PrintValuesAndEndWithASummaryWhenTerminated) {
    start_controller();
    write_list(variables, 10000);
    Process host(poll({"--format", "json"}), output_file());
    ASSERT_TRUE(comes_true([&] {
        return contains(host.output(),
                        R"("name":"tank level","station":1,"type":7,"address":"200","count":1,"values":[0])");
    })) << host.output();
    // A counter: its next values follow.
    ASSERT_TRUE(comes_true([&] {
        const std::string text = host.output();
        const std::size_t first = text.find("boiler counter");
        return first != std::string::npos && text.find("boiler counter", first + 1) != std::string::npos;
    })) << host.output();
    host.signal(SIGTERM);
    EXPECT_EQ(host.exit_code(), 0) << host.output();
    EXPECT_THAT(host.output(), HasSubstr("\nexchanges  "));
}

TEST_F(PollRecordsTest, PrintAllValuesAgainAndAgainWhenAskedTo) {
    start_controller();
    write_list(variables, 10000);
    Process host(poll({"--format", "csv", "--every", "10"}), output_file());
    ASSERT_TRUE(comes_true([&] {
        const std::string text = host.output();
        const std::size_t first = text.find(",value,tank level,1,7,200,1,0,good,");
        return first != std::string::npos &&
               text.find(",value,tank level,1,7,200,1,0,good,", first + 1) != std::string::npos;
    })) << host.output();
    EXPECT_EQ(host.output().rfind("time,kind,name,station,type,address,count,text,quality,read_at\n", 0), 0U)
        << host.output();
    host.signal(SIGINT);
    EXPECT_EQ(host.exit_code(), 0) << host.output();
}

TEST_F(PollRecordsTest, ReportThatTheLineIsLostAndKeepWritesUntilItIsBack) {
    start_controller();
    write_list(variables, 3000);  // the new line is listened to for longer
    ASSERT_EQ(mkfifo(directory.file("input").c_str(), 0600), 0);
    // Open for both, so that neither side waits for the other.
    const int input = open(directory.file("input").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(input, 0);
    Process host(with_input(poll({"--format", "json", "--writes", "--within", "10min"})), output_file());
    ASSERT_TRUE(comes_true([&] { return contains(host.output(), "\"name\":\"tank level\""); })) << host.output();

    kill_controller();
    ASSERT_TRUE(comes_true([&] { return contains(host.output(), "\"kind\":\"line-lost\""); })) << host.output();
    const std::string write = "tank level = 77\nno such = 1\n";
    ASSERT_EQ(::write(input, write.data(), write.size()), static_cast<ssize_t>(write.size()));
    ASSERT_TRUE(comes_true([&] {
        return contains(host.output(), R"("kind":"write-refused","text":"no variable \"no such\" in the list")");
    })) << host.output();
    EXPECT_FALSE(contains(host.output(), "write-done"));

    start_controller();
    ASSERT_TRUE(comes_true([&] { return contains(host.output(), "\"kind\":\"line-back\""); })) << host.output();
    ASSERT_TRUE(comes_true([&] {
        return contains(host.output(), R"("kind":"write-done","name":"tank level","station":1,"type":7,)"
                                       R"("address":"200","count":1,"text":"77")");
    })) << host.output();
    EXPECT_EQ(level_held(), 77U);
    EXPECT_EQ(plc::MemoryReader::open(memory).writes_logged(), 1U);
    host.signal(SIGTERM);
    EXPECT_EQ(host.exit_code(), 0) << host.output();
    close(input);
}

TEST_F(PollRecordsTest, NeverSendAWriteThatIsLate) {
    start_controller();
    write_list(variables, 10000);
    ASSERT_EQ(mkfifo(directory.file("input").c_str(), 0600), 0);
    const int input = open(directory.file("input").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(input, 0);
    Process host(with_input(poll({"--format", "json", "--writes", "--within", "50ms"})), output_file());
    ASSERT_TRUE(comes_true([&] { return contains(host.output(), "\"name\":\"tank level\""); })) << host.output();
    kill_controller();
    ASSERT_TRUE(comes_true([&] { return contains(host.output(), "\"kind\":\"line-lost\""); })) << host.output();
    const std::string write = "tank level = 77\n";
    ASSERT_EQ(::write(input, write.data(), write.size()), static_cast<ssize_t>(write.size()));
    ASSERT_TRUE(comes_true([&] {
        return contains(host.output(), R"("kind":"write-expired","name":"tank level","station":1,"type":7,)"
                                       R"("address":"200","count":1,)"
                                       R"("text":"not sent within 50 ms, and not sent any more")");
    })) << host.output();

    start_controller();
    ASSERT_TRUE(comes_true([&] { return contains(host.output(), "\"kind\":\"line-back\""); })) << host.output();
    // The controller is asked as before; a write that waited would have been sent first.
    const std::size_t back = host.output().find("\"kind\":\"line-back\"");
    ASSERT_TRUE(comes_true([&] { return contains(host.output().substr(back), R"("quality":"good")"); }))
        << host.output();
    EXPECT_EQ(plc::MemoryReader::open(memory).writes_logged(), 0U);
    EXPECT_EQ(level_held(), 0U);
    host.signal(SIGTERM);
    constexpr int not_right = 1;
    EXPECT_EQ(host.exit_code(), not_right) << host.output();
    EXPECT_THAT(host.output(), HasSubstr("\nwrites     0 done, 0 failed, 1 expired\n"));
    EXPECT_FALSE(contains(host.output(), "write-done"));
    EXPECT_FALSE(contains(host.output(), "write-failed"));
    close(input);
}

// The test plays the controller: it takes the write, and goes away.
TEST_F(PollRecordsTest, DoNotSendAWriteAgainWhoseLineWasLost) {
    const std::string value("\x01\x03\x02\x00\x00\xB8\x44", 7);
    constexpr char reading = 3;
    auto terminal = std::make_unique<PseudoTerminal>();
    std::filesystem::create_symlink(terminal->path(), line);
    write_list("[[variable]]\nname = \"tank level\"\nstation = 1\ntype = 7\naddress = \"200\"\n", 2000);
    ASSERT_EQ(mkfifo(directory.file("input").c_str(), 0600), 0);
    const int input = open(directory.file("input").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(input, 0);
    Process host(with_input(poll({"--format", "json", "--writes"})), output_file());
    ASSERT_EQ(terminal->take(8)[1], reading);
    const std::string write = "tank level = 77\n";
    ASSERT_EQ(::write(input, write.data(), write.size()), static_cast<ssize_t>(write.size()));
    do
        terminal->put(value);
    while (terminal->take(8)[1] == reading);
    std::filesystem::remove(line);
    terminal->hang_up();
    ASSERT_TRUE(comes_true([&] { return contains(host.output(), "\"write-failed\""); })) << host.output();
    EXPECT_THAT(host.output(), HasSubstr(R"("text":"the line was lost: )"));
    EXPECT_THAT(host.output(), HasSubstr(R"(; it may have been written anyway"})"));

    PseudoTerminal again;
    std::filesystem::create_symlink(again.path(), line);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(again.take(8)[1], reading);
        again.put(value);
    }
    host.signal(SIGTERM);
    host.exit_code();
    EXPECT_FALSE(contains(host.output(), "write-done"));
    close(input);
}

TEST_F(PollRecordsTest, MarkValuesOfALostLineAndOfADeadStationAsBad) {
    start_controller();
    write_list(variables, 10000);
    Process host(poll({"--format", "json", "--every", "10"}), output_file());
    ASSERT_TRUE(comes_true([&] { return contains(host.output(), R"("name":"boiler counter")"); })) << host.output();
    kill_controller();
    ASSERT_TRUE(comes_true([&] { return contains(host.output(), "\"kind\":\"line-lost\""); })) << host.output();
    const std::size_t lost = host.output().find("\"kind\":\"line-lost\"");
    ASSERT_TRUE(comes_true([&] { return contains(host.output().substr(lost), R"("name":"boiler counter")"); }))
        << host.output();
    const std::string after = host.output().substr(lost);
    EXPECT_FALSE(contains(after, R"("quality":"good")")) << after;
    EXPECT_TRUE(contains(after, R"("quality":"bad","read_at":"20)")) << after;
    host.signal(SIGTERM);
    host.exit_code();
}

TEST_F(PollRecordsTest, ReportThatAValueIsBadAlsoWhenItDoesNotChange) {
    start_controller();
    write_list(variables, 10000);
    Process host(poll({"--format", "csv"}), output_file());
    ASSERT_TRUE(comes_true([&] { return contains(host.output(), ",value,tank level,1,7,200,1,0,good,"); }))
        << host.output();
    kill_controller();
    ASSERT_TRUE(comes_true([&] { return contains(host.output(), ",value,tank level,1,7,200,1,0,bad,"); }))
        << host.output();
    start_controller();
    ASSERT_TRUE(comes_true([&] {
        const std::string text = host.output();
        const std::size_t bad = text.find(",value,tank level,1,7,200,1,0,bad,");
        return text.find(",value,tank level,1,7,200,1,0,good,", bad) != std::string::npos;
    })) << host.output();
    host.signal(SIGTERM);
    host.exit_code();
}

TEST_F(PollRecordsTest, NeverShowAValueThatWasWrittenAndNotRead) {
    start_controller(
        {"--fault", "exception station=1 function=6 code=2", "--fault", "exception station=1 function=16 code=2"});
    write_list(variables, 10000);
    ASSERT_EQ(mkfifo(directory.file("input").c_str(), 0600), 0);
    const int input = open(directory.file("input").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(input, 0);
    Process host(with_input(poll({"--format", "json", "--writes"})), output_file());
    ASSERT_TRUE(comes_true([&] { return contains(host.output(), "\"name\":\"tank level\""); })) << host.output();
    constexpr int writes = 20;
    for (int i = 1; i <= writes; ++i) {
        const std::string write = "tank level = " + std::to_string(5000 + i) + "\n";
        ASSERT_EQ(::write(input, write.data(), write.size()), static_cast<ssize_t>(write.size()));
        ASSERT_TRUE(comes_true([&] {
            const std::string text = host.output();
            int failed = 0;
            for (std::size_t at = text.find("\"write-failed\""); at != std::string::npos;
                 at = text.find("\"write-failed\"", at + 1))
                ++failed;
            return failed == i;
        })) << host.output();
    }
    host.signal(SIGTERM);
    host.exit_code();
    EXPECT_FALSE(contains(host.output(), R"("values":[50)")) << host.output();
    close(input);
}

TEST_F(PollRecordsTest, NameWhatWasNeverRead) {
    start_controller();
    write_list(std::string(variables) + mixer, 2000);
    Process host(poll({"--format", "json"}), output_file());
    ASSERT_TRUE(comes_true([&] { return contains(host.output(), R"("kind":"station-down","station":3)"); }))
        << host.output();
    host.signal(SIGTERM);
    host.exit_code();
    EXPECT_THAT(host.output(), HasSubstr("\nnever read mixer speed: no reply\n"));
    EXPECT_FALSE(contains(host.output(), "never read tank level"));
}

TEST_F(PollRecordsTest, ReadABitWhoseAddressTheDriverTakes) {
    start_controller();
    write_list("[[variable]]\nname = \"valve\"\nstation = 1\ntype = 15\naddress = \"+200.4\"\n", 10000);
    Process host(poll({"--format", "csv"}), output_file());
    ASSERT_TRUE(comes_true([&] { return contains(host.output(), ",value,valve,1,15,+200.4,1,0,good,"); }))
        << host.output();
    host.signal(SIGTERM);
    EXPECT_EQ(host.exit_code(), 0) << host.output();
}

TEST_F(PollRecordsTest, TakeALastLineThatHasNoEnd) {
    start_controller();
    write_list(variables, 10000);
    std::ofstream(directory.file("input")) << "tank level = 76\ntank level = 77";
    Process host(with_input(poll({"--format", "json", "--writes"})), output_file());
    ASSERT_TRUE(comes_true([&] { return contains(host.output(), R"("count":1,"text":"77"})"); })) << host.output();
    EXPECT_EQ(level_held(), 77U);
    host.signal(SIGTERM);
    EXPECT_EQ(host.exit_code(), 0) << host.output();
}

TEST_F(PollRecordsTest, WriteNothingOfALineThatIsTooLong) {
    start_controller();
    write_list(variables, 10000);
    // If it was cut, the rest would be a write.
    std::ofstream(directory.file("input")) << "tank level = 7" << std::string(5000, ' ') << "7\ntank level = 5\n";
    Process host(with_input(poll({"--format", "json", "--writes"})), output_file());
    ASSERT_TRUE(comes_true([&] { return contains(host.output(), R"("count":1,"text":"5"})"); })) << host.output();
    EXPECT_THAT(host.output(), HasSubstr(R"("kind":"write-refused","text":"\"tank level = 7 )"));
    EXPECT_THAT(host.output(), HasSubstr(" is longer than 4096 bytes, and nothing of it is written"));
    EXPECT_EQ(plc::MemoryReader::open(memory).writes_logged(), 1U);
    host.signal(SIGTERM);
    EXPECT_EQ(host.exit_code(), 0) << host.output();
}

TEST_F(PollRecordsTest, GoOnWithoutATerminalWhenStartedSo) {
    start_controller();
    write_list(variables, 10000);
    Process host({"/bin/sh", "-c", "trap '' HUP; exec " + in_shell_quotes(poll({"--format", "json"}))}, output_file());
    ASSERT_TRUE(comes_true([&] { return contains(host.output(), "boiler counter"); })) << host.output();
    host.signal(SIGHUP);
    // What follows is more than it could have reported at its end.
    const std::size_t before = host.output().size();
    ASSERT_TRUE(comes_true([&] {
        const std::string text = host.output();
        std::size_t at = before;
        for (int values = 0; values < 3 && at != std::string::npos; ++values)
            at = text.find("boiler counter", at + 1);
        return at != std::string::npos;
    })) << host.output();
    host.signal(SIGTERM);
    EXPECT_EQ(host.exit_code(), 0) << host.output();
}

TEST_F(PollRecordsTest, EndQuietlyWhenTheyAreNoLongerRead) {
    start_controller();
    write_list(variables, 10000);
    Process host({"/bin/sh", "-c",
                  "{ " + in_shell_quotes(poll({"--format", "plain"})) + "2>'" + directory.file("errors") +
                      "'; echo $? >'" + directory.file("code") + "'; } | head -n 1"},
                 output_file());
    EXPECT_EQ(host.exit_code(), 0) << host.output();
    ASSERT_TRUE(comes_true([&] { return std::filesystem::exists(directory.file("code")); }));
    int code = -1;
    ASSERT_TRUE(comes_true([&] { return static_cast<bool>(std::ifstream(directory.file("code")) >> code); }));
    EXPECT_EQ(code, 0);
    EXPECT_EQ(std::filesystem::file_size(directory.file("errors")), 0U);
    EXPECT_THAT(host.output(), testing::ContainsRegex("tank level = 0|boiler counter = "));
}

TEST_F(PollRecordsTest, EndWithWhatIsWrongAtTheEnd) {
    start_controller();
    write_list(std::string(variables) + mixer, 2000);
    Process host(poll({"--format", "json"}), output_file());
    ASSERT_TRUE(comes_true([&] { return contains(host.output(), R"("kind":"station-down","station":3)"); }))
        << host.output();
    host.signal(SIGTERM);
    constexpr int no_reply = 8;
    EXPECT_EQ(host.exit_code(), no_reply) << host.output();
}

TEST_F(PollRecordsTest, NameWhatCannotBeUsed) {
    write_list(variables, 1000);
    Process no_line(poll({"--format", "json"}), directory.file("no line.txt"));
    EXPECT_EQ(no_line.exit_code(), 4) << no_line.output();
    EXPECT_THAT(no_line.output(), HasSubstr(line));

    Process no_driver({KELPO_PROGRAM, "poll", list, "--driver", "/nowhere/driver.so"}, directory.file("no driver.txt"));
    EXPECT_EQ(no_driver.exit_code(), 3) << no_driver.output();

    write_list("[[variable]]\nname = \"x\"\nstation = 1\ntype = 99\naddress = \"1\"\n", 1000);
    Process mistake(poll({"--format", "json"}), directory.file("mistake.txt"));
    EXPECT_EQ(mistake.exit_code(), 2) << mistake.output();
    EXPECT_THAT(mistake.output(), HasSubstr("plant.toml:"));

    Process no_format({KELPO_PROGRAM, "poll", list, "--format", "xml"}, directory.file("no format.txt"));
    EXPECT_EQ(no_format.exit_code(), 2) << no_format.output();
}

}  // namespace

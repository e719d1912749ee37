#include "host/trace/trace_run.h"

#include "host/frames/trace_file.h"

#include "process.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kelpo {
namespace {

using std::chrono::milliseconds;

std::string content(const std::string &file) {
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

void put(const std::string &file, const std::string &text) {
    std::ofstream(file, std::ios::binary) << text;
}

std::size_t times(const std::string &text, const std::string &part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

// Enough of what a test shows to see what went wrong.
std::string start_of(const std::string &text) {
    return text.substr(0, 2000);
}

const std::string saved = "# kelpo trace 1\n"
                          "# times are UTC; > sent, < received, ~ thrown away, * note\n"
                          "2026-11-21 12:00:00.000000 > 01 03 23 30 00 02 CF 80 | type=9 address=8 count=2 group=0 "
                          "id=-1\n"
                          "2026-11-21 12:00:00.010000 < 01 83 02 C0 F1 | type=9 address=8 count=2 group=0 id=-1\n";

const std::string whole_trace =
    "---- 2026-11-21\n"
    "12:00:00.000000 > 01 03 23 30 00 02 CF 80   station 1 read holding registers 9008..9009 "
    "(type 9 no. 8..9)\n"
    "12:00:00.010000 < 01 83 02 C0 F1            station 1 refuses: illegal data address "
    "(exception 2) [10.0 ms]\n";

class TraceRunTest : public testing::Test {
protected:
    TraceRunTest() {
        options.style.zone = TimeZone::utc;
    }

    ExitCode show(const std::string &text) {
        put(file, text);
        return show_trace(file, options, stop, out, error);
    }

    // In the folder of the test.
    std::ptrdiff_t files() const {
        return std::distance(std::filesystem::directory_iterator(directory.file("")), {});
    }

    TemporaryDirectory directory;
    const std::string file = directory.file("saved.trace");
    TraceOptions options;
    StopSignal stop;
    std::ostringstream out, error;
};

TEST_F(TraceRunTest, ASavedTraceIsShownAgain) {
    EXPECT_EQ(show(saved), ExitCode::all_well);
    EXPECT_EQ(out.str(), whole_trace);
    EXPECT_EQ(error.str(), "");
}

TEST_F(TraceRunTest, MistakesAreReportedAndTheRestIsShown) {
    EXPECT_EQ(show(saved + "2026-11-21 12:00:00.000000 x\n2026-11-21 12:00:01.000000 * end\n"), ExitCode::not_right);
    EXPECT_EQ(out.str(), whole_trace + "12:00:01.000000 * end\n");
    EXPECT_EQ(error.str(),
              "kelpo: " + file + ":5: \"x\" is not a direction; > sent, < received, ~ thrown away, * a note\n");
}

TEST_F(TraceRunTest, ASavedTraceIsSavedAgainWhateverIsShown) {
    options.filter.station = 7;
    options.to = directory.file("again.trace");
    options.pcap = directory.file("again.pcap");
    EXPECT_EQ(show(saved), ExitCode::all_well);
    EXPECT_EQ(out.str(), "");
    EXPECT_EQ(content(options.to), saved);
    EXPECT_EQ(content(options.pcap).size(), 24U + 16U + 56U + 8U + 16U + 56U + 5U);
}

TEST_F(TraceRunTest, AnotherKindOfFileIsNotOverwritten) {
    options.to = directory.file("list.toml");
    put(options.to, "[line]\n");
    EXPECT_EQ(show(saved), ExitCode::system);
    EXPECT_EQ(error.str(),
              "kelpo: " + options.to + " exists and holds no saved trace; name another file, or remove it\n");
    EXPECT_EQ(content(options.to), "[line]\n");
}

TEST_F(TraceRunTest, FilesThatCannotBeUsedAreReported) {
    EXPECT_EQ(show_trace(directory.file("none"), options, stop, out, error), ExitCode::system);
    EXPECT_EQ(error.str(), "kelpo: cannot read " + directory.file("none") + ": No such file or directory\n");
    error.str({});
    options.pcap = directory.file("no/such/folder");
    EXPECT_EQ(show(saved), ExitCode::system);
    EXPECT_EQ(error.str(), "kelpo: cannot write " + options.pcap + ": No such file or directory\n");
}

TEST_F(TraceRunTest, AnEarlierFileStaysUntilTheNewOneIsWhole) {
    options.to = directory.file("again.trace");
    const std::string earlier = "# kelpo trace 1\n2026-11-20 12:00:00.000000 * earlier\n";
    put(options.to, earlier);
    stop.raise();
    EXPECT_EQ(show(saved), ExitCode::not_right);
    EXPECT_EQ(error.str(), "kelpo: ended before everything was saved; no file was written\n");
    EXPECT_EQ(content(options.to), earlier);
    EXPECT_EQ(files(), 2);
}

TEST_F(TraceRunTest, AFileIsSavedWholeWhenNobodyReadsWhatIsShown) {
    options.to = directory.file("again.trace");
    out.setstate(std::ios::badbit);
    EXPECT_EQ(show(saved), ExitCode::all_well);
    EXPECT_EQ(content(options.to), saved);
}

TEST_F(TraceRunTest, ALinkIsNotFollowed) {
    options.to = directory.file("link.trace");
    for (const std::string target : {"earlier.trace", "nowhere"}) {
        std::filesystem::remove(options.to);
        std::filesystem::create_symlink(directory.file(target), options.to);
        put(directory.file("earlier.trace"), saved);
        error.str({});
        EXPECT_EQ(show(saved), ExitCode::system);
        EXPECT_EQ(error.str(), "kelpo: " + options.to + " is a link; name the file itself\n");
        EXPECT_EQ(content(directory.file("earlier.trace")), saved);
        EXPECT_FALSE(std::filesystem::exists(directory.file("nowhere")));
    }
}

TEST_F(TraceRunTest, WhatOthersMayNotReadOrWriteStaysSo) {
    options.to = directory.file("again.trace");
    put(options.to, saved);
    using std::filesystem::perms;
    std::filesystem::permissions(options.to, perms::owner_read | perms::owner_write);
    EXPECT_EQ(show(saved), ExitCode::all_well);
    EXPECT_EQ(std::filesystem::status(options.to).permissions(), perms::owner_read | perms::owner_write);
}

TEST_F(TraceRunTest, ADeviceIsWrittenToAsItIs) {
    options.to = "/dev/null";
    options.pcap = "/dev/full";
    EXPECT_EQ(show(saved), ExitCode::system);
    EXPECT_EQ(error.str(), "kelpo: cannot write /dev/full: No space left on device\n");
}

TEST_F(TraceRunTest, APipeWithoutAReaderBlocksNothing) {
    options.to = directory.file("pipe");
    ASSERT_EQ(mkfifo(options.to.c_str(), 0600), 0);
    EXPECT_EQ(show(saved), ExitCode::system);
    EXPECT_EQ(error.str(), "kelpo: cannot write " + options.to + ": No such device or address\n");

    const int reader = open(options.to.c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    EXPECT_EQ(show(saved), ExitCode::all_well);
    std::string got(saved.size() + 1, '\0');
    got.resize(static_cast<std::size_t>(std::max<ssize_t>(0, read(reader, got.data(), got.size()))));
    close(reader);
    EXPECT_EQ(got, saved);
}

TEST_F(TraceRunTest, OnlyASavedTraceIsTakenForOne) {
    put(file, saved);
    EXPECT_TRUE(is_trace_file(file));
    put(file, "# kelpo trace 99\n");
    EXPECT_TRUE(is_trace_file(file)) << "so that its version is refused, in words";
    put(file, "# kelpo\n");
    EXPECT_FALSE(is_trace_file(file));
    EXPECT_FALSE(is_trace_file(directory.file("none")));
}

// The driver and the simulated controller on a pseudo-terminal.
class TraceLineTest : public TraceRunTest {
protected:
    TraceLineTest() {
        list.link.line.path = directory.file("line");
        list.link.timeouts = {milliseconds(2000), milliseconds(1000), milliseconds(10)};
        list.link.retries = 0;
        options.to = directory.file("live.trace");
    }

    void start_controller(const std::vector<std::string> &more) {
        std::vector<std::string> command = {KELPO_PLC_PROGRAM, "--moment", "0", "--link", list.link.line.path};
        command.insert(command.end(), more.begin(), more.end());
        controller.emplace(command, directory.file("controller.txt"));
        ASSERT_TRUE(comes_true([&] { return std::filesystem::exists(list.link.line.path); })) << controller->output();
    }

    void poll(int station, int type, const std::string &address, int count) {
        list.variables.push_back({"v", station, type, address, count, default_view(type)});
    }

    // Until `part` was saved the given number of times.
    ExitCode trace_until(const std::string &part, std::size_t often) {
        bool came = false;
        std::thread watcher([&] {
            came = comes_true([&] { return times(content(options.to), part) >= often; });
            stop.raise();
        });
        const ExitCode code = trace_line(driver, list, options, {}, stop, out, error);
        watcher.join();
        EXPECT_TRUE(came) << start_of(out.str()) << error.str();
        return code;
    }

    PollList list;
    Driver driver{DRIVER_FILE};
    std::optional<Process> controller;
};

TEST_F(TraceLineTest, EveryFrameIsShownAndSaved) {
    start_controller({"--stations", "1"});
    poll(1, 9, "108", 2);
    EXPECT_EQ(trace_until("< 01 03 04 00 00 00 00 FA 33 | type=9 address=108 count=2", 3), ExitCode::all_well);
    EXPECT_NE(out.str().find(" * line open\n"), std::string::npos) << start_of(out.str());
    EXPECT_GE(times(out.str(), " > 01 03 23 94 00 02 8E 63   station 1 read holding registers 9108..9109 (type 9 no. "
                               "108..109)\n"),
              3U)
        << start_of(out.str());
    EXPECT_GE(times(out.str(), "station 1: holding registers 9108..9109 (type 9 no. 108..109) = 0x0000 0x0000 (0 0) ["),
              3U)
        << start_of(out.str());
    EXPECT_NE(error.str().find(" requests, 0 without a good reply\n"), std::string::npos) << error.str();
}

// The bytes come from the driver's own address map: each is named back only where the two agree.
TEST_F(TraceLineTest, EveryTypeIsNamedAsTheListHasIt) {
    start_controller({"--stations", "1"});
    const std::pair<int, const char *> places[] = {
        {0, "17"},  {1, "17"},   {2, "100"}, {2, "3000"}, {3, "100"}, {3, "300"}, {4, "9"},   {5, "9"},   {6, "9"},
        {7, "100"}, {7, "9000"}, {8, "100"}, {8, "300"},  {9, "108"}, {10, "50"}, {11, "50"}, {13, "250"}};
    for (const auto &[type, address] : places)
        poll(1, type, address, 1);
    poll(1, 7, "7990", 20);
    EXPECT_EQ(trace_until(" > 01 ", 40), ExitCode::all_well);
    for (const auto &[type, address] : places) {
        const std::string words = "(type " + std::to_string(type) + " no. " + address + ")\n";
        EXPECT_NE(out.str().find(words), std::string::npos) << words;
    }
    for (const char *part : {"7990..7999 (type 7 no. 7990..7999)\n", "50000..50009 (type 7 no. 8000..8009)\n"})
        EXPECT_NE(out.str().find(part), std::string::npos) << part;
}

TEST_F(TraceLineTest, AMissingReplyIsReportedAndGivenUp) {
    list.link.timeouts.reply = milliseconds(20);
    start_controller({"--stations", "1"});
    poll(7, 1, "10", 1);
    options.filter.failures = true;
    EXPECT_EQ(trace_until("given up: no reply", 1), ExitCode::all_well);
    EXPECT_NE(out.str().find("station 7 read coil 8 (type 1 no. 10)\n"), std::string::npos) << start_of(out.str());
    EXPECT_NE(out.str().find("   no reply ["), std::string::npos) << start_of(out.str());
    EXPECT_NE(out.str().find("given up: no reply (driver code 4"), std::string::npos) << start_of(out.str());
}

TEST_F(TraceLineTest, AStationThatTheListSwitchesOffIsNotAsked) {
    start_controller({"--stations", "1"});
    list.stations = {{1, "", true}, {2, "", false}};
    poll(1, 7, "100", 1);
    poll(2, 7, "100", 1);
    EXPECT_EQ(trace_until("> 01 ", 5), ExitCode::all_well);
    EXPECT_EQ(times(content(options.to), "> 02 "), 0U);
}

TEST_F(TraceLineTest, ALineThatCannotBeOpenedIsAnErrorAndLeavesAnEarlierTrace) {
    put(options.to, saved);
    EXPECT_THROW(trace_line(driver, list, options, {}, stop, out, error), LineError);
    EXPECT_EQ(content(options.to), saved);
    EXPECT_EQ(files(), 1);
}

}  // namespace
}  // namespace kelpo

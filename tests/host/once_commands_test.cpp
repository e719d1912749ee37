// The built programs together: the controller on one end of a pseudo-terminal, `kelpo` with the driver on the other.
#include "process.h"
#include "pseudo_terminal.h"

#include "plc/memory/memory_reader.h"

#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>

namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

struct Ended {
    int exit_code;
    std::string output;  // standard output and standard error
};

using Words = std::vector<std::string>;

Words joined(Words words, const Words &more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

class OnceCommands : public testing::Test {
protected:
    // Well above what an answer takes on a busy machine.
    static Words patient() {
        return {"--reply-timeout", "5000"};
    }
    // For requests that are never answered.
    static Words impatient() {
        return {"--reply-timeout", "20", "--settle", "1", "--retries", "0"};
    }

    void start_controller(const Words &more) {
        controller_.emplace(
            joined({KELPO_PLC_PROGRAM, "--stations", "1,2,3,4,5", "--moment", "0", "--link", line, "--memory", memory},
                   more),
            directory.file("controller.txt"));
        ASSERT_TRUE(comes_true([&] { return std::filesystem::exists(line) && std::filesystem::exists(memory); }))
            << controller_->output();
    }

    Ended kelpo(const std::string &command, const Words &arguments) {
        Process process(joined({KELPO_PROGRAM, command, "--line", line, "--driver", DRIVER_FILE}, arguments),
                        output_file());
        const int code = process.exit_code();
        return {code, process.output()};
    }

    Ended read(const Words &references, const Words &options = patient()) {
        return kelpo("read", joined(options, references));
    }
    Ended write(const Words &references, const Words &options = patient()) {
        return kelpo("write", joined(options, references));
    }

    std::string output_file() {
        return directory.file("output " + std::to_string(++outputs_));
    }

    int held(unsigned address, unsigned station = 1) const {
        const auto reader = plc::MemoryReader::open(memory);
        return reader.holding_register(station, address, reader.moment()).value();
    }
    int coil(unsigned address, unsigned station = 1) const {
        const auto reader = plc::MemoryReader::open(memory);
        return reader.coil(station, address, reader.moment()).value() ? 1 : 0;
    }

    TemporaryDirectory directory;
    const std::string line = directory.file("line");
    const std::string memory = directory.file("memory");

private:
    std::optional<Process> controller_;
    int outputs_ = 0;
};

class OnceCommandsWithController : public OnceCommands {
protected:
    void SetUp() override {
        start_controller({});
    }
};

// Where each register type is: docs/address-map.md.
TEST_F(OnceCommandsWithController, WriteEveryRegisterTypeToItsPlace) {
    const Ended written =
        write({"1:1:17=1", "1:2:60=1", "1:3:60=1", "1:4:60=1", "1:5:60=1", "1:6:60=1", "1:7:100=42", "1:8:100=43",
               "1:9:100=44", "1:10:100=45", "1:11:100=46", "1:12:102=0x00010002", "1:13:301=3", "1:14:102=-1",
               "1:15:104.3=on", "1:16:104.15x2=1,1", "1:17:104.0x3=1,0,1"});
    EXPECT_EQ(written.exit_code, 0) << written.output;
    EXPECT_EQ(written.output, "1:1:17 = 1\n1:2:60 = 1\n1:3:60 = 1\n1:4:60 = 1\n1:5:60 = 1\n1:6:60 = 1\n"
                              "1:7:100 = 42\n1:8:100 = 43\n1:9:100 = 44\n1:10:100 = 45\n1:11:100 = 46\n"
                              "1:12:102 = 65538\n1:13:301 = 3\n1:14:102 = 4294967295\n"
                              "1:15:104.3 = 1\n1:16:104.15x2 = 11\n1:17:104.0x3 = 101\n");
    for (const unsigned address : {15U, 2060U, 4460U, 6060U, 8060U, 9260U}) {
        EXPECT_EQ(coil(address), 1) << address;
        EXPECT_EQ(coil(address, 2), 0) << address;
    }
    EXPECT_EQ(held(100), 42);
    EXPECT_EQ(held(8100), 43);
    EXPECT_EQ(held(9100), 44);
    EXPECT_EQ(held(9600), 45);
    EXPECT_EQ(held(8600), 46);
    EXPECT_EQ(held(102), 1);
    EXPECT_EQ(held(103), 2);
    EXPECT_EQ(held(9902), 0);
    EXPECT_EQ(held(9903), 3);
    EXPECT_EQ(held(8102), 0xFFFF);
    EXPECT_EQ(held(8103), 0xFFFF);
    EXPECT_EQ(held(104), 8);
    EXPECT_EQ(held(8104), 0x8000);
    EXPECT_EQ(held(8105), 1);
    EXPECT_EQ(held(8604), 5);
    EXPECT_EQ(held(100, 2), 0);
}

// A request for 63 of them would ask for 126 registers, which a controller refuses.
TEST_F(OnceCommandsWithController, ReadMore32BitRegistersThanOneRequestMayAskFor) {
    ASSERT_EQ(write({"1:13:262=4711"}).exit_code, 0);
    const Ended seen = read({"1:13:200x63"});
    EXPECT_EQ(seen.exit_code, 0) << seen.output;
    EXPECT_THAT(seen.output, testing::EndsWith(" 4711\n"));
}

TEST_F(OnceCommandsWithController, ReadEveryRegisterTypeFromItsPlace) {
    // Types 0, and 15 to 17, are where other types can write.
    const Ended written =
        write({"1:1:2277=1", "1:2:60=1", "1:3:60=1", "1:4:60=1", "1:5:60=1", "1:6:60=1", "1:7:100=42", "1:8:100=43",
               "1:9:100=44", "1:10:100=45", "1:11:100=0x8001", "1:12:102=65538", "1:13:301=3", "1:14:102=-1"});
    ASSERT_EQ(written.exit_code, 0) << written.output;
    // Octal 2277 is 1215; type 0 begins at 1200, octal 2260.
    const Ended seen = read({"1:0:17", "1:1:2277", "1:2:60", "1:3:60", "1:4:60", "1:5:60", "1:6:60", "1:7:100",
                             "1:8:100", "1:9:100", "1:10:100", "1:11:100", "1:12:102", "1:13:301", "1:14:102/signed",
                             "1:15:100.0x8", "1:16:100.0x8", "1:17:100.15", "1:17:100.14"});
    EXPECT_EQ(seen.exit_code, 0);
    EXPECT_EQ(seen.output, "1:0:17 = 1\n1:1:2277 = 1\n1:2:60 = 1\n1:3:60 = 1\n1:4:60 = 1\n1:5:60 = 1\n1:6:60 = 1\n"
                           "1:7:100 = 42\n1:8:100 = 43\n1:9:100 = 44\n1:10:100 = 45\n1:11:100 = 32769\n"
                           "1:12:102 = 65538\n1:13:301 = 3\n1:14:102/signed = -1\n"
                           "1:15:100.0x8 = 01010100\n1:16:100.0x8 = 11010100\n1:17:100.15 = 1\n1:17:100.14 = 0\n");
}

TEST_F(OnceCommandsWithController, ShowValuesInTheViewThatIsAskedFor) {
    ASSERT_EQ(write({"2:7:200/float=3.5", "2:7:210/float-swapped=-0.1", "2:12:220/float=1e10"}).exit_code, 0);
    EXPECT_EQ(held(200, 2), 0x4060);
    EXPECT_EQ(held(201, 2), 0);
    EXPECT_EQ(held(210, 2), 0xCCCD);
    EXPECT_EQ(held(211, 2), 0xBDCC);
    const Ended seen = read({"--station", "2", "7:200x2/hex", "7:200x2/binary", "7:200/float", "7:210/float-swapped",
                             "7:210/hex32-swapped", "7:210x2/signed", "12:220/float", "1:7:200"});
    EXPECT_EQ(seen.exit_code, 0);
    EXPECT_EQ(seen.output, "2:7:200x2/hex = 0x4060 0x0000\n"
                           "2:7:200x2/binary = 0b0100000001100000 0b0000000000000000\n"
                           "2:7:200/float = 3.5\n"
                           "2:7:210/float-swapped = -0.1\n"
                           "2:7:210/hex32-swapped = 0xBDCCCCCD\n"
                           "2:7:210x2/signed = -13107 -16948\n"
                           "2:12:220/float = 1e+10\n"
                           "1:7:200 = 0\n");
}

TEST_F(OnceCommandsWithController, WriteMoreThanOneRequestHolds) {
    const Ended written = write({"1:7:7900x250=7", "1:2:2040x20=1", "1:12:300x60=0x00020001"});
    EXPECT_EQ(written.exit_code, 0) << written.output;
    for (const unsigned address : {7900U, 7999U, 50000U, 50149U})
        EXPECT_EQ(held(address), 7) << address;
    EXPECT_EQ(held(7899), 0);
    EXPECT_EQ(held(50150), 0);
    EXPECT_EQ(coil(4047), 1);
    EXPECT_EQ(coil(12011), 1);
    EXPECT_EQ(held(418), 2);
    EXPECT_EQ(held(419), 1);
    EXPECT_EQ(plc::MemoryReader::open(memory).writes_logged(), 250U + 20U + 120U);
    const Ended seen = read({"1:7:7899x252"});
    EXPECT_EQ(seen.exit_code, 0);
    EXPECT_THAT(seen.output, StartsWith("1:7:7899x252 = 0 7 7 7"));
    EXPECT_THAT(seen.output, HasSubstr("7 7 7 0\n"));
}

TEST_F(OnceCommandsWithController, ReadBackWhatTheyWrote) {
    const Ended checked = write({"--check", "1:7:100=1,2", "1:15:100.4=1", "1:0:17=1"});
    EXPECT_EQ(checked.exit_code, 2);
    EXPECT_EQ(checked.output, "kelpo: 1:0:17: type 0 cannot be written; the driver only reads it\n");
    EXPECT_EQ(held(100), 0);

    const Ended good = write({"--check", "1:7:100=1,2", "1:15:100.4=1", "1:1:17=1"});
    EXPECT_EQ(good.exit_code, 1);
    // The bit has changed the register since.
    EXPECT_EQ(good.output, "kelpo: 1:7:100: holds 17 2 after 1 2 was written\n1:15:100.4 = 1\n1:1:17 = 1\n");
    EXPECT_EQ(write({"--check", "1:7:100=1,2", "1:13:300=-1"}).exit_code, 0);
}

TEST_F(OnceCommandsWithController, SpeakJson) {
    const Ended written = write({"--json", "--check", "1:12:100/float=0.1,2", "1:1:17=1"});
    EXPECT_EQ(written.exit_code, 0);
    EXPECT_EQ(written.output,
              "{\"reference\":\"1:12:100/float\",\"station\":1,\"type\":12,\"address\":\"100\",\"ok\":true,"
              "\"written\":[0.1,2.0],\"values\":[0.1,2.0],\"text\":\"0.1 2\",\"exit_code\":0}\n"
              "{\"reference\":\"1:1:17\",\"station\":1,\"type\":1,\"address\":\"17\",\"ok\":true,"
              "\"written\":[1],\"values\":[1],\"text\":\"1\",\"exit_code\":0}\n");
    const Ended seen = read({"--json", "1:7:100x2/hex", "1:12:100x1/float"});
    EXPECT_EQ(seen.output, "{\"reference\":\"1:7:100x2/hex\",\"station\":1,\"type\":7,\"address\":\"100\",\"ok\":true,"
                           "\"values\":[15820,52429],\"text\":\"0x3DCC 0xCCCD\",\"exit_code\":0}\n"
                           "{\"reference\":\"1:12:100x1/float\",\"station\":1,\"type\":12,\"address\":\"100\","
                           "\"ok\":true,\"values\":[0.1],\"text\":\"0.1\",\"exit_code\":0}\n");
    EXPECT_EQ(read({"--json", "9:7:1"}, impatient()).output,
              "{\"reference\":\"9:7:1\",\"station\":9,\"type\":7,\"address\":\"1\",\"ok\":false,"
              "\"problem\":\"no reply\",\"exit_code\":8}\n"
              "kelpo: 9:7:1: no reply\n");
}

// As in the records of poll: numbers, and null where JSON has no number.
TEST_F(OnceCommandsWithController, PrintInfinityInJsonAsPollDoes) {
    const Ended written = write({"--json", "--check", "1:12:100/float=inf,1.5,nan"});
    EXPECT_THAT(written.output, HasSubstr("\"written\":[null,1.5,null],\"values\":[null,1.5,null],"
                                          "\"text\":\"inf 1.5 nan\""));
}

TEST_F(OnceCommandsWithController, AskNothingWhenAReferenceIsWrong) {
    const Ended written = write({"1:7:100=5", "1:7:abc=5", "1:1:8=1"});
    EXPECT_EQ(written.exit_code, 7);
    EXPECT_THAT(written.output, HasSubstr("kelpo: 1:7:abc: the address abc is not a number; type 7 takes"));
    EXPECT_THAT(written.output, HasSubstr("kelpo: 1:1:8: the address 8 has a digit above 7; type 1 takes"));
    EXPECT_EQ(write({"1:7:100=5", "1:7:101"}).exit_code, 2);
    EXPECT_EQ(write({"1:7:100=5", "1:7:101=65536"}).exit_code, 2);
    EXPECT_EQ(held(100), 0);
    EXPECT_EQ(read({"1:7:100", "1:7:101=4"}).output,
              "kelpo: '1:7:101=4': a read takes no value; 'kelpo write 1:7:101=4' writes it\n");
    EXPECT_EQ(read({}).exit_code, 2);
}

TEST_F(OnceCommandsWithController, EndAtOnceWhenTheLineOrTheDriverIsNotThere) {
    Process no_line({KELPO_PROGRAM, "read", "--line", "/nowhere/line", "--driver", DRIVER_FILE, "1:7:100"},
                    output_file());
    EXPECT_EQ(no_line.exit_code(), 4);
    EXPECT_THAT(no_line.output(), HasSubstr("kelpo: /nowhere/line: cannot be opened"));

    Process no_driver({KELPO_PROGRAM, "read", "--line", line, "--driver", "/nowhere/driver.so", "1:7:100"},
                      output_file());
    EXPECT_EQ(no_driver.exit_code(), 3);
    EXPECT_THAT(no_driver.output(), HasSubstr("/nowhere/driver.so"));

    Process nothing({KELPO_PROGRAM, "read", "--driver", DRIVER_FILE, "1:7:100"}, output_file());
    EXPECT_EQ(nothing.exit_code(), 2);
    EXPECT_THAT(nothing.output(), HasSubstr("--line"));
}

TEST_F(OnceCommandsWithController, SuggestTcpForALineThatIsAHostAndAPort) {
    const Ended ended = read({"1:7:100", "--line", "192.168.1.1:502"});
    EXPECT_EQ(ended.exit_code, 4);
    EXPECT_EQ(ended.output,
              "kelpo: 192.168.1.1:502: is not a serial port; a device server is written as tcp:192.168.1.1:502\n");
}

// What the driver accepts, every command accepts: a sign, a bit above 15.
TEST_F(OnceCommandsWithController, TakeTheAddressesThatTheDriverTakes) {
    EXPECT_EQ(write({"1:15:6.4=1"}).exit_code, 0);
    for (const std::string address : {"+6.4", "6.+4", "5.20"}) {
        const Ended ended = read({"1:15:" + address});
        EXPECT_EQ(ended.exit_code, 0) << ended.output;
        EXPECT_EQ(ended.output, "1:15:" + address + " = 1\n");
        const std::string list = directory.file("list.csv");
        std::ofstream(list) << "name,type,address\nbit,15," << address << "\n";
        Process check({KELPO_PROGRAM, "check", list, "--driver", DRIVER_FILE}, output_file());
        EXPECT_EQ(check.exit_code(), 0) << check.output();
        Process poll({KELPO_PROGRAM, "poll", list, "--line", line, "--driver", DRIVER_FILE, "--format", "plain",
                      "--seconds", "2", "--reply-timeout", "5000"},
                     output_file());
        EXPECT_EQ(poll.exit_code(), 0) << poll.output();
        EXPECT_THAT(poll.output(), HasSubstr("bit = 1\n"));
    }
}

TEST_F(OnceCommandsWithController, TakeTheLineFromAList) {
    const std::string list = directory.file("plant.toml");
    std::ofstream(list) << "[line]\npath = \"" << line
                        << "\"\n\n[[variable]]\nstation = 1\ntype = 7\naddress = \"1\"\n";
    Process good({KELPO_PROGRAM, "read", "--list", list, "--driver", DRIVER_FILE, "--reply-timeout", "5000", "1:7:100"},
                 output_file());
    EXPECT_EQ(good.exit_code(), 0) << good.output();
    EXPECT_EQ(good.output(), "1:7:100 = 0\n");

    Process missing({KELPO_PROGRAM, "read", "--list", directory.file("none.toml"), "--driver", DRIVER_FILE, "1:7:100"},
                    output_file());
    EXPECT_EQ(missing.exit_code(), 2);
    EXPECT_THAT(missing.output(), HasSubstr("none.toml"));
}

TEST_F(OnceCommandsWithController, ScanForStations) {
    const Ended found =
        kelpo("scan", {"--stations", "2-5", "--reply-timeout", "5000", "--type", "7", "--address", "3"});
    EXPECT_EQ(found.exit_code, 0) << found.output;
    EXPECT_THAT(found.output, StartsWith("  2  7:3 = 2003  ("));
    EXPECT_THAT(found.output, HasSubstr("\n  5  7:3 = 5003  ("));
    EXPECT_THAT(found.output, HasSubstr("kelpo: asked 4, answering 4\n"));

    const Ended none = kelpo("scan", joined(impatient(), {"--from", "100", "--to", "110"}));
    EXPECT_EQ(none.exit_code, 1);
    EXPECT_EQ(none.output, "kelpo: asked 11, answering 0\n");

    EXPECT_EQ(kelpo("scan", {"--stations", "0"}).exit_code, 2);
    EXPECT_EQ(kelpo("scan", {"--type", "13", "--address", "0"}).exit_code, 7);
}

class OnceCommandsWithFaults : public OnceCommands {
protected:
    void SetUp() override {
        start_controller({"--fault", "no-reply station=2", "--fault", "exception station=3 code=2", "--fault",
                          "garbled station=4", "--fault", "no-reply station=5 every=2"});
    }
};

TEST_F(OnceCommandsWithFaults, EndWithTheCodeOfEachFailure) {
    const Ended silent = read({"2:7:100"}, impatient());
    EXPECT_EQ(silent.exit_code, 8);
    EXPECT_EQ(silent.output, "kelpo: 2:7:100: no reply\n");

    const Ended refused = read({"3:7:100"});
    EXPECT_EQ(refused.exit_code, 9);
    EXPECT_EQ(refused.output, "kelpo: 3:7:100: refused: illegal data address (exception 2)\n");

    const Ended garbled = read({"4:7:100"});
    EXPECT_EQ(garbled.exit_code, 10);
    EXPECT_THAT(garbled.output, StartsWith("kelpo: 4:7:100: bad reply: "));
}

TEST_F(OnceCommandsWithFaults, EndWithTheCodeOfEachFailureOfAWrite) {
    const Ended silent = write({"2:7:100=1"}, impatient());
    EXPECT_EQ(silent.exit_code, 8);
    EXPECT_EQ(silent.output, "kelpo: 2:7:100: no reply; it may have been written anyway\n");
    EXPECT_EQ(held(100, 2), 1);

    const Ended refused = write({"3:15:100.1=1"});
    EXPECT_EQ(refused.exit_code, 9);
    EXPECT_EQ(refused.output, "kelpo: 3:15:100.1: refused: illegal data address (exception 2)\n");
    EXPECT_EQ(write({"4:1:17=1"}).exit_code, 10);
}

// The first is begun in time on any machine; then station 2 keeps the others waiting for too long.
TEST_F(OnceCommandsWithFaults, DoNotWriteWhatIsLate) {
    const Ended written = write({"2:7:100=1", "1:7:100=5", "1:7:101=5"},
                                {"--reply-timeout", "3000", "--retries", "0", "--within", "2500ms"});
    EXPECT_EQ(written.exit_code, 8);
    EXPECT_EQ(written.output, "kelpo: 2:7:100: no reply; it may have been written anyway\n"
                              "kelpo: 1:7:100: not sent within 2500 ms, and not sent any more\n"
                              "kelpo: 1:7:101: not sent within 2500 ms, and not sent any more\n");
    EXPECT_EQ(held(100), 0);
    EXPECT_EQ(held(101), 0);
    EXPECT_EQ(write({"1:7:100=5"}, {"--within", "1"}).exit_code, 2);
    EXPECT_EQ(write({"1:7:100=5"}, {"--within", "0s"}).exit_code, 2);
    EXPECT_EQ(write({"1:7:100=5"}, {"--reply-timeout", "5000", "--within", "1min"}).exit_code, 0);
    EXPECT_EQ(held(100), 5);
}

TEST_F(OnceCommandsWithFaults, EndWithTheHighestCodeAndServeTheOthers) {
    const Ended mixed = read({"3:7:100", "1:7:3", "4:7:100", "1:7:4"});
    EXPECT_EQ(mixed.exit_code, 10);
    EXPECT_THAT(mixed.output, HasSubstr("1:7:3 = 1003\n"));
    EXPECT_THAT(mixed.output, HasSubstr("kelpo: 3:7:100: refused"));
    EXPECT_THAT(mixed.output, HasSubstr("kelpo: 4:7:100: bad reply"));
    EXPECT_THAT(mixed.output, HasSubstr("\n1:7:4 = "));
}

TEST_F(OnceCommandsWithFaults, AskAgainAsOftenAsTheOptionSays) {
    // Every second request is lost.
    EXPECT_EQ(read({"5:7:3"}, {"--reply-timeout", "1000", "--retries", "9"}).output, "5:7:3 = 5003\n");
}

TEST_F(OnceCommandsWithFaults, ScanHearsRefusals) {
    const Ended found = kelpo("scan", {"--stations", "3,4", "--reply-timeout", "5000"});
    EXPECT_EQ(found.exit_code, 0);
    EXPECT_THAT(found.output, HasSubstr("  3  refused: illegal data address (exception 2)  ("));
    EXPECT_THAT(found.output, HasSubstr("kelpo: when station 4 was asked: bad reply: "));
    EXPECT_THAT(found.output, HasSubstr("kelpo: asked 2, answering 1\n"));
}

TEST_F(OnceCommandsWithFaults, EndAScanWithWhatItHas) {
    Process scan({KELPO_PROGRAM, "scan", "--line", line, "--driver", DRIVER_FILE, "--json", "--reply-timeout", "5000"},
                 output_file());
    // Station 2 keeps it waiting, to the end of the time-out: its reply must not come to the next command.
    const auto reader = plc::MemoryReader::open(memory);
    ASSERT_TRUE(comes_true([&] { return reader.requests_to(2).value() >= 1; }));
    scan.signal(SIGINT);
    EXPECT_EQ(scan.exit_code(), 0);
    const std::string output = scan.output();
    EXPECT_THAT(output, StartsWith("{\"station\":1,\"answer\":\"value\",\"text\":\"7:0 = "));
    EXPECT_THAT(output, HasSubstr("kelpo: asked 2, answering 1; ended before 245 more were asked\n"));
}

TEST_F(OnceCommandsWithFaults, SayWhatWasNotDoneWhenTheyAreInterrupted) {
    Process writing({KELPO_PROGRAM, "write", "--line", line, "--driver", DRIVER_FILE, "--reply-timeout", "5000",
                     "1:7:100=5", "2:7:100=5", "1:7:101=5"},
                    output_file());
    const auto reader = plc::MemoryReader::open(memory);
    ASSERT_TRUE(comes_true([&] { return reader.requests_to(2).value() >= 1; }));
    writing.signal(SIGINT);
    EXPECT_EQ(writing.exit_code(), 1);
    const std::string output = writing.output();
    EXPECT_THAT(output, HasSubstr("1:7:100 = 5\n"));
    EXPECT_THAT(output, HasSubstr("kelpo: 2:7:100: was ended before it was done; it may have been written "
                                  "anyway\n"));
    EXPECT_THAT(output, HasSubstr("kelpo: 1:7:101: was ended before it was done; it was not sent\n"));
    EXPECT_EQ(held(101), 0);
}

// A far end that is played by the test.
class OnceCommandsOnATerminal : public testing::Test {
protected:
    TemporaryDirectory directory;
    PseudoTerminal terminal;

    Words command(const Words &arguments) const {
        return joined({KELPO_PROGRAM, arguments[0], "--line", terminal.path(), "--driver", DRIVER_FILE,
                       "--reply-timeout", "60000"},
                      Words(arguments.begin() + 1, arguments.end()));
    }
};

TEST_F(OnceCommandsOnATerminal, EndWithFourWhenTheLineGoesAway) {
    Process reading(command({"read", "1:7:100", "2:7:100"}), directory.file("output"));
    terminal.take(8);
    terminal.hang_up();
    EXPECT_EQ(reading.exit_code(), 4);
    EXPECT_THAT(reading.output(), HasSubstr("kelpo: 1:7:100: the line failed before it was done\n"));
    EXPECT_THAT(reading.output(), HasSubstr("kelpo: 2:7:100: the line failed before it was done\n"));
    EXPECT_THAT(reading.output(), HasSubstr("hung up"));
}

TEST_F(OnceCommandsOnATerminal, AskTheWordOfABitInARegister) {
    Process reading(command({"read", "1:15:100.3x2"}), directory.file("output"));
    EXPECT_EQ(terminal.take(8), std::string("\x01\x03\x00\x64\x00\x01\xC5\xD5", 8));
    terminal.put(std::string("\x01\x03\x02\x00\x10\xB9\x88", 7));
    EXPECT_EQ(reading.exit_code(), 0);
    EXPECT_EQ(reading.output(), "1:15:100.3x2 = 01\n");
}

TEST_F(OnceCommandsOnATerminal, DoNotWaitForEverForAControllerThatAsksThemTo) {
    Process reading(command({"read", "1:7:100", "2:7:100", "--settle", "0", "--retries", "2"}),
                    directory.file("output"));
    // 16 times it is asked again, and then as often as one that does not answer.
    for (int i = 0; i < 16 + 3; ++i) {
        ASSERT_EQ(terminal.take(8)[0], 1);
        terminal.put(std::string("\x01\x6A\x8B\x4E\xC7", 5));
    }
    EXPECT_EQ(terminal.take(8)[0], 2);
    terminal.put(std::string("\x02\x03\x02\x00\x6F\xBC\x68", 7));
    EXPECT_EQ(reading.exit_code(), 10);
    EXPECT_EQ(reading.output(), "kelpo: station 1 keeps asking to wait (6A 8B): that is taken for no reply\n"
                                "kelpo: 1:7:100: the controller asks to wait (6A 8B)\n2:7:100 = 111\n");
}

}  // namespace

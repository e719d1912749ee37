#include "hex.h"
#include "plc/memory/memory_reader.h"
#include "plc/system/descriptor.h"
#include "tcp_client.h"
#include "temporary_folder.h"
#include "waiting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace plc {
namespace {

bool comes_true(const std::function<bool()> &condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(patience_ms);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// What comes until `count` bytes are there, or the other end closes.
std::string read_text(int descriptor, std::size_t count) {
    std::string text;
    while (text.size() < count && becomes_readable(descriptor)) {
        char piece[256];
        const ssize_t got = ::read(descriptor, piece, std::min(sizeof piece, count - text.size()));
        if (got <= 0)
            break;
        text.append(piece, static_cast<std::size_t>(got));
    }
    return text;
}

// The built program as a child process, whose output and errors are read through pipes.
class Program {
public:
    explicit Program(std::vector<std::string> arguments) {
        int out[2];
        int error[2];
        if (::pipe2(out, O_CLOEXEC) != 0 || ::pipe2(error, O_CLOEXEC) != 0)
            throw std::runtime_error("no pipe");
        out_ = std::make_unique<Descriptor>(out[0]);
        error_ = std::make_unique<Descriptor>(error[0]);
        const Descriptor child_out(out[1]);
        const Descriptor child_error(error[1]);

        arguments.insert(arguments.begin(), KELPO_PLC_PROGRAM);
        std::vector<char *> argv;
        for (std::string &argument : arguments)
            argv.push_back(argument.data());
        argv.push_back(nullptr);

        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, child_out.number(), STDOUT_FILENO);
        ::posix_spawn_file_actions_adddup2(&actions, child_error.number(), STDERR_FILENO);
        const int failed = ::posix_spawn(&process_, KELPO_PLC_PROGRAM, &actions, nullptr, argv.data(), environ);
        ::posix_spawn_file_actions_destroy(&actions);
        if (failed != 0)
            throw std::runtime_error("cannot start " KELPO_PLC_PROGRAM);
    }

    ~Program() {
        if (process_ > 0) {
            ::kill(process_, SIGKILL);
            ::waitpid(process_, nullptr, 0);
        }
    }

    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    std::string first_line() const {
        std::string line;
        for (std::string byte = read_text(out_->number(), 1); !byte.empty() && byte != "\n";
             byte = read_text(out_->number(), 1))
            line += byte;
        return line;
    }

    // What it prints from now on, until it ends.
    std::string output() const {
        return read_text(out_->number(), 100000);
    }

    void close_output() {
        out_->close();
    }

    std::string errors() const {
        return read_text(error_->number(), 100000);
    }

    // The exit status, or -1 when it did not end by itself in time.
    int wait_for_end() {
        int status = 0;
        const bool ended = comes_true([&] { return ::waitpid(process_, &status, WNOHANG) == process_; });
        if (!ended)
            return -1;
        process_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    pid_t process() const {
        return process_;
    }

    int end_by(int signal) {
        ::kill(process_, signal);
        return wait_for_end();
    }

private:
    pid_t process_ = -1;
    std::unique_ptr<Descriptor> out_;
    std::unique_ptr<Descriptor> error_;
};

class Client {
public:
    explicit Client(const std::string &path)
        : line_(path.rfind("tcp:", 0) == 0 ? connect_to(path)
                                           : Descriptor(::open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC))) {
        if (line_.number() < 0)
            throw std::runtime_error("cannot open " + path);
    }

    void send(const Bytes &bytes) const {
        ASSERT_EQ(::write(line_.number(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }

    Bytes receive(std::size_t count) const {
        const std::string text = read_text(line_.number(), count);
        return Bytes(text.begin(), text.end());
    }

private:
    Descriptor line_;
};

class ProgramTest : public testing::Test {
protected:
    TemporaryFolder folder_;
    std::string link_ = folder_ / "line";
    std::string memory_ = folder_ / "memory";
};

TEST_F(ProgramTest, ServesItsLineUntilItIsTerminated) {
    Program program({"--stations", "1,2,3", "--link", link_, "--moment", "0"});
    const std::string line = program.first_line();
    ASSERT_EQ(line.rfind("line /dev/pts/", 0), 0u) << line;
    EXPECT_EQ(std::filesystem::read_symlink(link_).string(), line.substr(5));

    const Client client(link_);
    client.send(hex("03 06 00 64 12 34 C4 80"));
    EXPECT_EQ(client.receive(8), hex("03 06 00 64 12 34 C4 80"));
    client.send(hex("03 03 00 64 00 02 84 36"));
    EXPECT_EQ(client.receive(9), hex("03 03 04 12 34 00 00 9D 45"));
    client.send(hex("02 03 00 00 00 01 84 39"));
    EXPECT_EQ(client.receive(7), hex("02 03 02 07 D0 FF E8"));

    EXPECT_EQ(program.end_by(SIGTERM), 0);
    EXPECT_FALSE(std::filesystem::is_symlink(link_));
    EXPECT_EQ(program.errors(), "");
}

TEST_F(ProgramTest, EndsCleanlyWhenItIsInterrupted) {
    Program program({"--link", link_});
    ASSERT_NE(program.first_line(), "");
    EXPECT_TRUE(std::filesystem::is_symlink(link_));
    EXPECT_EQ(program.end_by(SIGINT), 0);
    EXPECT_FALSE(std::filesystem::is_symlink(link_));
}

TEST_F(ProgramTest, EndsWithTheProcessThatIsNamed) {
    Program companion({});
    ASSERT_NE(companion.first_line(), "");
    Program program({"--link", link_, "--while", std::to_string(companion.process())});
    ASSERT_NE(program.first_line(), "");
    EXPECT_EQ(companion.end_by(SIGKILL), -1);
    EXPECT_EQ(program.wait_for_end(), 0);
    EXPECT_FALSE(std::filesystem::is_symlink(link_));
}

TEST_F(ProgramTest, DoesNotStartForAProcessThatHasEnded) {
    Program companion({});
    ASSERT_NE(companion.first_line(), "");
    const pid_t ended = companion.process();
    companion.end_by(SIGTERM);
    Program program({"--while", std::to_string(ended)});
    EXPECT_EQ(program.wait_for_end(), 1);
    EXPECT_EQ(program.errors(),
              "kelpo-plc: --while: cannot watch process " + std::to_string(ended) + ": No such process\n");
}

TEST_F(ProgramTest, ServesOneClientAfterAnother) {
    Program program({"--moment", "0"});
    const std::string path = program.first_line().substr(5);
    for (int visit = 0; visit < 3; ++visit) {
        const Client client(path);
        client.send(hex("01 03 00 64 00 01 C5 D5"));
        EXPECT_EQ(client.receive(7), hex("01 03 02 00 00 B8 44"));
    }
}

TEST_F(ProgramTest, TakesARequestByteByByte) {
    Program program({"--silence", "3600000"});
    const Client client(program.first_line().substr(5));
    for (const std::uint8_t byte : hex("01 03 00 64 00 01 C5 D5"))
        client.send({byte});
    EXPECT_EQ(client.receive(7), hex("01 03 02 00 00 B8 44"));
}

TEST_F(ProgramTest, AnswersTheNextRequestAfterGarbage) {
    Program program({"--memory", memory_});
    const Client client(program.first_line().substr(5));
    const MemoryReader memory = MemoryReader::open(memory_);

    client.send(Bytes(300, 0x01));
    ASSERT_TRUE(comes_true([&] { return memory.counters().frames_dropped != 0; }));
    client.send(hex("01 03 00 64 00 01 C5 D5"));
    EXPECT_EQ(client.receive(7), hex("01 03 02 00 00 B8 44"));

    client.send(hex("55 AA 01 03 00 64 00 01 C5 D5"));
    EXPECT_EQ(client.receive(7), hex("01 03 02 00 00 B8 44"));
}

TEST_F(ProgramTest, AnswersAnUnknownFunctionWithAnException) {
    Program program({});
    const Client client(program.first_line().substr(5));
    client.send(hex("01 02 00 00 00 01 B9 CA"));
    EXPECT_EQ(client.receive(5), hex("01 82 01 81 60"));
}

TEST_F(ProgramTest, KeepsBackTheReplyThatAFaultNames) {
    Program program({"--moment", "0", "--memory", memory_, "--fault", "no-reply function=6 address=100 times=1"});
    const Client client(program.first_line().substr(5));
    const MemoryReader memory = MemoryReader::open(memory_);
    client.send(hex("01 06 00 64 12 34 C5 62"));
    ASSERT_TRUE(comes_true([&] { return memory.writes_logged() == 1; }));
    client.send(hex("01 03 00 64 00 01 C5 D5"));
    EXPECT_EQ(client.receive(7), hex("01 03 02 12 34 B5 33"));
    client.send(hex("01 06 00 64 12 34 C5 62"));
    EXPECT_EQ(client.receive(8), hex("01 06 00 64 12 34 C5 62"));
}

TEST_F(ProgramTest, ReturnsWhatComesAndThenAnswers) {
    Program program({"--moment", "0", "--memory", memory_, "--echo"});
    const Client client(program.first_line().substr(5));
    const MemoryReader memory = MemoryReader::open(memory_);
    client.send(hex("01 06 00 64 12 34 C5 62"));
    EXPECT_EQ(client.receive(16), hex("01 06 00 64 12 34 C5 62 01 06 00 64 12 34 C5 62"));
    client.send(hex("01 03 00 64 00 01 C5 D5"));
    EXPECT_EQ(client.receive(15), hex("01 03 00 64 00 01 C5 D5 01 03 02 12 34 B5 33"));
    ASSERT_TRUE(comes_true([&] { return memory.pieces_from(0)->size() == 4; }));
    const auto pieces = *memory.pieces_from(0);
    EXPECT_EQ(pieces[0].request, no_request);
    EXPECT_EQ(pieces[0].ends_at, 8U);
    EXPECT_EQ(pieces[3].request, 1U);
    EXPECT_EQ(pieces[3].ends_at, 31U);
    EXPECT_EQ(memory.counters().replies_sent, 2U);
}

TEST_F(ProgramTest, SaysAtItsEndHowOftenEachFaultHappened) {
    Program program({"--moment", "0", "--fault", "dead station=9", "--fault", "exception  function=3 every=2"});
    const Client client(program.first_line().substr(5));
    client.send(hex("01 03 00 64 00 01 C5 D5"));
    EXPECT_EQ(client.receive(5), hex("01 83 04 40 F3"));
    client.send(hex("01 03 00 64 00 01 C5 D5"));
    EXPECT_EQ(client.receive(7), hex("01 03 02 00 00 B8 44"));
    EXPECT_EQ(program.end_by(SIGTERM), 0);
    EXPECT_EQ(program.output(), "fault 1 (dead station=9): 0 of 0\nfault 2 (exception function=3 every=2): 1 of 2\n");
    EXPECT_EQ(program.errors(), "");
}

TEST_F(ProgramTest, EndsWellWhenNobodyReadsItsOutputAnyMore) {
    Program program({"--link", link_, "--fault", "no-reply"});
    ASSERT_NE(program.first_line(), "");
    program.close_output();
    EXPECT_EQ(program.end_by(SIGTERM), 0);
    EXPECT_FALSE(std::filesystem::is_symlink(link_));
}

TEST_F(ProgramTest, SendsAReplyInPiecesAfterNoise) {
    Program program({"--moment", "0", "--fault", "pieces size=3 gap=1 function=3", "--fault", "noise bytes=2"});
    const Client client(program.first_line().substr(5));
    client.send(hex("01 03 00 64 00 01 C5 D5"));
    EXPECT_EQ(client.receive(7), hex("01 03 02 00 00 B8 44"));
    client.send(hex("01 06 00 64 12 34 C5 62"));
    const Bytes reply = client.receive(10);
    ASSERT_EQ(reply.size(), 10u);
    EXPECT_EQ(Bytes(reply.begin() + 2, reply.end()), hex("01 06 00 64 12 34 C5 62"));
}

TEST_F(ProgramTest, BeginsWithThePresetsOfAFile) {
    std::ofstream(folder_ / "values.csv") << "# station, table, address, values\n1,register,100,0x1234\n";
    Program program({"--preset", folder_ / "values.csv"});
    const Client client(program.first_line().substr(5));
    client.send(hex("01 03 00 64 00 01 C5 D5"));
    EXPECT_EQ(client.receive(7), hex("01 03 02 12 34 B5 33"));
}

TEST_F(ProgramTest, RefusesAFileWithAMistakeInIt) {
    std::ofstream(folder_ / "faults") << "no-reply\nlate ms=soon\n";
    Program program({"--faults", folder_ / "faults"});
    EXPECT_EQ(program.errors(), folder_ / "faults:2: a fault's ms is 1 to 3600000, not soon\n");
    EXPECT_EQ(program.wait_for_end(), 2);
}

TEST_F(ProgramTest, ServesOneTcpClientAfterAnother) {
    Program program({"--listen", "0", "--moment", "0", "--memory", memory_});
    const std::string line = program.first_line().substr(5);
    for (int visit = 0; visit < 3; ++visit) {
        const Client client(line);
        client.send(hex("01 03 00 64 00 01 C5 D5"));
        EXPECT_EQ(client.receive(7), hex("01 03 02 00 00 B8 44"));
    }
    EXPECT_EQ(MemoryReader::open(memory_).requests_to(1), 3u);
    EXPECT_EQ(program.end_by(SIGTERM), 0);
    EXPECT_EQ(program.errors(), "");
}

TEST_F(ProgramTest, GivesItsTcpLineToTheNewestClient) {
    Program program({"--listen", "127.0.0.1:0", "--moment", "0"});
    const std::string line = program.first_line().substr(5);
    const Client first(line);
    first.send(hex("01 03 00 64 00 01 C5 D5"));
    EXPECT_EQ(first.receive(7), hex("01 03 02 00 00 B8 44"));
    const Client second(line);
    EXPECT_EQ(first.receive(1), Bytes());
    second.send(hex("01 03 00 64 00 01 C5 D5"));
    EXPECT_EQ(second.receive(7), hex("01 03 02 00 00 B8 44"));
}

TEST_F(ProgramTest, MovesItsValuesAndPublishesThem) {
    Program program({"--moment", "20", "--memory", memory_});
    const Client client(program.first_line().substr(5));
    const MemoryReader memory = MemoryReader::open(memory_);
    ASSERT_TRUE(comes_true([&] { return memory.moment() >= 3; }));

    // The counter in register 0 is the moment of the reply.
    client.send(hex("01 03 00 00 00 01 84 0A"));
    const Bytes reply = client.receive(7);
    ASSERT_EQ(reply.size(), 7u);
    EXPECT_GE(word_at(reply.data(), 3), 1003u);
    EXPECT_LE(word_at(reply.data(), 3), 1000u + memory.moment());
    EXPECT_TRUE(comes_true([&] { return memory.counters().replies_sent == 1; }));
    EXPECT_EQ(memory.counters().requests_seen, 1u);
}

TEST_F(ProgramTest, PublishesWhatTheLineWrote) {
    Program program({"--moment", "0", "--memory", memory_});
    const Client client(program.first_line().substr(5));
    const MemoryReader memory = MemoryReader::open(memory_);
    client.send(hex("01 06 00 64 12 34 C5 62"));
    ASSERT_EQ(client.receive(8).size(), 8u);
    EXPECT_EQ(memory.holding_register(1, 100, 0), 0x1234);
}

TEST_F(ProgramTest, RefusesAWrongArgumentInOneLine) {
    Program program({"--stations", "300"});
    const std::string errors = program.errors();
    EXPECT_EQ(errors.rfind("kelpo-plc: --stations", 0), 0u) << errors;
    EXPECT_EQ(errors.find('\n'), errors.size() - 1) << errors;
    EXPECT_EQ(program.wait_for_end(), 2);
}

TEST_F(ProgramTest, RefusesToReplaceAFileByItsLink) {
    std::ofstream(link_) << "my diary";
    Program program({"--link", link_});
    const std::string errors = program.errors();
    EXPECT_EQ(errors, "kelpo-plc: " + link_ + " exists and is not a link to a line\n");
    EXPECT_EQ(program.wait_for_end(), 1);
    EXPECT_TRUE(std::filesystem::is_regular_file(link_));
}

}  // namespace
}  // namespace plc

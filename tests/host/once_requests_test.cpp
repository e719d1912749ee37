#include "host/once/place_check.h"
#include "host/once/reference.h"
#include "host/once/requests.h"

#include <gtest/gtest.h>

#include <initializer_list>

namespace {

using kelpo::Ending;
using kelpo::ExitCode;
using kelpo::Variable;
using kelpo::View;

Variable place(const char *reference) {
    return kelpo::reference_from(reference, {}).place;
}

TEST(PlacesToRead, OfBitsInRegistersAreTheRegistersThatHoldThem) {
    const kelpo::DriverLibrary driver(DRIVER_FILE);
    struct Case {
        const char *bits;
        int type;
        const char *address;
        int registers;
    };
    const std::initializer_list<Case> cases = {
        {"1:15:5.3", 7, "5", 1},    {"1:15:5.0x16", 7, "5", 1}, {"1:15:5.0x17", 7, "5", 2}, {"1:16:5.15x2", 8, "5", 2},
        {"1:17:0.8x9", 11, "0", 2}, {"1:16:1.20", 8, "2", 1},   {"1:15:+6.4", 7, "6", 1},
    };
    for (const Case &expected : cases) {
        const auto found = kelpo::place_to_read(driver.entry(), place(expected.bits));
        ASSERT_TRUE(found) << expected.bits;
        EXPECT_EQ(found->type, expected.type) << expected.bits;
        EXPECT_EQ(found->address, expected.address) << expected.bits;
        EXPECT_EQ(found->count, expected.registers) << expected.bits;
        EXPECT_EQ(found->station, 1);
    }
}

TEST(PlacesToRead, AreAllOthersAsTheyAre) {
    const kelpo::DriverLibrary driver(DRIVER_FILE);
    for (const char *reference : {"3:0:17", "3:7:100x5", "3:13:200x2", "3:14:4"}) {
        const auto found = kelpo::place_to_read(driver.entry(), place(reference));
        ASSERT_TRUE(found);
        EXPECT_EQ(found->type, place(reference).type);
        EXPECT_EQ(found->address, place(reference).address);
        EXPECT_EQ(found->count, place(reference).count);
    }
}

TEST(PlacesToRead, AreNoneForABitWithoutAnAddress) {
    const kelpo::DriverLibrary driver(DRIVER_FILE);
    for (const char *reference : {"1:15:5", "1:15:a.1", "1:15:5.", "1:15:-1.3"})
        EXPECT_FALSE(kelpo::place_to_read(driver.entry(), place(reference))) << reference;
}

// The driver, configured but without a link loop: what it is given stays in its queues.
class IdleDriver {
public:
    explicit IdleDriver(int max_count) {
        info_.max_count = max_count;
        info_.multi_station = 1;
        info_.write_mode = 2;
        library_.entry().SetComInfo(&info_);
    }

    int queued_by_write(const Variable &variable) {
        library_.entry().SetRegisterData(QString(), variable.type, QString::fromLatin1(variable.address.c_str()),
                                         variable.station, QByteArray(4 * variable.count, '\1'), variable.count, 1, 1);
        return library_.requests_waiting();
    }

    int queued_by_read(const Variable &variable) {
        for (const Variable &part : kelpo::parts_to_read(library_.entry(), variable, info_.max_count)) {
            RW_VAR record = kelpo::once_read_record(part, 1, 1);
            library_.entry().AddListOnceReadVar(&record, 0);
        }
        return library_.requests_waiting();
    }

private:
    ComInfo info_{};
    const kelpo::DriverLibrary library_{DRIVER_FILE};
};

TEST(PartsToRead, AreOfSoMany32BitRegistersAsModbusLetsOneRequestRead) {
    const kelpo::DriverLibrary library(DRIVER_FILE);
    const auto parts = kelpo::parts_to_read(library.entry(), place("3:13:210x130"), 100);
    ASSERT_EQ(parts.size(), 3U);
    EXPECT_EQ(parts[0].address, "210");
    EXPECT_EQ(parts[0].count, 124);
    EXPECT_EQ(parts[1].address, "272");
    EXPECT_EQ(parts[1].count, 124);
    EXPECT_EQ(parts[2].address, "334");
    EXPECT_EQ(parts[2].count, 12);
    EXPECT_EQ(parts[2].station, 3);
    EXPECT_EQ(kelpo::parts_to_read(library.entry(), place("3:13:210x62"), 100).size(), 1U);
    EXPECT_EQ(kelpo::parts_to_read(library.entry(), place("3:13:210x130"), 50).size(), 3U);
    EXPECT_EQ(kelpo::parts_to_read(library.entry(), place("3:7:210x250"), 100).size(), 1U);
}

class RequestCounts : public testing::TestWithParam<int> {};

const char *const places[] = {
    "1:0:17",   "1:0:0x101",  "1:1:17",       "1:1:0x9",  "1:1:0x801",   "1:2:3",       "1:2:0x33",
    "1:3:0x33", "1:4:0x81",   "1:5:0x801",    "1:6:0x24", "1:7:0",       "1:7:0x100",   "1:7:0x101",
    "1:8:5x3",  "1:9:5x7",    "1:10:5x8",     "1:11:5x9", "1:12:40",     "1:12:40x51",  "1:12:40x50",
    "1:13:200", "1:14:2x101", "1:13:200x101", "1:15:5.3", "1:15:5.3x20", "1:16:0.0x16", "1:17:0.0x3",
};

TEST_P(RequestCounts, OfWritesAreWhatTheDriverQueues) {
    for (const char *reference : places)
        EXPECT_EQ(kelpo::requests_of_write(place(reference), GetParam()),
                  IdleDriver(GetParam()).queued_by_write(place(reference)))
            << reference;
}

TEST_P(RequestCounts, OfReadsAreWhatTheDriverQueues) {
    for (const char *reference : places) {
        const Variable to_read =
            kelpo::place_to_read(kelpo::DriverLibrary(DRIVER_FILE).entry(), place(reference)).value();
        EXPECT_EQ(kelpo::requests_of_read(to_read, GetParam()), IdleDriver(GetParam()).queued_by_read(to_read))
            << reference;
    }
}

INSTANTIATE_TEST_SUITE_P(MaxCounts, RequestCounts, testing::Values(1, 7, 50, 100));

class PlaceChecks : public testing::Test {
protected:
    PlaceChecks() {
        settings.driver = DRIVER_FILE;
    }

    Ending of_read(const char *reference) {
        return kelpo::PlaceCheck(settings).of_read(place(reference));
    }
    Ending of_write(const char *reference, bool read_back = false) {
        return kelpo::PlaceCheck(settings).of_write(place(reference), read_back);
    }

    kelpo::LinkSettings settings;
};

TEST_F(PlaceChecks, LetPassWhatTheDriverServes) {
    for (const char *reference : {"1:0:17", "1:7:23535", "1:13:200x50", "1:15:1.20", "1:12:8000", "1:2:55583"}) {
        EXPECT_TRUE(of_read(reference).done) << reference << ": " << of_read(reference).problem;
        EXPECT_EQ(of_read(reference).code, ExitCode::all_well);
    }
    EXPECT_TRUE(of_write("1:17:3.15x100").done);
}

TEST_F(PlaceChecks, TellWhatIsNoAddress) {
    EXPECT_EQ(of_read("1:1:8").code, ExitCode::bad_address);
    EXPECT_EQ(of_read("1:1:8").problem,
              "the address 8 has a digit above 7; type 1 takes an octal number (digits 0 to 7), such as 17");
    EXPECT_EQ(of_read("1:15:5").code, ExitCode::bad_address);
    EXPECT_EQ(of_write("1:13:199").code, ExitCode::bad_address);
}

TEST_F(PlaceChecks, TellWhatNoFrameCanName) {
    // 23535 of type 7 is Modbus address 65535, 27917 of type 13 registers 65534 and 65535.
    EXPECT_TRUE(of_read("1:13:28117").done);
    EXPECT_EQ(of_read("1:13:28118").code, ExitCode::bad_address);
    EXPECT_EQ(of_read("1:7:23535x2").code, ExitCode::bad_address);
    EXPECT_EQ(of_write("1:7:23536").problem, "would end at Modbus address 65536, and a frame can name 65535 at most");
    EXPECT_EQ(of_write("1:15:23535.20").code, ExitCode::bad_address);
}

TEST_F(PlaceChecks, TellThatType0IsNotWritten) {
    EXPECT_EQ(of_write("1:0:17").code, ExitCode::wrong_usage);
    EXPECT_EQ(of_write("1:0:17").problem, "type 0 cannot be written; the driver only reads it");
}

TEST_F(PlaceChecks, TellWhatTheQueueDoesNotHold) {
    EXPECT_TRUE(of_write("1:2:0x1024").done);
    EXPECT_EQ(of_write("1:2:0x1025").code, ExitCode::wrong_usage);
    EXPECT_EQ(of_write("1:2:0x1025").problem, "needs 1025 requests, and the driver's queue holds 1024; do it in parts");
    settings.max_count = 1;
    EXPECT_TRUE(of_read("1:7:0x1024").done);
    EXPECT_EQ(of_read("1:7:0x1025").code, ExitCode::wrong_usage);
    // Written in groups of eight, read back bit by bit.
    EXPECT_TRUE(of_write("1:1:0x1025").done);
    EXPECT_EQ(of_write("1:1:0x1025", true).code, ExitCode::wrong_usage);
}

}  // namespace

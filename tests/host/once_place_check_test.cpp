#include "host/driver/driver.h"
#include "host/once/place_check.h"
#include "host/once/reference.h"

#include <gtest/gtest.h>

namespace {

using kelpo::ExitCode;
using kelpo::Status;
using kelpo::Variable;

Variable place(const char *reference) {
    return kelpo::reference_from(reference, {}).place;
}

class PlaceChecks : public testing::Test {
protected:
    Status of_read(const char *reference) {
        return kelpo::PlaceCheck(driver, {{max_count}}).of_read(place(reference));
    }
    Status of_write(const char *reference, bool read_back = false) {
        return kelpo::PlaceCheck(driver, {{max_count}}).of_write(place(reference), read_back);
    }

    const kelpo::Driver driver{DRIVER_FILE};
    int max_count = 100;
};

TEST_F(PlaceChecks, LetPassWhatTheDriverServes) {
    for (const char *reference : {"1:0:17", "1:7:23535", "1:13:200x50", "1:15:1.20", "1:12:8000", "1:2:55583"}) {
        EXPECT_TRUE(of_read(reference).done) << reference << ": " << of_read(reference).problem;
        EXPECT_EQ(of_read(reference).code, ExitCode::all_well);
    }
    EXPECT_TRUE(of_write("1:17:3.15x100").done);
}

TEST_F(PlaceChecks, SayWhatIsNoAddress) {
    EXPECT_EQ(of_read("1:1:8").code, ExitCode::bad_address);
    EXPECT_EQ(of_read("1:1:8").problem,
              "the address 8 has a digit above 7; type 1 takes an octal number (digits 0 to 7), such as 17");
    EXPECT_EQ(of_read("1:15:5").code, ExitCode::bad_address);
    EXPECT_EQ(of_write("1:13:199").code, ExitCode::bad_address);
}

TEST_F(PlaceChecks, SayWhatNoFrameCanName) {
    // 23535 of type 7 is Modbus address 65535, 27917 of type 13 registers 65534 and 65535.
    EXPECT_TRUE(of_read("1:13:28117").done);
    EXPECT_EQ(of_read("1:13:28118").code, ExitCode::bad_address);
    EXPECT_EQ(of_read("1:7:23535x2").code, ExitCode::bad_address);
    EXPECT_EQ(of_write("1:7:23536").problem, "would end at Modbus address 65536, and a frame can name 65535 at most");
    EXPECT_EQ(of_write("1:15:23535.20").code, ExitCode::bad_address);
}

TEST_F(PlaceChecks, SayThatType0IsNotWritten) {
    EXPECT_EQ(of_write("1:0:17").code, ExitCode::wrong_usage);
    EXPECT_EQ(of_write("1:0:17").problem, "type 0 cannot be written; the driver only reads it");
}

TEST_F(PlaceChecks, SayWhatTheQueueDoesNotHold) {
    EXPECT_TRUE(of_write("1:2:0x1024").done);
    EXPECT_EQ(of_write("1:2:0x1025").code, ExitCode::wrong_usage);
    EXPECT_EQ(of_write("1:2:0x1025").problem, "needs 1025 requests, and the driver's queue holds 1024; do it in parts");
    max_count = 1;
    EXPECT_TRUE(of_read("1:7:0x1024").done);
    EXPECT_EQ(of_read("1:7:0x1025").code, ExitCode::wrong_usage);
    // Written in groups of eight, read back bit by bit.
    EXPECT_TRUE(of_write("1:1:0x1025").done);
    EXPECT_EQ(of_write("1:1:0x1025", true).code, ExitCode::wrong_usage);
}

}  // namespace

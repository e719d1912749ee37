#include "host/driver/driver.h"

#include "host/driver/driver_library.h"
#include "host/link/link_loop.h"
#include "host/link/rtu_shape.h"

#include <gtest/gtest.h>

#include <string>

namespace kelpo {
namespace {

// The driver with what a session adds: its callbacks reach the Driver object. The test is the line.
class DriverTest : public testing::Test {
protected:
    DriverTest() {
        attach(driver.library().entry(), driver.configure({100, 0}), books);
    }

    // The next request; empty when there is none.
    std::string request() {
        const Protocol *next = driver.library().entry().ComCommunication();
        return next == nullptr ? std::string()
                               : std::string(next->frame.constData(), static_cast<std::size_t>(next->send_len));
    }
    void reply(const std::string &bytes) {
        QByteArray received(bytes.data(), static_cast<int>(bytes.size()));
        driver.library().entry().DataCom(&received, static_cast<int>(received.size()));
    }
    void acknowledge() {
        reply(rtu::with_crc(request().substr(0, 6)));
    }

    static Variable register_100(int count = 1) {
        return {"", 1, 7, "100", count, View::unsigned_words};
    }

    Driver driver{DRIVER_FILE};

private:
    class Books : public LinkWatcher {
    public:
        explicit Books(Driver &driver) : driver_(driver) {}
        void request_ended(const RequestName &name, RequestOutcome outcome) override {
            driver_.note_end(name, outcome);
        }

    private:
        Driver &driver_;
    };
    Books books{driver};
};

TEST_F(DriverTest, ReportsAWriteThatIsDone) {
    const RequestName name = driver.queue_write({1, 7, "100", 1, std::string("\x2A\0", 2)});
    EXPECT_EQ(request(), std::string("\x01\x10\x00\x64\x00\x01\x02\x00\x2A\x2F\xAB", 11));
    EXPECT_FALSE(driver.take_outcome(name));
    EXPECT_FALSE(driver.all_served());
    acknowledge();
    EXPECT_TRUE(driver.all_served());
    EXPECT_EQ(driver.take_outcome(name), RequestOutcome::done);
}

TEST_F(DriverTest, ReportsAReadDoneOnceAllItsPartsAre) {
    const RequestName name = driver.queue_read(register_100(101));
    request();
    reply(rtu::with_crc(std::string("\x01\x03\xC8", 3) + std::string(200, '\1')));
    EXPECT_FALSE(driver.take_outcome(name));
    request();
    reply(rtu::with_crc(std::string("\x01\x03\x02\x00\x07", 5)));
    EXPECT_EQ(driver.take_outcome(name), RequestOutcome::done);
    EXPECT_EQ(driver.held_values(register_100()), Values{257});
    EXPECT_EQ(driver.held_values({"", 1, 7, "200", 1, View::unsigned_words}), Values{7});
}

TEST_F(DriverTest, ReportsAReadFailedThoughAPartOfItWasDone) {
    const RequestName name = driver.queue_read(register_100(101));
    request();
    reply(rtu::with_crc(std::string("\x01\x03\xC8", 3) + std::string(200, '\1')));
    request();
    reply("");
    EXPECT_EQ(driver.take_outcome(name), RequestOutcome::failed);
}

TEST_F(DriverTest, ReportsThatAWriteToAStationThatIsOffWasDropped) {
    const RequestName name = driver.queue_write({1, 7, "100", 1, std::string("\x2A\0", 2)});
    driver.switch_station(1, false);
    EXPECT_EQ(request(), "");
    EXPECT_EQ(driver.take_outcome(name), RequestOutcome::dropped);
    driver.switch_station(1, true);
    const RequestName again = driver.queue_write({1, 7, "100", 1, std::string("\x2A\0", 2)});
    EXPECT_FALSE(again == name);
    EXPECT_NE(request(), "");
}

TEST_F(DriverTest, ReportsABitInARegisterDoneOnlyWhenItIsWritten) {
    const RequestName name = driver.queue_write({1, 15, "100.3", 1, "\1"});
    EXPECT_EQ(request().substr(0, 6), std::string("\x01\x03\x00\x64\x00\x01", 6));
    reply(rtu::with_crc(std::string("\x01\x03\x02\x00\x01", 5)));
    EXPECT_FALSE(driver.take_outcome(name));
    EXPECT_EQ(request(), std::string("\x01\x06\x00\x64\x00\x09\x08\x13", 8));
    acknowledge();
    EXPECT_EQ(driver.take_outcome(name), RequestOutcome::done);
}

TEST_F(DriverTest, GivesUpOnlyTheRequestThatIsNamed) {
    const RequestName name = driver.queue_write({1, 7, "100", 1, std::string("\x2A\0", 2)});
    request();
    driver.give_up({name.group, name.id + 1});
    EXPECT_FALSE(driver.take_outcome(name));
    driver.give_up(name);
    EXPECT_EQ(driver.take_outcome(name), RequestOutcome::failed);
}

TEST_F(DriverTest, HasRoomForAsManyRequestsAsItsQueueHolds) {
    EXPECT_TRUE(driver.has_room_for(1024));
    EXPECT_FALSE(driver.has_room_for(1025));
    driver.queue_read(register_100());
    EXPECT_FALSE(driver.has_room_for(1024));
}

TEST_F(DriverTest, ListsTheBlocksThatItPolls) {
    EXPECT_EQ(driver.poll({register_100(), {"", 2, 12, "10", 2, View::unsigned_longs}}), 2);
    const auto blocks = driver.blocks();
    ASSERT_EQ(blocks.size(), 2U);
    EXPECT_EQ(blocks[0].first, 100);
    EXPECT_EQ(blocks[1].station, 2);
    EXPECT_EQ(blocks[1].register_class, 7);
    EXPECT_EQ(blocks[1].first, 10);
    EXPECT_EQ(blocks[1].count, 2);
}

TEST_F(DriverTest, ReadsAddressesByItsOwnParser) {
    EXPECT_EQ(driver.number_of(0, "17"), 15);
    EXPECT_EQ(driver.number_of(13, "204"), 4);
    EXPECT_FALSE(driver.number_of(0, "18"));
    EXPECT_FALSE(driver.number_of(7, "-3"));
}

}  // namespace
}  // namespace kelpo

// What a host can rely on under the worst conditions of a line, one at a time.
#include "resident_size.h"
#include "variables.h"

#include "process.h"
#include "pseudo_terminal.h"

#include "host/driver/raw_calls.h"
#include "host/line/rtu_crc.h"
#include "host/link/link_loop.h"
#include "host/link/session.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

using kelpo::DriverLibrary;
using kelpo::Outcome;
using std::chrono::hours;
using std::chrono::milliseconds;

constexpr int most_queued = 1024;
constexpr int done = 1;
constexpr int failed = 2;

QList<HOST_VAR> whole_screen() {
    std::vector<kelpo::Variable> variables;
    for (const soak::Variable &variable : soak::all_variables())
        variables.push_back(variable.shown);
    return kelpo::polled(variables);
}

/// How often each request was reported with each status.
class Reports : public kelpo::LinkWatcher {
public:
    void request_ended(const kelpo::RequestName &name, kelpo::RequestOutcome outcome) override {
        ++counts_[{name.id, outcome == kelpo::RequestOutcome::done ? done : failed}];
    }
    int count(int id, int status) const {
        const auto found = counts_.find({id, status});
        return found == counts_.end() ? 0 : found->second;
    }
    std::size_t size() const {
        return counts_.size();
    }

private:
    std::map<std::pair<int, int>, int> counts_;
};

/// The driver with a line that takes no time: what it asks is answered at once, or never.
class DriverWithoutPort : public testing::Test {
protected:
    DriverWithoutPort() : driver_(DRIVER_FILE) {
        info_.max_count = 100;
        info_.retry_times = 2;
        info_.multi_station = 1;
        info_.write_mode = 2;
        kelpo::attach(driver_.entry(), info_, reports_);
    }

    int write(int station, const char *address, int value, int id) {
        QByteArray bytes;
        bytes.append(static_cast<char>(value & 0xFF)).append(static_cast<char>(value >> 8));
        return driver_.entry().SetRegisterData(QString(), 7, QString::fromLatin1(address), station, bytes, 1, 20, id);
    }

    int read_once(int station, const char *address, int id) {
        RW_VAR var;
        var.var_group = 21;
        var.var_id = id;
        var.reg_type = 7;
        var.addr_text = QString::fromLatin1(address);
        var.station_no = station;
        var.reg_count = 1;
        return driver_.entry().AddListOnceReadVar(&var, 0);
    }

    int shown(int station, const char *address) {
        QByteArray value;
        driver_.entry().GetRegisterData(QString(), 7, QString::fromLatin1(address), station, value, 1);
        return static_cast<unsigned char>(value.at(0)) | static_cast<unsigned char>(value.at(1)) << 8;
    }

    // The reply of a controller that holds only zeros.
    static QByteArray answer_to(const Protocol &request) {
        const bool is_read = request.frame.at(1) == 1 || request.frame.at(1) == 3;
        QByteArray reply = request.frame.left(is_read ? 2 : 6);
        if (is_read) {
            reply.append(static_cast<char>(request.data_len));
            reply.append(QByteArray(request.data_len, '\0'));
        }
        const std::uint16_t crc = kelpo::rtu_crc(reinterpret_cast<const unsigned char *>(reply.constData()),
                                                 static_cast<std::size_t>(reply.size()));
        reply.append(static_cast<char>(crc & 0xFF)).append(static_cast<char>(crc >> 8));
        return reply;
    }

    // One turn of the link loop. False when there was no request.
    bool turn(bool answered) {
        const Protocol *request = driver_.entry().ComCommunication();
        if (request == nullptr)
            return false;
        QByteArray reply = answered ? answer_to(*request) : QByteArray();
        const int length = static_cast<int>(reply.size());
        const int code = driver_.entry().DataCom(&reply, length)->ret_value;
        EXPECT_EQ(kelpo::outcome_of(code) == Outcome::good, answered) << code;
        return true;
    }

    DriverLibrary driver_;
    ComInfo info_{};
    Reports reports_;
};

TEST_F(DriverWithoutPort, ReturnsASizeThatShowsWhatAFullQueueRefused) {
    for (int id = 1; id <= most_queued; ++id)
        ASSERT_EQ(write(1, "100", id, id), id);
    for (int id = most_queued + 1; id <= most_queued + 100; ++id)
        ASSERT_EQ(write(1, "100", id, id), most_queued);
    while (driver_.requests_waiting() > 0)
        turn(true);  // after five requests of a queue, one turn has no request
    for (int id = 1; id <= most_queued; ++id)
        ASSERT_EQ(reports_.count(id, done), 1) << id;
    EXPECT_EQ(reports_.size(), static_cast<std::size_t>(most_queued));
    EXPECT_EQ(shown(1, "100"), most_queued);
}

TEST_F(DriverWithoutPort, ReportsEveryOnceReadThatAFullQueueHasTaken) {
    for (int id = 1; id <= most_queued; ++id)
        ASSERT_EQ(read_once(1, "100", id), id);
    for (int id = most_queued + 1; id <= most_queued + 100; ++id)
        ASSERT_EQ(read_once(1, "100", id), most_queued);
    while (driver_.requests_waiting() > 0)
        turn(true);  // after five requests of a queue, one turn has no request
    for (int id = 1; id <= most_queued; ++id)
        ASSERT_EQ(reports_.count(id, done), 1) << id;
    EXPECT_EQ(reports_.size(), static_cast<std::size_t>(most_queued));
}

// At the reference host's time-outs an exchange without a reply takes 600 ms: an hour has 6000 of them. The first tenth
// fills caches and free lists.
TEST_F(DriverWithoutPort, DoesNotGrowInAnHourOnADeadLine) {
    QList<HOST_VAR> screen = whole_screen();
    driver_.entry().ReCreatReadVarList(&screen);
    long early = 0;
    int accepted = 0;
    for (int exchange = 0; exchange < 6000; ++exchange) {
        if (exchange == 600)
            early = soak::resident_size();
        if (driver_.requests_waiting() < 50 && write(1 + exchange % 6, "500", exchange, accepted + 1) > 0)
            ++accepted;
        if (driver_.requests_waiting() < 50 && read_once(1 + exchange % 6, "600", accepted + 1) > 0)
            ++accepted;
        ASSERT_TRUE(turn(false));
        shown(1 + exchange % 6, "500");
        ASSERT_LE(driver_.requests_waiting(), 51);
    }
    while (driver_.requests_waiting() > 0)
        turn(false);
    for (int id = 1; id <= accepted; ++id)
        ASSERT_EQ(reports_.count(id, failed), 1) << id;
    EXPECT_EQ(reports_.size(), static_cast<std::size_t>(accepted));
    const long late = soak::resident_size();
    EXPECT_FALSE(soak::has_grown(early, late)) << early << " KiB became " << late;
}

TEST_F(DriverWithoutPort, LosesNoRequestWhenTheListIsRebuiltMeanwhile) {
    QList<HOST_VAR> screen = whole_screen();
    const int blocks = driver_.entry().ReCreatReadVarList(&screen);
    for (int id = 1; id <= 600; ++id) {
        write(1 + id % 3, "500", id, id);
        ASSERT_NE(driver_.entry().ComCommunication(), nullptr);  // in flight while the list changes
        ASSERT_EQ(driver_.entry().ReCreatReadVarList(&screen), blocks);
        ASSERT_TRUE(turn(id % 7 != 0));
        ASSERT_EQ(static_cast<int>(driver_.read_blocks().size()), blocks);
    }
    while (driver_.requests_waiting() > 0)
        turn(true);
    for (int id = 1; id <= 600; ++id)
        ASSERT_EQ(reports_.count(id, done) + reports_.count(id, failed), 1) << id;
}

TEST_F(DriverWithoutPort, ServesTheOthersWhileAStationFlaps) {
    QList<HOST_VAR> screen = whole_screen();
    driver_.entry().ReCreatReadVarList(&screen);
    int good = 0;
    for (int exchange = 0; exchange < 3000; ++exchange) {
        const bool is_off = exchange / 100 % 2 == 1;
        if (exchange % 100 == 50)
            driver_.entry().EnableEthernet(1, is_off ? 0 : 1);
        const Protocol *request = driver_.entry().ComCommunication();
        ASSERT_NE(request, nullptr);
        const bool answered = request->var.station_no != 1 || !is_off;
        good += answered ? 1 : 0;
        ASSERT_TRUE(turn(answered));
    }
    EXPECT_GT(good, 2000);
}

/// A session with the test as its controller, which answers when the test decides.
class SlowLine : public testing::Test {
protected:
    kelpo::LinkSettings settings() const {
        kelpo::LinkSettings result;
        result.line.path = terminal.path();
        result.timeouts = {hours(1), hours(1), milliseconds(0), milliseconds(0)};
        result.pauses = {hours(1), hours(1)};
        return result;
    }

    // Both tests end while the session waits for a reply.
    void TearDown() override {
        stop.hurry();
    }

    // Returns when all calls have returned.
    void call_everything() {
        const kelpo::DriverEntryPoints &entry = driver.library().entry();
        QByteArray value;
        EXPECT_EQ(entry.GetRegisterData(QString(), 7, QLatin1String("100"), 1, value, 10), 1);
        EXPECT_GT(entry.SetRegisterData(QString(), 7, QLatin1String("100"), 1, QByteArray(2, '\1'), 1, 20, 1), 0);
        RW_VAR var;
        var.var_id = 2;
        var.reg_type = 7;
        var.addr_text = QLatin1String("100");
        var.station_no = 1;
        var.reg_count = 1;
        EXPECT_GT(entry.AddListOnceReadVar(&var, 0), 0);
        entry.EnableEthernet(9, 0);
        EXPECT_EQ(driver.poll({{"", 1, 7, "200", 1, kelpo::View::unsigned_words}}), 1);
    }

    PseudoTerminal terminal;
    kelpo::StopSignal stop;
    kelpo::Driver driver{DRIVER_FILE};
    std::unique_ptr<kelpo::Session> session;
};

TEST_F(SlowLine, DelaysNoCallWhileItWaitsForAReply) {
    session = std::make_unique<kelpo::Session>(driver, settings(), stop, std::vector<kelpo::LinkWatcher *>(),
                                               kelpo::OnLoss::open_again);
    driver.poll({{"", 1, 7, "100", 1, kelpo::View::unsigned_words}});
    session->start();
    terminal.take(8);
    call_everything();
    EXPECT_EQ(session->statistics().exchanges, 0U);  // still the same exchange: no reply was given yet
    terminal.put(std::string("\x01\x03\x02\x00\x6F\xF8\x68", 7));
    EXPECT_TRUE(comes_true([&] { return session->statistics().exchanges == 1; }));
}

TEST_F(SlowLine, DelaysNoCallWhileTheLineIsLost) {
    session = std::make_unique<kelpo::Session>(driver, settings(), stop, std::vector<kelpo::LinkWatcher *>(),
                                               kelpo::OnLoss::open_again);
    driver.poll({{"", 1, 7, "100", 1, kelpo::View::unsigned_words}});
    session->start();
    terminal.take(8);
    terminal.hang_up();
    ASSERT_TRUE(comes_true([&] { return session->statistics().times_lost == 1; }));
    call_everything();
    EXPECT_EQ(session->statistics().exchanges, 0U);
    EXPECT_EQ(session->statistics().times_lost, 1U);
}

}  // namespace

#include "host/driver/raw_calls.h"
#include "host/link/session.h"

#include "device_server.h"
#include "process.h"
#include "pseudo_terminal.h"
#include "station_1_frames.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <future>
#include <iterator>
#include <memory>
#include <mutex>

#include <sys/prctl.h>

namespace {

using kelpo::Exchange;
using kelpo::LinkSettings;
using kelpo::OnLoss;
using kelpo::Outcome;
using kelpo::Session;
using kelpo::StopSignal;
using kelpo::Variable;
using kelpo::View;
using station_1::read_100;
using station_1::read_1000;
using station_1::reply_111;
using station_1::reply_222;
using station_1::reply_333;
using std::chrono::hours;
using std::chrono::milliseconds;

Variable word(const std::string &address) {
    return {"word " + address, 1, 7, address, 1, View::unsigned_words};
}

/// Keeps what the session reports, for the test's own threads.
class SessionRecorder : public kelpo::LinkWatcher {
public:
    struct Loss {
        std::string why;
        milliseconds pause;
    };
    struct End {
        int group, id, status;

        bool operator==(const End &other) const {
            return group == other.group && id == other.id && status == other.status;
        }
    };

    void line_opened() override {
        const std::lock_guard<std::mutex> locked(mutex_);
        timer_slack_ = prctl(PR_GET_TIMERSLACK, 0UL, 0UL, 0UL, 0UL);
        ++opened_;
    }
    void line_lost(const std::string &why, milliseconds pause) override {
        const std::lock_guard<std::mutex> locked(mutex_);
        losses_.push_back({why, pause});
    }
    void request_ended(const kelpo::RequestName &name, kelpo::RequestOutcome outcome) override {
        const std::lock_guard<std::mutex> locked(mutex_);
        ends_.push_back({name.group, name.id, outcome == kelpo::RequestOutcome::done ? 1 : 2});
    }
    void exchanged(const Exchange &exchange) override {
        const std::lock_guard<std::mutex> locked(mutex_);
        outcomes_.push_back(exchange.outcome);
        stale_ += exchange.stale;
    }

    /// That of the link's thread, in nanoseconds.
    int timer_slack() const {
        const std::lock_guard<std::mutex> locked(mutex_);
        return timer_slack_;
    }
    int opened() const {
        const std::lock_guard<std::mutex> locked(mutex_);
        return opened_;
    }
    std::vector<Loss> losses() const {
        const std::lock_guard<std::mutex> locked(mutex_);
        return losses_;
    }
    std::vector<End> ends() const {
        const std::lock_guard<std::mutex> locked(mutex_);
        return ends_;
    }
    std::vector<Outcome> outcomes() const {
        const std::lock_guard<std::mutex> locked(mutex_);
        return outcomes_;
    }
    std::string stale() const {
        const std::lock_guard<std::mutex> locked(mutex_);
        return stale_;
    }

private:
    mutable std::mutex mutex_;
    int opened_ = 0;
    int timer_slack_ = 0;
    std::vector<Loss> losses_;
    std::vector<End> ends_;
    std::vector<Outcome> outcomes_;
    std::string stale_;
};

/// The line between the session and the test, which can be taken away and given back under the same path.
class Plug {
public:
    virtual ~Plug() = default;
    virtual std::string path() const = 0;
    virtual std::string take(std::size_t size) = 0;
    virtual void put(const std::string &bytes) = 0;
    virtual void pull() = 0;
    virtual void plug_in() = 0;

    /// Once the session has opened the path.
    virtual void opened() {}

    /// The next request, whole: reads have 8 bytes, writes of registers say how many follow.
    std::string request() {
        std::string bytes = take(7);
        const std::size_t rest = bytes[1] == 16 ? static_cast<unsigned char>(bytes[6]) + 2U : 1U;
        return bytes + take(rest);
    }
};

/// An adapter whose device node comes and goes.
class Adapter : public Plug {
public:
    Adapter() {
        plug_in();
    }
    ~Adapter() override {
        pull();
    }
    Adapter(const Adapter &) = delete;
    Adapter &operator=(const Adapter &) = delete;

    std::string path() const final {
        return directory_.file("line");
    }
    std::string take(std::size_t size) override {
        return terminal_->take(size);
    }
    void put(const std::string &bytes) override {
        terminal_->put(bytes);
    }
    // The path goes first: the terminal's name may soon be another program's.
    void pull() final {
        std::error_code ignored;
        std::filesystem::remove(path(), ignored);
        terminal_.reset();
    }
    void plug_in() final {
        terminal_ = std::make_unique<PseudoTerminal>();
        std::filesystem::create_symlink(terminal_->path(), path());
    }

    PseudoTerminal &terminal() {
        return *terminal_;
    }

private:
    TemporaryDirectory directory_;
    std::unique_ptr<PseudoTerminal> terminal_;
};

/// A device server that is switched off and on.
class Server : public Plug {
public:
    std::string path() const override {
        return server_.path();
    }
    std::string take(std::size_t size) override {
        return server_.take(size);
    }
    void put(const std::string &bytes) override {
        server_.put(bytes);
    }
    void pull() override {
        server_.stop_listening();
        server_.reset_connection();
    }
    void plug_in() override {
        server_.listen();
    }
    void opened() override {
        server_.accept();
    }

    DeviceServer &server() {
        return server_;
    }

private:
    DeviceServer server_;
};

class SessionTest : public testing::Test {
protected:
    // Time-outs never come here but where a test sets them: a slow machine is not a silent controller.
    static LinkSettings settings(const std::string &path) {
        LinkSettings result;
        result.line.path = path;
        result.timeouts = {hours(1), hours(1), milliseconds(0), milliseconds(0)};
        result.retries = 0;
        result.pauses = {milliseconds(1), milliseconds(8)};
        return result;
    }

    // Most tests end while a reply is awaited.
    void TearDown() override {
        stop.hurry();
        session.reset();
    }

    void begin(const LinkSettings &with, const std::vector<Variable> &variables, OnLoss on_loss = OnLoss::open_again) {
        session = std::make_unique<Session>(driver, with, stop, std::vector<kelpo::LinkWatcher *>{&recorder}, on_loss);
        driver.poll(variables);
        session->start();
    }

    // A write of one register of type 7, its id also its value.
    void write_to(const char *address, int id) const {
        const QByteArray value(1, static_cast<char>(id));
        driver.library().entry().SetRegisterData(QString(), 7, QLatin1String(address), 1, value + '\0', 1, 5, id);
    }

    int shown(const std::string &address) const {
        return static_cast<int>(kelpo::shown_by(driver.library().entry(), word(address)).at(0));
    }

    bool is_lost(std::size_t times) const {
        return comes_true([&] { return recorder.losses().size() >= times; });
    }

    void loses_nothing(Plug &plug);

    StopSignal stop;
    SessionRecorder recorder;
    kelpo::Driver driver{DRIVER_FILE};
    std::unique_ptr<Session> session;
};

// Writes 1 to 3 are queued, the line breaks in the midst of the first, and 4 to 6 are queued while it is away.
void SessionTest::loses_nothing(Plug &plug) {
    begin(settings(plug.path()), {word("1000")});
    plug.opened();
    ASSERT_EQ(plug.request(), read_1000);
    for (const int id : {1, 2, 3})
        write_to("100", id);
    plug.put(reply_222);
    const std::string broken_off = plug.request();
    ASSERT_EQ(broken_off.substr(0, 9), std::string("\x01\x10\x00\x64\x00\x01\x02\x00\x01", 9));

    plug.pull();
    ASSERT_TRUE(is_lost(3));
    EXPECT_NE(session->line_error(), "");
    EXPECT_TRUE(recorder.ends().empty());
    for (const int id : {4, 5, 6})
        write_to("100", id);
    plug.plug_in();
    plug.opened();

    std::vector<std::string> written;
    while (recorder.ends().size() < 6) {
        const std::string request = plug.request();
        if (request == read_1000) {
            plug.put(reply_222);
            continue;
        }
        if (written.empty()) {
            EXPECT_EQ(request, broken_off);
        }
        EXPECT_EQ(session->line_error(), "");
        written.push_back(request.substr(0, 9));
        plug.put(std::string("\x01\x10\x00\x64\x00\x01\x40\x16", 8));
    }
    // The next read may be under way already: nobody answers it.
    stop.hurry();
    session->finish();

    std::vector<std::string> all_in_order;
    std::vector<SessionRecorder::End> each_once;
    for (const int id : {1, 2, 3, 4, 5, 6}) {
        all_in_order.push_back(std::string("\x01\x10\x00\x64\x00\x01\x02\x00", 8) + static_cast<char>(id));
        each_once.push_back({5, id, 1});
    }
    EXPECT_EQ(written, all_in_order);
    EXPECT_EQ(recorder.ends(), each_once);
    EXPECT_EQ(recorder.opened(), 2);
    EXPECT_EQ(session->statistics().failed, 0U);
    EXPECT_EQ(session->statistics().given_up, 0U);
    EXPECT_EQ(session->statistics().times_lost, recorder.losses().size());
}

TEST_F(SessionTest, LosesNoWriteWhenAnAdapterIsPulledOutAndPluggedIn) {
    Adapter adapter;
    loses_nothing(adapter);
}

TEST_F(SessionTest, LosesNoWriteWhenADeviceServerIsSwitchedOffAndOn) {
    Server server;
    loses_nothing(server);
}

TEST_F(SessionTest, AsksAgainForTheReadThatWasUnderWayAndCountsNoFailure) {
    Adapter adapter;
    begin(settings(adapter.path()), {word("100"), word("1000")});
    ASSERT_EQ(adapter.request(), read_100);
    for (int times = 0; times < 3; ++times) {
        adapter.pull();
        adapter.plug_in();
        ASSERT_EQ(adapter.request(), read_100);
    }
    adapter.put(reply_111);
    ASSERT_EQ(adapter.request(), read_1000);
    EXPECT_EQ(shown("100"), 111);
    EXPECT_EQ(recorder.outcomes(), std::vector<Outcome>{Outcome::good});
}

TEST_F(SessionTest, ItsWaitsEndWhenTheyShouldInsteadOf50MicrosecondsLater) {
    Adapter adapter;
    begin(settings(adapter.path()), {word("100")});
    ASSERT_EQ(adapter.request(), read_100);
    EXPECT_EQ(recorder.timer_slack(), 1);
}

TEST_F(SessionTest, ReportsEachFailedTryAndMakesThePausesGrow) {
    Adapter adapter;
    begin(settings(adapter.path()), {word("100")});
    ASSERT_EQ(adapter.request(), read_100);
    adapter.put(reply_111);
    ASSERT_EQ(adapter.request(), read_100);
    adapter.pull();
    ASSERT_TRUE(is_lost(6));
    const std::vector<SessionRecorder::Loss> losses = recorder.losses();
    const int pauses[] = {1, 2, 4, 8, 8, 8};
    for (std::size_t i = 0; i < std::size(pauses); ++i) {
        EXPECT_EQ(losses[i].pause, milliseconds(pauses[i])) << i;
        EXPECT_EQ(losses[i].why.find(adapter.path() + (i == 0 ? ": hung up" : ": cannot be opened")), 0U)
            << losses[i].why;
    }
    EXPECT_EQ(session->line_error().find(adapter.path() + ": cannot be opened"), 0U) << session->line_error();
}

TEST_F(SessionTest, PausesShortlyAgainAfterALineThatCarriedSomething) {
    Adapter adapter;
    begin(settings(adapter.path()), {word("100")});
    ASSERT_EQ(adapter.request(), read_100);
    adapter.pull();
    ASSERT_TRUE(is_lost(3));
    adapter.plug_in();
    ASSERT_EQ(adapter.request(), read_100);
    adapter.put(reply_111);
    ASSERT_EQ(adapter.request(), read_100);
    const std::size_t lost_before = recorder.losses().size();
    adapter.pull();
    ASSERT_TRUE(is_lost(lost_before + 1));
    EXPECT_EQ(recorder.losses().at(lost_before).pause, milliseconds(1));
}

TEST_F(SessionTest, PausesLongerAfterALineThatBreaksBeforeItCarriedAnything) {
    Server server;
    begin(settings(server.path()), {word("100")});
    for (std::size_t times = 1; times <= 3; ++times) {
        server.opened();
        server.server().close_connection();
        ASSERT_TRUE(is_lost(times));
    }
    EXPECT_EQ(recorder.losses().at(2).pause, milliseconds(4));
}

TEST_F(SessionTest, NoticesALostLineAlsoWhenThereIsNothingToAsk) {
    Adapter adapter;
    begin(settings(adapter.path()), {});
    adapter.pull();
    EXPECT_TRUE(is_lost(1));
}

TEST_F(SessionTest, EndsInsteadWhenItIsMadeForOneUse) {
    Adapter adapter;
    begin(settings(adapter.path()), {word("100")}, OnLoss::end);
    ASSERT_EQ(adapter.request(), read_100);
    adapter.pull();
    EXPECT_TRUE(stop.wait_for(hours(1)));
    EXPECT_EQ(session->line_error().find(adapter.path() + ": hung up"), 0U) << session->line_error();
    session->finish();
    EXPECT_TRUE(recorder.losses().empty());
    EXPECT_EQ(recorder.opened(), 1);
}

TEST_F(SessionTest, EndsInThePauseWhenItIsStopped) {
    Adapter adapter;
    LinkSettings patient = settings(adapter.path());
    patient.pauses = {hours(1), hours(1)};
    begin(patient, {word("100")});
    adapter.pull();
    ASSERT_TRUE(is_lost(1));
    session->finish();
    EXPECT_EQ(recorder.losses().size(), 1U);
}

TEST_F(SessionTest, DoesNotStartWithoutALine) {
    Adapter adapter;
    const LinkSettings away = settings(adapter.path());
    adapter.pull();
    EXPECT_THROW(begin(away, {word("100")}), kelpo::LineError);
}

/// Lets the test wait for the first exchange that failed: from then on the line settles.
class FailureWatch : public kelpo::LinkWatcher {
public:
    void exchanged(const Exchange &exchange) override {
        if (exchange.outcome != Outcome::good && !noticed_) {
            noticed_ = true;
            first_.set_value();
        }
    }

    void wait_for_first() {
        first_.get_future().wait();
    }

private:
    bool noticed_ = false;
    std::promise<void> first_;
};

class LateReply : public SessionTest {
protected:
    // Registers 100 and 1000 are asked for in turn, with requests that differ in the address only.
    void begin_with(milliseconds settle) {
        LinkSettings with = settings(adapter.path());
        with.timeouts = {milliseconds(1500), milliseconds(1500), settle};
        session = std::make_unique<Session>(driver, with, stop, std::vector<kelpo::LinkWatcher *>{&recorder, &failure},
                                            OnLoss::open_again);
        driver.poll({word("100"), word("1000")});
        session->start();
    }

    Adapter adapter;
    FailureWatch failure;
};

TEST_F(LateReply, IsNotTakenForTheAnswerToTheNextRequest) {
    begin_with(milliseconds(3000));
    ASSERT_EQ(adapter.request(), read_100);
    failure.wait_for_first();
    // Late by a part of the settle time, and not even in one piece.
    stop.wait_for(milliseconds(200));
    adapter.put(reply_111.substr(0, 3));
    adapter.terminal().wait_until_read();
    stop.wait_for(milliseconds(200));
    EXPECT_EQ(adapter.terminal().take_all(), "");
    adapter.put(reply_111.substr(3));

    ASSERT_EQ(adapter.request(), read_1000);
    EXPECT_EQ(shown("1000"), 0);
    adapter.put(reply_222);
    ASSERT_EQ(adapter.request(), read_100);
    EXPECT_EQ(shown("1000"), 222);
    EXPECT_EQ(shown("100"), 0);
    adapter.put(reply_333);
    ASSERT_EQ(adapter.request(), read_1000);
    EXPECT_EQ(shown("100"), 333);
    EXPECT_EQ(shown("1000"), 222);
    EXPECT_EQ(recorder.stale(), reply_111);
}

TEST_F(SessionTest, ThrowsAwayAReplyToWhatWasAskedBeforeTheLineWasLost) {
    Server server;
    LinkSettings with = settings(server.path());
    with.timeouts.settle = milliseconds(2000);
    begin(with, {word("100")});
    server.opened();
    ASSERT_EQ(server.request(), read_100);
    server.server().close_connection();
    server.opened();
    stop.wait_for(milliseconds(100));
    server.put(reply_111);
    ASSERT_EQ(server.request(), read_100);
    server.put(reply_222);
    ASSERT_EQ(server.request(), read_100);
    EXPECT_EQ(shown("100"), 222);
}

TEST_F(LateReply, IsNotTakenEitherWhenItIsLaterThanTheSettleTime) {
    begin_with(milliseconds(0));
    ASSERT_EQ(adapter.request(), read_100);
    ASSERT_EQ(adapter.request(), read_1000);
    adapter.put(reply_111);
    adapter.put(reply_222);
    // Either may be the one's or the other's. The one that waits for its reply is asked again before it is given up.
    ASSERT_EQ(adapter.request(), read_1000);
    EXPECT_EQ(shown("1000"), 0);
    EXPECT_EQ(shown("100"), 0);
    adapter.put(reply_333);
    ASSERT_EQ(adapter.request(), read_100);
    EXPECT_EQ(shown("1000"), 333);
    EXPECT_EQ(shown("100"), 0);
}

}  // namespace

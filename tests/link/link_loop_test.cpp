#include "host/driver/driver_library.h"
#include "host/line/line.h"
#include "host/link/link_loop.h"

#include "demo/link_notes.h"
#include "host/link/link_statistics.h"
#include "line_material.h"
#include "pseudo_terminal.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <vector>

namespace {

using kelpo::DriverEntryPoints;
using kelpo::Line;
using kelpo::LinkNote;
using kelpo::LinkNotes;
using kelpo::LinkStatistics;
using kelpo::ReplyTimeouts;
using kelpo::StopSignal;
using lines::never;
using lines::settings;
using std::chrono::milliseconds;

// A driver that hands out one request and answers as the test has it. Its functions carry no pointer, like the
// real one's, so its state is global.
struct ScriptedDriver {
    Protocol request;
    RW_VAR result;
    ComInfo *info = nullptr;
    write_result_fn write_result = nullptr;
    comm_error_fn comm_error = nullptr;
    std::function<bool()> has_request = [] {
        return true;
    };
    std::function<int(const QByteArray &, int)> judge;
};
ScriptedDriver scripted_driver;

// What the loop calls; the rest stays null.
DriverEntryPoints scripted_entry() {
    DriverEntryPoints entry{};
    entry.SetComInfo = [](ComInfo *info) {
        scripted_driver.info = info;
    };
    entry.RegistCallBackFuncIntf = [](write_result_fn write_result, comm_error_fn comm_error) {
        scripted_driver.write_result = write_result;
        scripted_driver.comm_error = comm_error;
    };
    entry.ComCommunication = []() -> Protocol * {
        return scripted_driver.has_request() ? &scripted_driver.request : nullptr;
    };
    entry.DataCom = [](QByteArray *reply, int length) {
        scripted_driver.result.ret_value = scripted_driver.judge(*reply, length);
        return &scripted_driver.result;
    };
    return entry;
}
const DriverEntryPoints entry = scripted_entry();

class LinkLoop : public testing::Test {
protected:
    LinkLoop() {
        scripted_driver = ScriptedDriver();
        // One byte more than is to be sent: send_len counts, not the array's size.
        scripted_driver.request.frame = "request!";
        scripted_driver.request.send_len = 7;
        scripted_driver.request.reply_len = 5;
        watchers.add(statistics);
        watchers.add(notes);
        kelpo::attach(entry, info, watchers);
    }

    void run(const ReplyTimeouts &timeouts) {
        DriverEntryPoints with_lock = entry;
        with_lock.PLC_driver = lock_keeper.entry().PLC_driver;
        kelpo::LinkLoop(with_lock, info, {timeouts}, watchers).run(line);
    }

    const kelpo::DriverLibrary lock_keeper{DRIVER_FILE};  // the loop takes the list lock, and does nothing else with it
    PseudoTerminal terminal;
    StopSignal stop;
    Line line{settings(terminal.path()), stop};
    ComInfo info{};
    LinkStatistics statistics;
    LinkNotes notes;
    kelpo::WatcherList watchers;
};

constexpr ReplyTimeouts soon{milliseconds(20), milliseconds(20), milliseconds(0)};

TEST_F(LinkLoop, SendsTheRequestAndHandsOverTheReply) {
    QByteArray handed;
    int length = 0;
    scripted_driver.judge = [&](const QByteArray &reply, int size) {
        handed = reply;
        length = size;
        stop.raise();
        return 1;
    };
    std::string request;
    std::thread controller([&] {
        request = terminal.take(7);
        terminal.put("reply");
    });
    run(never);
    controller.join();
    EXPECT_EQ(request, "request");
    EXPECT_EQ(handed, QByteArray("reply"));
    EXPECT_EQ(length, 5);
    EXPECT_EQ(statistics.exchanges, 1U);
    EXPECT_EQ(statistics.good, 1U);
    EXPECT_EQ(statistics.bytes_sent, 7U);
    EXPECT_EQ(statistics.bytes_received, 5U);
}

TEST_F(LinkLoop, CallsTheWatcherEachTimeBeforeItAsksTheDriver) {
    struct : kelpo::LinkWatcher {
        int times = 0;
        void about_to_ask() override {
            ++times;
        }
    } asking;
    watchers.add(asking);
    std::vector<int> called_before;
    scripted_driver.has_request = [&] {
        called_before.push_back(asking.times);
        if (called_before.size() == 3)
            stop.raise();
        return false;
    };
    run(soon);
    EXPECT_EQ(called_before, (std::vector<int>{1, 2, 3}));
}

TEST_F(LinkLoop, HandsOverAMissingReplyAsOneOfLengthZero) {
    int size = -1, length = -1;
    scripted_driver.judge = [&](const QByteArray &reply, int handed) {
        size = static_cast<int>(reply.size());
        length = handed;
        stop.raise();
        return 41;
    };
    run(soon);
    EXPECT_EQ(size, 0);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(statistics.given_up, 1U);
}

TEST_F(LinkLoop, ThrowsAwayALateReplyBeforeTheNextRequest) {
    QByteArray handed;
    scripted_driver.judge = [&](const QByteArray &reply, int) {
        handed = reply;
        stop.raise();
        return 1;
    };
    terminal.put("late");
    terminal.wait_until_arrived(4);
    std::thread controller([&] {
        terminal.take(7);
        terminal.put("reply");
    });
    run(never);
    controller.join();
    EXPECT_EQ(handed, QByteArray("reply"));
    EXPECT_EQ(statistics.bytes_discarded, 4U);
}

TEST_F(LinkLoop, CountsWhatTheDriverSaysOfEachReply) {
    std::vector<int> codes = {1, 0, 0, 44, 1, 100, 1000};
    scripted_driver.request.reply_len = 0;
    scripted_driver.judge = [&](const QByteArray &, int) {
        const int code = codes.front();
        codes.erase(codes.begin());
        if (codes.empty())
            stop.raise();
        return code;
    };
    run(never);
    EXPECT_EQ(statistics.exchanges, 7U);
    EXPECT_EQ(statistics.good, 3U);
    EXPECT_EQ(statistics.failed, 3U);
    EXPECT_EQ(statistics.given_up, 1U);
}

TEST_F(LinkLoop, NotesTheRepliesThatAreNotGoodAndWhoseTheyAre) {
    std::vector<int> codes = {1, 0, 44};
    scripted_driver.request.reply_len = 0;
    scripted_driver.request.var.var_group = 3;
    scripted_driver.request.var.var_id = 77;
    scripted_driver.judge = [&](const QByteArray &, int) {
        const int code = codes.front();
        codes.erase(codes.begin());
        if (codes.empty()) {
            // The driver has dropped the request when it says so.
            scripted_driver.request = Protocol();
            stop.raise();
        }
        return code;
    };
    run(never);
    const std::vector<LinkNote> noted = notes.take();
    ASSERT_EQ(noted.size(), 2U);
    for (const LinkNote &note : noted) {
        EXPECT_EQ(note.kind, LinkNote::Kind::failed_reply);
        EXPECT_EQ(note.group, 3);
        EXPECT_EQ(note.id, 77);
    }
    EXPECT_EQ(noted[0].value, 0);
    EXPECT_EQ(noted[1].value, 44);
    EXPECT_TRUE(notes.take().empty());
}

TEST_F(LinkLoop, CountsAPassEachTimeTheDriverRaisesTheFinishFlag) {
    int exchanges = 0;
    scripted_driver.request.reply_len = 0;
    scripted_driver.judge = [&](const QByteArray &, int) {
        ++exchanges;
        info.finish_flag = exchanges % 3 == 0 ? 1 : 0;
        if (exchanges == 7)
            stop.raise();
        return 1;
    };
    run(never);
    EXPECT_EQ(statistics.passes, 2U);
    EXPECT_EQ(info.finish_flag, 0);
}

TEST_F(LinkLoop, DoesNotCountAPassWhenThereIsNothingToSend) {
    int asked = 0;
    scripted_driver.has_request = [&] {
        info.finish_flag = 1;
        if (++asked == 3)
            stop.raise();
        return false;
    };
    run(never);
    EXPECT_EQ(asked, 3);
    EXPECT_EQ(statistics.passes, 0U);
    EXPECT_EQ(statistics.exchanges, 0U);
}

TEST_F(LinkLoop, WaitsForTheReplyInFlightWhenItIsStopped) {
    scripted_driver.judge = [](const QByteArray &reply, int) {
        EXPECT_EQ(reply, QByteArray("reply"));
        return 1;
    };
    std::thread other([&] {
        terminal.take(7);
        stop.raise();
        terminal.put("reply");
    });
    run(never);
    other.join();
    EXPECT_EQ(statistics.good, 1U);
}

TEST_F(LinkLoop, LeavesTheRequestInFlightWhenItIsBrokenOff) {
    scripted_driver.judge = [](const QByteArray &, int) {
        ADD_FAILURE() << "an exchange that was broken off was judged";
        return 1;
    };
    std::thread other([&] {
        terminal.take(7);
        stop.hurry();
    });
    run(never);
    other.join();
    EXPECT_EQ(statistics.exchanges, 0U);
}

TEST_F(LinkLoop, ReportsTheLineThatIsGone) {
    std::thread controller([&] {
        terminal.take(7);
        terminal.hang_up();
    });
    EXPECT_THROW(run(never), kelpo::LineError);
    controller.join();
}

TEST_F(LinkLoop, CountsAndNotesTheDriversCallbacks) {
    QList<RW_VAR> none;
    scripted_driver.write_result(0, 1, 2, 1);
    scripted_driver.write_result(0, 1, 2, 1);
    scripted_driver.write_result(0, 1, 2, 2);
    scripted_driver.comm_error(&none, 1, 1);
    EXPECT_EQ(scripted_driver.info, &info);
    EXPECT_EQ(statistics.writes_done, 2U);
    EXPECT_EQ(statistics.writes_failed, 1U);
    EXPECT_EQ(statistics.error_calls, 1U);

    const std::vector<LinkNote> noted = notes.take();
    ASSERT_EQ(noted.size(), 4U);
    EXPECT_EQ(noted[0].kind, LinkNote::Kind::result);
    EXPECT_EQ(noted[0].group, 1);
    EXPECT_EQ(noted[0].id, 2);
    EXPECT_EQ(noted[0].value, 1);
    EXPECT_EQ(noted[2].value, 2);
    EXPECT_EQ(noted[3].kind, LinkNote::Kind::comm_error);
    EXPECT_EQ(noted[3].group, 1);
}

}  // namespace

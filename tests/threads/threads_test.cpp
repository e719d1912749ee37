// Runs everything that may run at the same time, at the same time. With ThreadSanitizer this finds what is not locked;
// without it, what gets lost.
#include "memory_controller.h"

#include <ozna_kelpo_port.h>

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

namespace {

constexpr int stations = 3;
constexpr int writes_per_screen = 400;
constexpr int screens = 2;

std::atomic<int> writes_done{0};
std::atomic<int> writes_failed{0};

void note_write_result(int, int, int, int status) {
    ++(status == 1 ? writes_done : writes_failed);
}

void note_error(QList<RW_VAR> *, int, int) {}

QList<HOST_VAR> polled_variables(int first, int count) {
    QList<HOST_VAR> variables;
    for (int i = 0; i < count; ++i) {
        HOST_VAR variable{};
        variable.reg_type = static_cast<unsigned char>(i % 3 == 0 ? 4 : 7);
        variable.station_no = static_cast<unsigned char>(1 + i % stations);
        variable.addr_text = QString::number(first + 7 * i);
        variable.reg_count = 3;
        variables.append(variable);
    }
    return variables;
}

QByteArray low_first(int value) {
    QByteArray bytes;
    bytes.append(static_cast<char>(value & 0xFF));
    bytes.append(static_cast<char>(value >> 8 & 0xFF));
    return bytes;
}

int shown_word(int station, int address) {
    QByteArray out;
    GetRegisterData(QString(), 7, QString::number(address), station, out, 1);
    return static_cast<unsigned char>(out.at(0)) | static_cast<unsigned char>(out.at(1)) << 8;
}

class Threads : public testing::Test {
protected:
    Threads() {
        info_.max_count = 20;
        info_.default_station = 1;
        info_.retry_times = 1000000;  // a lost reply is asked for again, however many there were before
        info_.multi_station = 1;
        info_.write_mode = 2;
        SetComInfo(&info_);
        RegistCallBackFuncIntf(note_write_result, note_error);
        QList<HOST_VAR> variables = polled_variables(0, 30);
        ReCreatReadVarList(&variables);
    }

    // One turn of a host's loop. Every 97th reply is lost, or each one if not `answered`. False when there is no
    // request.
    bool exchange(bool answered = true) {
        Protocol *const request = ComCommunication();
        if (request == nullptr)
            return false;
        QByteArray reply = controller_.answer(request->frame);
        if (!answered || ++exchanges_ % 97 == 0)
            reply.clear();
        DataCom(&reply, static_cast<int>(reply.size()));
        return true;
    }

    // Runs the link until every job is done.
    void run_while_link_runs(const std::vector<std::function<void()>> &jobs, bool answered = true) {
        std::atomic<int> running{static_cast<int>(jobs.size())};
        std::vector<std::thread> threads;
        for (const auto &job : jobs)
            threads.emplace_back([&running, &job] {
                job();
                --running;
            });
        while (running > 0)
            if (!exchange(answered))
                std::this_thread::yield();
        for (std::thread &thread : threads)
            thread.join();
    }

    // Exchanges until the queues are empty; bounded, since each request takes a bounded number of exchanges.
    void empty_queues() {
        for (int turn = 0; turn < 100000; ++turn) {
            exchange();
            if (PLC_driver.write_list.isEmpty() && PLC_driver.once_read_list.isEmpty() &&
                PLC_driver.frame_list.isEmpty())
                return;
        }
        FAIL() << "the queues are not empty";
    }

    ComInfo info_{};
    MemoryController controller_;
    int exchanges_ = 0;
};

TEST_F(Threads, ScreensStationsOnceReadsAndRebuildsRunWhileTheLinkRuns) {
    std::vector<std::function<void()>> jobs;
    for (int screen = 0; screen < screens; ++screen) {
        jobs.emplace_back([screen] {
            for (int i = 1; i <= writes_per_screen; ++i) {
                // No more than the queue holds, so that no write is dropped.
                while (SetRegisterData(QString(), 0, QLatin1String("0"), 1, QByteArray(), 1, 0, 0) > 900)
                    std::this_thread::yield();
                SetRegisterData(QString(), 7, QString::number(5000 + screen), 1 + screen, low_first(i), 1, screen, 1);
                SetRegisterData(QString(), 15, QLatin1String("5100.") + QString::number(screen), 1,
                                QByteArray(1, static_cast<char>(i % 2)), 1, screen, 2);
            }
        });
        jobs.emplace_back([screen] {
            for (int i = 0; i < 4 * writes_per_screen; ++i) {
                shown_word(1 + screen, 7 * (i % 30));
                QByteArray bits;
                GetRegisterData(QString(), 4, QString::number(i % 200), 1 + screen, bits, 16);
            }
        });
    }
    jobs.emplace_back([] {
        // A station that no write goes to: its writes would be dropped.
        for (int i = 0; i < writes_per_screen; ++i) {
            EnableEthernet(3, i % 2);
            Ethernetcontains(3);
        }
        EnCommStation(-1, 0);
    });
    jobs.emplace_back([] {
        for (int i = 0; i < writes_per_screen; ++i) {
            RW_VAR once;
            once.var_group = 9;
            once.var_id = i;
            once.reg_type = 8;
            once.addr_text = QString::number(i % 300);
            once.station_no = 2;
            once.reg_count = 30;
            AddListOnceReadVar(&once, 0);
        }
    });
    jobs.emplace_back([] {
        for (int i = 0; i < writes_per_screen / 4; ++i) {
            QList<HOST_VAR> variables = polled_variables(i % 5, 10 + i % 20);
            EXPECT_GT(ReCreatReadVarList(&variables), 0);
        }
    });

    run_while_link_runs(jobs);
    empty_queues();

    EXPECT_GT(writes_done, 0);
    EXPECT_EQ(writes_failed, 0);
    for (int screen = 0; screen < screens; ++screen) {
        EXPECT_EQ(controller_.holding_register(1 + screen, 5000 + screen), writes_per_screen);
        EXPECT_EQ(shown_word(1 + screen, 5000 + screen), writes_per_screen);
    }
    EXPECT_EQ(controller_.holding_register(1, 5100), 0) << "each screen's last bit is 0";
}

// Giving up a request replaces the whole queue: a thread that still read it without the lock would read freed memory.
TEST_F(Threads, ScreensWriteWhileTheLinkGivesUpEachRequest) {
    info_.retry_times = 0;
    const int failed_before = writes_failed;
    std::vector<std::function<void()>> jobs;
    for (int screen = 0; screen < screens; ++screen) {
        jobs.emplace_back([screen] {
            for (int i = 0; i < 40 * writes_per_screen; ++i) {
                const int queued =
                    SetRegisterData(QString(), 7, QLatin1String("5300"), 1, low_first(i), 1, 4 + screen, i % 3);
                ASSERT_GE(queued, 1) << "the size with this write, before the link removed it";
                ASSERT_LE(queued, 1024);
            }
        });
        jobs.emplace_back([] {
            for (int i = 0; i < 80 * writes_per_screen; ++i) {
                // Not writable: nothing is queued, and only the size is asked for.
                const int queued = SetRegisterData(QString(), 0, QLatin1String("0"), 1, QByteArray(), 1, 0, 0);
                ASSERT_GE(queued, 0);
                ASSERT_LE(queued, 1024);
            }
        });
    }

    run_while_link_runs(jobs, false);
    empty_queues();

    EXPECT_GT(writes_failed, failed_before);
}

TEST_F(Threads, AScreenNeverWaitsForTheLinkToReadOrCacheAValue) {
    info_.write_mode = 1;
    PLC_driver.list_mutex.lock();  // as while a frame is built or a callback runs
    std::thread screen([] {
        SetRegisterData(QString(), 7, QLatin1String("5200"), 1, low_first(77), 1, 0, 3);
        EXPECT_EQ(shown_word(1, 5200), 77);
        EnableEthernet(3, 0);
        EXPECT_TRUE(Ethernetcontains(3));
        EnableEthernet(3, 1);
    });
    screen.join();
    PLC_driver.list_mutex.unlock();
}

}  // namespace

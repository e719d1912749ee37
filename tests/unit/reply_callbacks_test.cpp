// What a callback may call, and which locks a reply takes.
#include "reply_exchange.h"

#include <chrono>
#include <thread>

using support::answer;
using support::answer_correctly;
using support::answer_nothing;
using support::bytes;
using support::entries;
using support::good_echo;
using support::hex;
using support::make_var;
using support::other_area;
using support::own_area;
using support::ReplyTest;
using support::write_var;

namespace {

class ReplyLocks : public ReplyTest {};

// ---- callbacks

ComInfo *busy_block = nullptr;
int busy_write_results = 0;
int busy_comm_errors = 0;
std::string busy_order;

void busy_write_result(int, int, int, int);
void busy_comm_error(QList<RW_VAR> *, int, int);

// Calls everything that does not take list_mutex, which the driver holds now.
void call_everything() {
    EXPECT_FALSE(support::is_free(PLC_driver.list_mutex));
    EXPECT_TRUE(support::is_free(PLC_driver.cache_mutex));
    EXPECT_TRUE(support::is_free(PLC_driver.station_mutex));

    RW_VAR polled = make_var(7, 5000, 1);
    polled.area_no = own_area;
    const int size = static_cast<int>(PLC_driver.read_list.size());
    EXPECT_EQ(AddListReadVar(&polled), size + 1);

    RW_VAR unparsable = make_var(7, 0, 1);
    unparsable.addr_text = QString::fromLatin1("abc");
    EXPECT_EQ(AddListOnceReadVar(&unparsable, 0), 0);

    EnableEthernet(77, 0);
    EXPECT_TRUE(Ethernetcontains(77));
    EnCommStation(77, 1);
    EXPECT_FALSE(Ethernetcontains(77));

    const QString address = QString::fromLatin1("600");
    EXPECT_EQ(PLCAddressChangeIntef(7, address), 600);
    EXPECT_EQ(StringAddressToInt(7, address), 600);
    const int write_mode = busy_block->write_mode;
    busy_block->write_mode = 0;
    SetRegisterData(QString(), 7, address, 1, bytes("CD AB"), 1, 0, 0);
    busy_block->write_mode = 2;
    EXPECT_EQ(SetRegisterData(QString(), 7, QString::fromLatin1("abc"), 1, bytes("CD AB"), 1, 0, 0), 0);
    busy_block->write_mode = write_mode;
    QByteArray out;
    EXPECT_EQ(GetRegisterData(QString(), 7, address, 1, out, 1), 1);
    EXPECT_EQ(hex(out), "CD AB");
    EXPECT_EQ(GetRegisterData(QString(), 7, QString::fromLatin1("abc"), 1, out, 1), 0);

    EXPECT_EQ(QueryFinishFlag(), 1);
    FlashLocalRegister(nullptr, nullptr, nullptr);
    SetComInfo(busy_block);
    RegistCallBackFuncIntf(busy_write_result, busy_comm_error);
    QList<RW_VAR> pieces;
    WhetherGroup(25, 10, &polled, &pieces);
    EXPECT_EQ(pieces.size(), 3);
    if (!PLC_driver.frame_list.isEmpty()) {
        EXPECT_EQ(ComCommunication(), &PLC_driver.frame_list.first());
    }
}

void busy_write_result(int, int, int, int) {
    ++busy_write_results;
    busy_order += 'w';
    call_everything();
}

void busy_comm_error(QList<RW_VAR> *list, int, int) {
    ++busy_comm_errors;
    busy_order += 'e';
    call_everything();
    list->append(RW_VAR());
}

class ReplyCallbacks : public ReplyTest {
protected:
    ReplyCallbacks() {
        busy_block = &info;
        busy_write_results = 0;
        busy_comm_errors = 0;
        busy_order.clear();
        RegistCallBackFuncIntf(busy_write_result, busy_comm_error);
    }
};

TEST_F(ReplyCallbacks, MayCallAnythingAfterACompletedWrite) {
    queue_write(write_of(1));
    queue_write(write_of(2));
    EXPECT_EQ(complete(), 1);
    EXPECT_EQ(complete(), 1);
    EXPECT_EQ(busy_write_results, 2);
    EXPECT_TRUE(PLC_driver.write_list.isEmpty());
    EXPECT_EQ(support::spans(PLC_driver.read_list), "(5000,1) (5000,1)");
    EXPECT_EQ(complete(), 1);
    EXPECT_EQ(PLC_driver.last_op, 0);
}

TEST_F(ReplyCallbacks, MayCallAnythingAfterAGivenUpWrite) {
    queue_write(write_of(1));
    queue_write(write_of(1));
    queue_write(write_of(2));
    EXPECT_EQ(fail(), 41);
    EXPECT_EQ(busy_order, "we");
    EXPECT_EQ(identities(PLC_driver.write_list), "20/2@1");
    EXPECT_EQ(complete(), 1);
    EXPECT_EQ(busy_order, "wew");
}

TEST_F(ReplyCallbacks, MayCallAnythingAfterOnceReads) {
    queue_once_read(once_of(1));
    queue_once_read(once_of(2));
    EXPECT_EQ(complete(), 1);
    EXPECT_EQ(fail(), 41);
    EXPECT_EQ(busy_order, "wwe");
    EXPECT_TRUE(PLC_driver.once_read_list.isEmpty());
    EXPECT_EQ(complete(), 1);
}

TEST_F(ReplyCallbacks, MayCallAnythingAfterAGivenUpCyclicRead) {
    poll(30);
    poll(31);
    EXPECT_EQ(fail(), 41);
    EXPECT_EQ(busy_order, "e");
    EXPECT_EQ(support::spans(PLC_driver.read_list), "(31,1) (30,1) (5000,1)");
    EXPECT_EQ(complete(), 1);
}

TEST_F(ReplyCallbacks, MayAskForTheNextFrameInFlight) {
    queue_write(write_of(1));
    ComCommunication();
    put_in_flight(0, own_area);
    EXPECT_EQ(answer_correctly(), 1);
    EXPECT_EQ(busy_write_results, 1);
    EXPECT_EQ(PLC_driver.frame_list.size(), 1);
}

TEST_F(ReplyCallbacks, MayCallAnythingAfterRefusedRequests) {
    RW_VAR write = write_of(1);
    write.reg_type = 18;
    queue_write(write);
    RW_VAR once = once_of(2);
    once.reg_type = 12;
    queue_once_read(once);
    EXPECT_EQ(ComCommunication(), nullptr);
    EXPECT_EQ(ComCommunication(), nullptr);
    EXPECT_EQ(busy_order, "ww");
    EXPECT_EQ(complete(), 1);
    EXPECT_EQ(PLC_driver.last_op, 0);
}

// ---- locks

TEST_F(ReplyLocks, NothingInFlightAndTheSpecialReplyTakeNoLock) {
    const auto idle = [] {
        EXPECT_EQ(answer_nothing(), 1);
    };
    EXPECT_TRUE(support::does_not_wait_for(PLC_driver.list_mutex, idle));
    EXPECT_TRUE(support::does_not_wait_for(PLC_driver.cache_mutex, idle));
    put_in_flight(0, own_area);
    const auto special = [] {
        EXPECT_EQ(answer(bytes("01 6A 8B 00 00")), 1000);
    };
    EXPECT_TRUE(support::does_not_wait_for(PLC_driver.list_mutex, special));
    EXPECT_TRUE(support::does_not_wait_for(PLC_driver.cache_mutex, special));
}

TEST_F(ReplyLocks, EveryOtherReplyWaitsForListMutex) {
    put_in_flight(0, own_area);
    info.retry_times = 1;
    EXPECT_TRUE(support::waits_for(PLC_driver.list_mutex, [] { answer_nothing(); }));
    EXPECT_TRUE(support::waits_for(PLC_driver.list_mutex, [] { answer_nothing(); }));
    put_in_flight(0, own_area);
    EXPECT_TRUE(support::waits_for(PLC_driver.list_mutex, [] { answer(bytes(good_echo)); }));
}

TEST_F(ReplyLocks, OnlyStoringALocalReplyTakesCacheMutex) {
    queue_once_read(once_of(1));
    ComCommunication();
    EXPECT_TRUE(support::waits_for(PLC_driver.cache_mutex, [] { answer_correctly(); }));
    queue_write(write_of(1));
    ComCommunication();
    EXPECT_TRUE(support::does_not_wait_for(PLC_driver.cache_mutex, [] { answer_correctly(); }));
}

// The read half of a bit write in a remote area changes no cache, so nothing has to wait for it.
TEST_F(ReplyLocks, AReplyOfARemoteAreaTakesNoCacheMutex) {
    RW_VAR var = write_var(16, 0x23, 1, "01");
    var.area_no = other_area;
    queue_write(var);
    ComCommunication();
    EXPECT_TRUE(support::does_not_wait_for(PLC_driver.cache_mutex, [] {
        EXPECT_EQ(answer(bytes("01 03 02 00 10 B9 88")), 1);
        EXPECT_EQ(answer(bytes("01 06 1F 42 00 18 2E 00")), 100);
    }));
}

// The reply is judged and stored first; the pass is counted once the driver holds list_mutex.
TEST_F(ReplyLocks, AReplyIsStoredBeforeListMutexIsTaken) {
    poll(30);
    poll(31);
    ComCommunication();
    PLC_driver.list_mutex.lock();
    std::thread link([] { answer(bytes("01 03 02 12 34 B5 33")); });
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    std::string stored;
    while (stored.empty() && std::chrono::steady_clock::now() < deadline) {
        PLC_driver.cache_mutex.lock();
        stored = entries(PLC_driver.word_cache);
        PLC_driver.cache_mutex.unlock();
        std::this_thread::yield();
    }
    EXPECT_EQ(stored, "0107001E=1234");
    EXPECT_EQ(PLC_driver.read_pass_count, 0);
    PLC_driver.list_mutex.unlock();
    link.join();
    EXPECT_EQ(PLC_driver.read_pass_count, 1);
}

}  // namespace

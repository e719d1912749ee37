#include "driver_test.h"

#include "hex_text.h"
#include "reset_driver.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <sstream>
#include <thread>

namespace support {

namespace {

const int pattern = 0x5AA5C33C;

std::vector<WriteResult> seen_write_results;
std::vector<CommError> seen_comm_errors;

void record_write_result(int channel_id, int var_group, int var_id, int status) {
    const WriteResult result = {channel_id, var_group, var_id, status};
    seen_write_results.push_back(result);
}

void record_comm_error(QList<RW_VAR> *list, int var_group, int flag) {
    const CommError error = {list != nullptr && list->isEmpty(), var_group, flag, !is_free(PLC_driver.list_mutex),
                             !is_free(PLC_driver.cache_mutex)};
    seen_comm_errors.push_back(error);
}

// Runs `action` in a thread while `mutex` is held; waits for its end for at most `patience`.
bool ends_while_held(QMutex &mutex, const std::function<void()> &action, std::chrono::milliseconds patience) {
    std::mutex guard;
    std::condition_variable changed;
    bool ended = false;

    mutex.lock();
    std::thread runner([&] {
        action();
        const std::lock_guard<std::mutex> lock(guard);
        ended = true;
        changed.notify_one();
    });
    bool ended_in_time = false;
    {
        std::unique_lock<std::mutex> lock(guard);
        ended_in_time = changed.wait_for(lock, patience, [&] { return ended; });
    }
    mutex.unlock();
    runner.join();
    return ended_in_time;
}

}  // namespace

HostBlock::HostBlock() : before(), info(), after() {
    for (int &word : before)
        word = pattern;
    for (int &word : info.host_words_0_to_3)
        word = pattern;
    info.host_word_5 = pattern;
    for (int &word : after)
        word = pattern;
}

bool HostBlock::other_words_unchanged() const {
    for (int word : before)
        if (word != pattern)
            return false;
    for (int word : info.host_words_0_to_3)
        if (word != pattern)
            return false;
    for (int word : after)
        if (word != pattern)
            return false;
    return info.host_word_5 == pattern;
}

int HostBlock::word(int index) const {
    int value = 0;
    std::memcpy(&value, reinterpret_cast<const char *>(&info) + static_cast<std::size_t>(index) * sizeof(int),
                sizeof value);
    return value;
}

bool is_free(QMutex &mutex) {
    const bool locked = mutex.tryLock();
    if (locked)
        mutex.unlock();
    return locked;
}

bool waits_for(QMutex &mutex, const std::function<void()> &action) {
    return !ends_while_held(mutex, action, std::chrono::milliseconds(50));
}

bool does_not_wait_for(QMutex &mutex, const std::function<void()> &action) {
    return ends_while_held(mutex, action, std::chrono::minutes(1));
}

testing::AssertionResult takes_only(std::initializer_list<QMutex *> mutexes, const std::function<void()> &action) {
    const std::pair<QMutex *, const char *> all[] = {{&PLC_driver.list_mutex, "list_mutex"},
                                                     {&PLC_driver.cache_mutex, "cache_mutex"},
                                                     {&PLC_driver.station_mutex, "station_mutex"}};
    for (const auto &mutex : all) {
        const bool is_expected = std::find(mutexes.begin(), mutexes.end(), mutex.first) != mutexes.end();
        if (is_expected && !waits_for(*mutex.first, action))
            return testing::AssertionFailure() << "does not take " << mutex.second;
        if (!is_expected && !does_not_wait_for(*mutex.first, action))
            return testing::AssertionFailure() << "takes " << mutex.second;
    }
    return testing::AssertionSuccess();
}

DriverTest::DriverTest() : info(block.info), write_results(seen_write_results), comm_errors(seen_comm_errors) {
    reset_driver();
    seen_write_results.clear();
    seen_comm_errors.clear();
    SetComInfo(&info);
    RegistCallBackFuncIntf(record_write_result, record_comm_error);
    info.max_count = 100;
    info.default_station = 1;
    info.retry_times = 2;
}

DriverTest::~DriverTest() {
    reset_driver();
}

void DriverTest::TearDown() {
    EXPECT_TRUE(block.other_words_unchanged());
    EXPECT_TRUE(is_free(PLC_driver.list_mutex));
    EXPECT_TRUE(is_free(PLC_driver.cache_mutex));
    EXPECT_TRUE(is_free(PLC_driver.station_mutex));
}

RW_VAR make_var(int reg_type, int reg_addr, int reg_count, int station_no) {
    RW_VAR var;
    var.reg_type = reg_type;
    var.reg_addr = reg_addr;
    var.reg_count = reg_count;
    var.station_no = station_no;
    return var;
}

RW_VAR full_var() {
    RW_VAR var;
    var.var_group = 101;
    var.var_id = 102;
    var.host_ref2 = 103;
    var.host_ref3 = 104;
    var.area_no = 105;
    var.ret_value = 106;
    var.aux_text = QString::fromLatin1("aux 107");
    var.addr_text = QString::fromLatin1("addr 108");
    var.reg_type = 109;
    var.reg_addr = 110;
    var.station_no = 111;
    var.reg_count = 112;
    var.store_mode = 113;
    var.aux_word = 114;
    var.value_bytes = bytes("01 02 03");
    return var;
}

std::string describe(const RW_VAR &var) {
    std::ostringstream text;
    text << "var_group " << var.var_group << "\nvar_id " << var.var_id << "\nhost_ref2 " << var.host_ref2
         << "\nhost_ref3 " << var.host_ref3 << "\narea_no " << var.area_no << "\nret_value " << var.ret_value
         << "\naux_text " << var.aux_text.toUtf8().constData() << "\naddr_text " << var.addr_text.toUtf8().constData()
         << "\nreg_type " << var.reg_type << "\nreg_addr " << var.reg_addr << "\nstation_no " << var.station_no
         << "\nreg_count " << var.reg_count << "\nstore_mode " << var.store_mode << "\naux_word " << var.aux_word
         << "\nvalue_bytes " << hex(var.value_bytes);
    return text.str();
}

HOST_VAR host_var(int reg_type, int station_no, const char *addr_text, int reg_count, const char *aux_text) {
    HOST_VAR var;
    var.host_byte_0 = 0x11;
    var.reg_type = static_cast<unsigned char>(reg_type);
    var.station_no = static_cast<unsigned char>(station_no);
    var.host_byte_3 = 0x22;
    var.host_word_4 = 0x33333333;
    var.addr_text = QString::fromLatin1(addr_text);
    var.aux_text = QString::fromLatin1(aux_text);
    var.reg_count = reg_count;
    return var;
}

Protocol make_frame(const RW_VAR &var, const QByteArray &frame, int data_len) {
    Protocol request;
    request.frame = frame;
    request.send_len = static_cast<int>(frame.size());
    request.reply_len = static_cast<int>(static_cast<unsigned int>(data_len) + 5U);
    request.data_offset = 3;
    request.data_len = data_len;
    request.var = var;
    return request;
}

std::string spans(const QList<RW_VAR> &list) {
    std::ostringstream text;
    for (const RW_VAR &var : list)
        text << (text.tellp() > 0 ? " " : "") << "(" << var.reg_addr << "," << var.reg_count << ")";
    return text.str();
}

std::string blocks(const QList<RW_VAR> &list) {
    std::ostringstream text;
    for (const RW_VAR &var : list)
        text << (text.tellp() > 0 ? " " : "") << var.station_no << "/" << var.reg_type << "(" << var.reg_addr << ","
             << var.reg_count << ")";
    return text.str();
}

}  // namespace support

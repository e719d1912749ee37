// The driver object built and destroyed in memory that was used before. The library's own instance is in memory that is
// zero at first, which would hide a member that the constructor does not set.
#include "Communication_Protocol.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>

namespace {

int callbacks_called = 0;

void count_write_result(int, int, int, int) {
    ++callbacks_called;
}

void count_comm_error(QList<RW_VAR> *, int, int) {
    ++callbacks_called;
}

class Construction : public ::testing::Test {
protected:
    Construction() : driver(nullptr) {
        std::memset(memory, 0xA5, sizeof memory);
        driver = new (memory) Communication_Protocol;
    }

    ~Construction() override {
        if (driver != nullptr)
            driver->~Communication_Protocol();
    }

    void destroy() {
        driver->~Communication_Protocol();
        driver = nullptr;
    }

    alignas(Communication_Protocol) unsigned char memory[sizeof(Communication_Protocol)];
    Communication_Protocol *driver;
};

}  // namespace

TEST_F(Construction, EmptiesEveryList) {
    EXPECT_TRUE(driver->read_list.isEmpty());
    EXPECT_TRUE(driver->write_list.isEmpty());
    EXPECT_TRUE(driver->once_read_list.isEmpty());
    EXPECT_TRUE(driver->read_source_list.isEmpty());
    EXPECT_TRUE(driver->frame_list.isEmpty());
    EXPECT_TRUE(driver->extend_list.isEmpty());
    EXPECT_TRUE(driver->disabled_stations.isEmpty());
    EXPECT_TRUE(driver->bit_cache.isEmpty());
    EXPECT_TRUE(driver->word_cache.isEmpty());
    EXPECT_TRUE(driver->dword_cache.isEmpty());
}

TEST_F(Construction, SetsEveryPointerCounterAndFlag) {
    EXPECT_EQ(driver->com_info, nullptr);
    EXPECT_EQ(driver->write_result_cb, nullptr);
    EXPECT_EQ(driver->comm_error_cb, nullptr);
    EXPECT_EQ(driver->last_op, 100);
    EXPECT_EQ(driver->write_tries, 0);
    EXPECT_EQ(driver->once_read_tries, 0);
    EXPECT_EQ(driver->read_pass_count, 0);
    EXPECT_FALSE(driver->comm_failed);
    EXPECT_FALSE(driver->spare_flag);
    unsigned char flags[2] = {};
    std::memcpy(&flags[0], &driver->comm_failed, 1);
    std::memcpy(&flags[1], &driver->spare_flag, 1);
    EXPECT_EQ(flags[0], 0);
    EXPECT_EQ(flags[1], 0);
}

TEST_F(Construction, SetsAll1024BytesOfTheSendBufferToZero) {
    for (unsigned i = 0; i < 1024; ++i)
        ASSERT_EQ(driver->send_buf[i], 0) << "byte " << i;
}

TEST_F(Construction, LeavesTheTwoRecordsWithDefaultValues) {
    for (const RW_VAR *var : {&driver->ret_var, &driver->fail_var}) {
        EXPECT_EQ(var->var_group, 0);
        EXPECT_EQ(var->var_id, 0);
        EXPECT_EQ(var->host_ref2, 0);
        EXPECT_EQ(var->host_ref3, 0);
        EXPECT_EQ(var->area_no, 0);
        EXPECT_EQ(var->ret_value, 0);
        EXPECT_EQ(var->reg_type, 0);
        EXPECT_EQ(var->reg_addr, 0);
        EXPECT_EQ(var->station_no, 0);
        EXPECT_EQ(var->reg_count, 0);
        EXPECT_EQ(var->store_mode, 0);
        EXPECT_EQ(var->aux_word, 0);
        EXPECT_TRUE(var->aux_text.isEmpty());
        EXPECT_TRUE(var->addr_text.isEmpty());
        EXPECT_TRUE(var->value_bytes.isEmpty());
    }
}

TEST_F(Construction, MakesThreeMutexesThatAreNotRecursive) {
    for (QMutex *mutex : {&driver->list_mutex, &driver->cache_mutex, &driver->station_mutex}) {
        ASSERT_TRUE(mutex->tryLock());
        EXPECT_FALSE(mutex->tryLock());
        mutex->unlock();
    }
}

TEST_F(Construction, DestructionChangesNothingOfTheHosts) {
    ComInfo info;
    std::memset(&info, 0x3C, sizeof info);
    const ComInfo before = info;
    int host_memory[4] = {1, 2, 3, 4};
    callbacks_called = 0;

    LB = &host_memory[0];
    LW = &host_memory[1];
    RWI = &host_memory[2];
    driver->com_info = &info;
    driver->write_result_cb = count_write_result;
    driver->comm_error_cb = count_comm_error;
    driver->read_list.append(RW_VAR());
    driver->frame_list.append(Protocol());
    driver->last_op = 1;
    destroy();

    EXPECT_EQ(callbacks_called, 0);
    EXPECT_EQ(std::memcmp(&before, &info, sizeof info), 0);
    EXPECT_EQ(host_memory[0], 1);
    EXPECT_EQ(host_memory[1], 2);
    EXPECT_EQ(host_memory[2], 3);
    EXPECT_EQ(host_memory[3], 4);
    LB = nullptr;
    LW = nullptr;
    RWI = nullptr;
}

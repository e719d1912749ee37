// A panel that loads the driver, works with it and unloads it again, each time it changes its project.
#include "ozna_kelpo_port.h"
#include "support/sanitizers.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <malloc.h>

#include <string>

#if WITH_ADDRESS_SANITIZER
#    include <sanitizer/lsan_interface.h>
#endif

namespace {

const int rounds = 100;

void ignore_write_result(int, int, int, int) {}
void ignore_comm_error(QList<RW_VAR> *, int, int) {}

class LoadedDriver {
public:
    LoadedDriver() : handle_(dlopen(DRIVER_FILE, RTLD_NOW | RTLD_LOCAL)) {
        if (handle_ == nullptr)
            return;
        look_up("SetComInfo", SetComInfo);
        look_up("RegistCallBackFuncIntf", RegistCallBackFuncIntf);
        look_up("FlashLocalRegister", FlashLocalRegister);
        look_up("EnableEthernet", EnableEthernet);
        look_up("ComCommunication", ComCommunication);
        look_up("DataCom", DataCom);
        look_up("AddListWriteVar", AddListWriteVar);
        look_up("ReCreatReadVarList", ReCreatReadVarList);
        look_up("GetRegisterData", GetRegisterData);
        look_up("PLC_driver", PLC_driver);
        look_up("LB", LB);
        look_up("LW", LW);
        look_up("RWI", RWI);
    }
    ~LoadedDriver() {
        if (handle_ != nullptr)
            dlclose(handle_);
    }
    LoadedDriver(const LoadedDriver &) = delete;
    LoadedDriver &operator=(const LoadedDriver &) = delete;

    bool complete() const {
        return handle_ != nullptr && missing_.empty();
    }

    /// What the loader said, or the names that the library lacks.
    std::string complaint() const {
        return handle_ == nullptr ? "cannot load " DRIVER_FILE : "not exported:" + missing_;
    }

    decltype(&::SetComInfo) SetComInfo = nullptr;
    decltype(&::RegistCallBackFuncIntf) RegistCallBackFuncIntf = nullptr;
    decltype(&::FlashLocalRegister) FlashLocalRegister = nullptr;
    decltype(&::EnableEthernet) EnableEthernet = nullptr;
    decltype(&::ComCommunication) ComCommunication = nullptr;
    decltype(&::DataCom) DataCom = nullptr;
    decltype(&::AddListWriteVar) AddListWriteVar = nullptr;
    decltype(&::ReCreatReadVarList) ReCreatReadVarList = nullptr;
    decltype(&::GetRegisterData) GetRegisterData = nullptr;
    Communication_Protocol *PLC_driver = nullptr;
    void **LB = nullptr;
    void **LW = nullptr;
    void **RWI = nullptr;

private:
    template <typename Pointer> void look_up(const char *name, Pointer &entry) {
        entry = reinterpret_cast<Pointer>(dlsym(handle_, name));
        if (entry == nullptr)
            missing_ += std::string(" ") + name;
    }

    void *handle_;
    std::string missing_;
};

bool is_in_memory() {
    void *handle = dlopen(DRIVER_FILE, RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr)
        dlclose(handle);
    return handle != nullptr;
}

QByteArray value_of_register_100(const LoadedDriver &driver) {
    QByteArray value;
    driver.GetRegisterData(QString(), 7, QString::fromLatin1("100"), 1, value, 1);
    return value;
}

// Registers one word, polls it once, and leaves something in each kind of container that the driver holds.
void work(const LoadedDriver &driver, ComInfo &info, const QByteArray &written) {
    info = ComInfo();
    info.max_count = 100;
    info.default_station = 1;
    driver.SetComInfo(&info);
    driver.RegistCallBackFuncIntf(ignore_write_result, ignore_comm_error);
    driver.FlashLocalRegister(&info, &info, &info);
    driver.EnableEthernet(9, 0);

    QList<HOST_VAR> polled;
    HOST_VAR word = HOST_VAR();
    word.reg_type = 7;
    word.addr_text = QString::fromLatin1("100");
    word.reg_count = 1;
    polled.append(word);
    driver.ReCreatReadVarList(&polled);
    ASSERT_EQ(value_of_register_100(driver), QByteArray(2, '\0'));

    ASSERT_NE(driver.ComCommunication(), nullptr);
    QByteArray reply("\x01\x03\x02\x12\x34\xB5\x33", 7);
    ASSERT_EQ(driver.DataCom(&reply, 7)->ret_value, 1);
    ASSERT_EQ(value_of_register_100(driver), QByteArray("\x34\x12", 2));

    RW_VAR write;
    write.reg_type = 7;
    write.reg_count = 1;
    write.host_ref2 = 1;
    write.station_no = 1;
    write.value_bytes = written;
    ASSERT_EQ(driver.AddListWriteVar(&write), 1);
    ASSERT_NE(driver.ComCommunication(), nullptr);
}

void expect_fresh(const LoadedDriver &driver) {
    const Communication_Protocol &state = *driver.PLC_driver;
    EXPECT_EQ(state.com_info, nullptr);
    EXPECT_TRUE(state.write_result_cb == nullptr);
    EXPECT_TRUE(state.comm_error_cb == nullptr);
    EXPECT_TRUE(state.read_list.isEmpty());
    EXPECT_TRUE(state.write_list.isEmpty());
    EXPECT_TRUE(state.frame_list.isEmpty());
    EXPECT_TRUE(state.disabled_stations.isEmpty());
    EXPECT_TRUE(state.word_cache.isEmpty());
    EXPECT_EQ(state.last_op, 100);
    EXPECT_EQ(state.read_pass_count, 0);
    EXPECT_EQ(*driver.LB, nullptr);
    EXPECT_EQ(*driver.LW, nullptr);
    EXPECT_EQ(*driver.RWI, nullptr);
}

}  // namespace

TEST(Reload, ASecondLoadStartsFresh) {
    for (int round = 0; round < 2; ++round) {
        ASSERT_FALSE(is_in_memory());
        ComInfo info;
        const LoadedDriver driver;
        ASSERT_TRUE(driver.complete()) << driver.complaint();
        expect_fresh(driver);
        work(driver, info, QByteArray("\x01\x00", 2));
    }
}

// The host shares its bytes with the driver's copies of the record, and has them alone once those are destroyed.
TEST(Reload, UnloadingDestroysTheDriversState) {
    const QByteArray written(1000, 'w');
    ComInfo info;
    {
        const LoadedDriver driver;
        ASSERT_TRUE(driver.complete()) << driver.complaint();
        work(driver, info, written);
        ASSERT_FALSE(written.isDetached());
    }
    EXPECT_FALSE(is_in_memory());
    EXPECT_TRUE(written.isDetached());
}

TEST(Reload, UnloadingLeavesTheHostsBlockAlone) {
    ComInfo info;
    ComInfo before;
    {
        const LoadedDriver driver;
        ASSERT_TRUE(driver.complete()) << driver.complaint();
        work(driver, info, QByteArray());
        before = info;
    }
    EXPECT_EQ(info.max_count, before.max_count);
    EXPECT_EQ(info.state_a, before.state_a);
    EXPECT_EQ(info.state_b, before.state_b);
    EXPECT_EQ(info.retry_count, before.retry_count);
    EXPECT_EQ(info.success_count, before.success_count);
    EXPECT_EQ(info.success_limit, before.success_limit);
    EXPECT_EQ(info.finish_flag, before.finish_flag);
}

TEST(Reload, AHundredLoadsLeaveNothingInMemory) {
    if (WITH_COVERAGE)
        GTEST_SKIP() << "the coverage counters allocate memory when the library is unloaded";
    const auto load_and_unload = [](int times) {
        for (int round = 0; round < times; ++round) {
            ComInfo info;
            const LoadedDriver driver;
            ASSERT_TRUE(driver.complete()) << driver.complaint();
            work(driver, info, QByteArray(50, 'w'));
        }
    };
    // The loader and Qt keep some memory from the first use for good.
    load_and_unload(5);
#if WITH_ADDRESS_SANITIZER
    load_and_unload(rounds);
    EXPECT_EQ(__lsan_do_recoverable_leak_check(), 0);
#else
    const auto in_use = [] {
        return mallinfo2().uordblks;
    };
    const std::size_t before_block = in_use();
    const QByteArray block(10000, 'b');
    if (in_use() < before_block + 10000)
        GTEST_SKIP() << "memory in use cannot be measured here";

    // Sixteen bytes are the smallest block that malloc gives on any platform, so one lost in each round is noticed.
    const std::size_t before = in_use();
    load_and_unload(rounds);
    const std::size_t after = in_use();
    EXPECT_LT(after, before + rounds * 16) << "grew from " << before << " to " << after << " bytes";
#endif
}

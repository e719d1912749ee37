#include "driver_test.h"
#include "hex_text.h"
#include "link/replies.h"

#include <cstddef>
#include <type_traits>

using support::bytes;
using support::DriverTest;
using support::full_var;
using support::make_var;

namespace {

// What the library holds before anything has called it. Taken while the test binary is being loaded, so that no order
// of tests matters.
struct LoadState {
    Communication_Protocol *driver;
    bool pointers_null;
    bool lists_empty;
    bool caches_empty;
    bool stations_empty;
    bool send_buf_zero;
    bool mutexes_free_and_not_recursive;
    int last_op;
    int write_tries;
    int once_read_tries;
    int read_pass_count;
    bool comm_failed;
    bool spare_flag;
    std::string ret_var;
    std::string fail_var;
    bool host_memories_null;
};

bool free_and_not_recursive(QMutex &mutex) {
    if (!mutex.tryLock())
        return false;
    const bool again = mutex.tryLock();
    if (again)
        mutex.unlock();
    mutex.unlock();
    return !again;
}

LoadState take_load_state() {
    Communication_Protocol &driver = PLC_driver;
    LoadState state;
    state.driver = &driver;
    state.pointers_null =
        driver.com_info == nullptr && driver.write_result_cb == nullptr && driver.comm_error_cb == nullptr;
    state.lists_empty = driver.read_list.isEmpty() && driver.write_list.isEmpty() && driver.once_read_list.isEmpty() &&
                        driver.read_source_list.isEmpty() && driver.frame_list.isEmpty() &&
                        driver.extend_list.isEmpty();
    state.caches_empty = driver.bit_cache.isEmpty() && driver.word_cache.isEmpty() && driver.dword_cache.isEmpty();
    state.stations_empty = driver.disabled_stations.isEmpty();
    state.send_buf_zero = true;
    for (unsigned char byte : driver.send_buf)
        state.send_buf_zero = state.send_buf_zero && byte == 0;
    state.mutexes_free_and_not_recursive = free_and_not_recursive(driver.list_mutex) &&
                                           free_and_not_recursive(driver.cache_mutex) &&
                                           free_and_not_recursive(driver.station_mutex);
    state.last_op = driver.last_op;
    state.write_tries = driver.write_tries;
    state.once_read_tries = driver.once_read_tries;
    state.read_pass_count = driver.read_pass_count;
    state.comm_failed = driver.comm_failed;
    state.spare_flag = driver.spare_flag;
    state.ret_var = support::describe(driver.ret_var);
    state.fail_var = support::describe(driver.fail_var);
    state.host_memories_null = LB == nullptr && LW == nullptr && RWI == nullptr;
    return state;
}

const LoadState at_load = take_load_state();

const char default_var[] = "var_group 0\nvar_id 0\nhost_ref2 0\nhost_ref3 0\narea_no 0\nret_value 0\naux_text \n"
                           "addr_text \nreg_type 0\nreg_addr 0\nstation_no 0\nreg_count 0\nstore_mode 0\naux_word 0\n"
                           "value_bytes ";

const char full_var_text[] = "var_group 101\nvar_id 102\nhost_ref2 103\nhost_ref3 104\narea_no 105\nret_value 106\n"
                             "aux_text aux 107\naddr_text addr 108\nreg_type 109\nreg_addr 110\nstation_no 111\n"
                             "reg_count 112\nstore_mode 113\naux_word 114\nvalue_bytes 01 02 03";

// The addresses of members, one after the other as the tables have them.
void expect_ascending(const std::vector<const void *> &members) {
    for (std::size_t i = 1; i < members.size(); ++i)
        EXPECT_LT(static_cast<const char *>(members[i - 1]), static_cast<const char *>(members[i]))
            << "members " << i << " and " << i + 1;
}

}  // namespace

TEST(AfterLoading, ThePointersAreNull) {
    EXPECT_TRUE(at_load.pointers_null);
}

TEST(AfterLoading, AllSixListsAreEmpty) {
    EXPECT_TRUE(at_load.lists_empty);
}

TEST(AfterLoading, TheThreeMutexesAreFreeAndNotRecursive) {
    EXPECT_TRUE(at_load.mutexes_free_and_not_recursive);
}

TEST(AfterLoading, NoStationIsDisabled) {
    EXPECT_TRUE(at_load.stations_empty);
}

TEST(AfterLoading, TheThreeCachesAreEmpty) {
    EXPECT_TRUE(at_load.caches_empty);
}

TEST(AfterLoading, TheResultRecordAndTheFailedVariableAreDefault) {
    EXPECT_EQ(at_load.ret_var, default_var);
    EXPECT_EQ(at_load.fail_var, default_var);
}

// 100 is none of the request kinds; 0 would name the cyclic read, and a reply before the first request would rotate it.
TEST(AfterLoading, LastOpIs100) {
    EXPECT_EQ(at_load.last_op, 100);
}

TEST(AfterLoading, TheCountersAreZero) {
    EXPECT_EQ(at_load.write_tries, 0);
    EXPECT_EQ(at_load.once_read_tries, 0);
    EXPECT_EQ(at_load.read_pass_count, 0);
}

TEST(AfterLoading, TheFlagsAreFalse) {
    EXPECT_FALSE(at_load.comm_failed);
    EXPECT_FALSE(at_load.spare_flag);
}

TEST(AfterLoading, All1024BytesOfTheSendBufferAreZero) {
    EXPECT_TRUE(at_load.send_buf_zero);
}

TEST(AfterLoading, TheHostsMemoriesAreNotKnown) {
    EXPECT_TRUE(at_load.host_memories_null);
}

TEST(Records, AVariableIsDefaultWithAllIntsZeroAndTextsEmpty) {
    EXPECT_EQ(support::describe(RW_VAR()), default_var);
}

TEST(Records, AVariablesFieldsStandInTheOrderOfTheirTable) {
    const RW_VAR var;
    expect_ascending({&var.var_group, &var.var_id, &var.host_ref2, &var.host_ref3, &var.area_no, &var.ret_value,
                      &var.aux_text, &var.addr_text, &var.reg_type, &var.reg_addr, &var.station_no, &var.reg_count,
                      &var.store_mode, &var.aux_word, &var.value_bytes});
    EXPECT_EQ(static_cast<const void *>(&var), static_cast<const void *>(&var.var_group));
}

TEST(Records, ARequestFramesFieldsStandInTheOrderOfTheirTable) {
    const Protocol request;
    expect_ascending(
        {&request.frame, &request.send_len, &request.reply_len, &request.data_offset, &request.data_len, &request.var});
    EXPECT_EQ(static_cast<const void *>(&request), static_cast<const void *>(&request.frame));
}

TEST(Records, AnExtensionRecordsFieldsStandInTheOrderOfTheirTable) {
    const EXTENDVAR extension;
    expect_ascending({&extension.ext_a, &extension.ext_b, &extension.ext_c, &extension.ext_data});
    EXPECT_EQ(static_cast<const void *>(&extension), static_cast<const void *>(&extension.ext_a));
}

TEST(Records, TheDriversMembersStandInTheOrderOfTheirTable) {
    const Communication_Protocol &driver = PLC_driver;
    expect_ascending({&driver.com_info,          &driver.read_list,       &driver.write_list,  &driver.once_read_list,
                      &driver.read_source_list,  &driver.frame_list,      &driver.extend_list, &driver.write_result_cb,
                      &driver.comm_error_cb,     &driver.list_mutex,      &driver.cache_mutex, &driver.station_mutex,
                      &driver.disabled_stations, &driver.ret_var,         &driver.last_op,     &driver.write_tries,
                      &driver.once_read_tries,   &driver.read_pass_count, &driver.comm_failed, &driver.spare_flag,
                      &driver.fail_var,          &driver.send_buf,        &driver.bit_cache,   &driver.word_cache,
                      &driver.dword_cache});
    EXPECT_EQ(static_cast<const void *>(&driver), static_cast<const void *>(&driver.com_info));
    EXPECT_EQ(at_load.driver, &PLC_driver);
}

TEST(Records, TheDriverHasNoBaseClassAndNoVirtualOperations) {
    EXPECT_FALSE(std::is_polymorphic<Communication_Protocol>::value);
}

TEST(Records, HaveTheTypesOfTheirTables) {
    static_assert(sizeof(int) == 4, "int is 32 bits");
    static_assert(std::is_same<decltype(RW_VAR::aux_text), QString>::value, "");
    static_assert(std::is_same<decltype(RW_VAR::addr_text), QString>::value, "");
    static_assert(std::is_same<decltype(RW_VAR::value_bytes), QByteArray>::value, "");
    static_assert(std::is_same<decltype(Protocol::frame), QByteArray>::value, "");
    static_assert(std::is_same<decltype(Protocol::var), RW_VAR>::value, "");
    static_assert(std::is_same<decltype(EXTENDVAR::ext_data), QByteArray>::value, "");
    static_assert(std::is_same<decltype(Communication_Protocol::com_info), ComInfo *>::value, "");
    static_assert(std::is_same<decltype(Communication_Protocol::read_list), QList<RW_VAR>>::value, "");
    static_assert(std::is_same<decltype(Communication_Protocol::write_list), QList<RW_VAR>>::value, "");
    static_assert(std::is_same<decltype(Communication_Protocol::once_read_list), QList<RW_VAR>>::value, "");
    static_assert(std::is_same<decltype(Communication_Protocol::read_source_list), QList<RW_VAR>>::value, "");
    static_assert(std::is_same<decltype(Communication_Protocol::frame_list), QList<Protocol>>::value, "");
    static_assert(std::is_same<decltype(Communication_Protocol::extend_list), QList<EXTENDVAR>>::value, "");
    static_assert(std::is_same<decltype(Communication_Protocol::list_mutex), QMutex>::value, "");
    static_assert(std::is_same<decltype(Communication_Protocol::disabled_stations), QMap<int, int>>::value, "");
    static_assert(std::is_same<decltype(Communication_Protocol::send_buf), unsigned char[1024]>::value, "");
    static_assert(std::is_same<decltype(Communication_Protocol::bit_cache), QHash<unsigned, unsigned char>>::value, "");
    static_assert(std::is_same<decltype(Communication_Protocol::word_cache), QHash<unsigned, unsigned short>>::value,
                  "");
    static_assert(std::is_same<decltype(Communication_Protocol::dword_cache), QHash<unsigned, unsigned>>::value, "");
    EXPECT_EQ(sizeof(PLC_driver.comm_failed), 1u);
    EXPECT_EQ(sizeof(PLC_driver.spare_flag), 1u);
}

TEST(Records, AnOrdinaryCopyCarriesAllFifteenFields) {
    const RW_VAR original = full_var();
    const RW_VAR constructed = original;
    RW_VAR assigned;
    assigned = original;
    EXPECT_EQ(support::describe(constructed), full_var_text);
    EXPECT_EQ(support::describe(assigned), full_var_text);
}

// The result record never carries data: with the bytes copied, a host would take a failed write's value for a read one.
TEST(Records, ACopyByPassRetValueHasEmptyBytesWhileAnOrdinaryCopyKeepsThem) {
    const RW_VAR from = full_var();
    RW_VAR to;
    to.value_bytes = bytes("AA BB");
    passRetValue(from, to);
    EXPECT_EQ(support::describe(to), "var_group 101\nvar_id 102\nhost_ref2 103\nhost_ref3 104\narea_no 105\n"
                                     "ret_value 106\naux_text aux 107\naddr_text addr 108\nreg_type 109\n"
                                     "reg_addr 110\nstation_no 111\nreg_count 112\nstore_mode 113\naux_word 114\n"
                                     "value_bytes ");
    EXPECT_EQ(support::describe(from), full_var_text);

    const RW_VAR copy = from;
    EXPECT_EQ(support::hex(copy.value_bytes), "01 02 03");
}

// A host may make texts of different length from the same characters, without a copy.
TEST(Records, PassRetValueTakesALongerTextThatBeginsWhereTheOldOneDoes) {
    static const QChar digits[] = {QLatin1Char('4'), QLatin1Char('0'), QLatin1Char('1')};
    RW_VAR from, to;
    from.addr_text = QString::fromRawData(digits, 3);
    to.addr_text = QString::fromRawData(digits, 2);
    passRetValue(from, to);
    EXPECT_EQ(to.addr_text.toStdString(), "401");
}

TEST(Records, PassRetValueOfARecordToItselfOnlyEmptiesItsBytes) {
    RW_VAR var = full_var();
    passRetValue(var, var);
    EXPECT_EQ(var.var_group, 101);
    EXPECT_EQ(var.aux_word, 114);
    EXPECT_TRUE(var.value_bytes.isEmpty());
}

namespace {

struct WordRow {
    const char *name;
    int index;
    int ComInfo::*field;
};

class HostBlockWord : public ::testing::TestWithParam<WordRow> {};

void PrintTo(const WordRow &row, std::ostream *out) {
    *out << row.name;
}

}  // namespace

TEST_P(HostBlockWord, IsAtItsIndexInTheArrayOfInt) {
    support::HostBlock block;
    block.info.*GetParam().field = 0x12345678;
    EXPECT_EQ(block.word(GetParam().index), 0x12345678);
    for (int index = 6; index <= 18; ++index)
        EXPECT_EQ(block.word(index), index == GetParam().index ? 0x12345678 : 0) << "word " << index;
    EXPECT_TRUE(block.foreign_words_untouched());
}

INSTANTIATE_TEST_SUITE_P(
    Words, HostBlockWord,
    ::testing::Values(
        WordRow{"max_count", 4, &ComInfo::max_count}, WordRow{"default_station", 6, &ComInfo::default_station},
        WordRow{"retry_times", 7, &ComInfo::retry_times}, WordRow{"retry_count", 8, &ComInfo::retry_count},
        WordRow{"multi_station", 9, &ComInfo::multi_station}, WordRow{"state_a", 10, &ComInfo::state_a},
        WordRow{"success_limit", 11, &ComInfo::success_limit}, WordRow{"success_count", 12, &ComInfo::success_count},
        WordRow{"state_b", 13, &ComInfo::state_b}, WordRow{"remote_mode", 14, &ComInfo::remote_mode},
        WordRow{"local_area_no", 15, &ComInfo::local_area_no}, WordRow{"write_mode", 16, &ComInfo::write_mode},
        WordRow{"finish_flag", 17, &ComInfo::finish_flag}, WordRow{"channel_id", 18, &ComInfo::channel_id}),
    [](const ::testing::TestParamInfo<WordRow> &row) { return std::string(row.param.name); });

namespace {

class ExtensionLists : public DriverTest {};

}  // namespace

TEST_F(ExtensionLists, StayEmptyThroughARebuildAGoodReplyAndAGiveUp) {
    const auto expect_empty = [](const char *moment) {
        EXPECT_TRUE(PLC_driver.extend_list.isEmpty()) << moment;
        EXPECT_TRUE(PLC_driver.read_source_list.isEmpty()) << moment;
    };
    QList<HOST_VAR> vars;
    vars.append(support::host_var(7, 1, "10", 1));
    ASSERT_EQ(ReCreatReadVarList(&vars), 1);
    expect_empty("after the rebuild");

    ASSERT_NE(ComCommunication(), nullptr);
    expect_empty("with a frame in flight");
    QByteArray reply = bytes("01 03 02 12 34 B5 33");
    ASSERT_EQ(DataCom(&reply, 7)->ret_value, 1);
    expect_empty("after a good reply");

    info.retry_times = 0;
    ASSERT_NE(ComCommunication(), nullptr);
    QByteArray nothing;
    ASSERT_EQ(DataCom(&nothing, 0)->ret_value, 41);
    expect_empty("after a give-up");
}

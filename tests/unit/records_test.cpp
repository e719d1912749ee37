#include "driver_test.h"
#include "hex_text.h"
#include "link/replies.h"

#include <cstddef>
#include <type_traits>

using support::bytes;
using support::full_var;

namespace {

bool is_free_and_not_recursive(QMutex &mutex) {
    if (!mutex.tryLock())
        return false;
    const bool again = mutex.tryLock();
    if (again)
        mutex.unlock();
    mutex.unlock();
    return !again;
}

const char default_var[] = "var_group 0\nvar_id 0\nhost_ref2 0\nhost_ref3 0\narea_no 0\nret_value 0\naux_text \n"
                           "addr_text \nreg_type 0\nreg_addr 0\nstation_no 0\nreg_count 0\nstore_mode 0\naux_word 0\n"
                           "value_bytes ";

const char full_var_text[] = "var_group 101\nvar_id 102\nhost_ref2 103\nhost_ref3 104\narea_no 105\nret_value 106\n"
                             "aux_text aux 107\naddr_text addr 108\nreg_type 109\nreg_addr 110\nstation_no 111\n"
                             "reg_count 112\nstore_mode 113\naux_word 114\nvalue_bytes 01 02 03";

// What differs in the library's state from a new object before anything has called it. Checked while the test program
// is being loaded, so that the order of the tests does not matter. construction_test checks each member.
std::string wrong_after_loading() {
    const Communication_Protocol &driver = PLC_driver;
    std::string wrong;
    const auto expect = [&wrong](bool holds, const char *what) {
        if (!holds)
            wrong += std::string(what) + "\n";
    };
    expect(driver.com_info == nullptr && driver.write_result_cb == nullptr && driver.comm_error_cb == nullptr,
           "pointers");
    expect(driver.read_list.isEmpty() && driver.write_list.isEmpty() && driver.once_read_list.isEmpty() &&
               driver.read_source_list.isEmpty() && driver.frame_list.isEmpty() && driver.extend_list.isEmpty(),
           "lists");
    expect(driver.bit_cache.isEmpty() && driver.word_cache.isEmpty() && driver.dword_cache.isEmpty(), "caches");
    expect(driver.disabled_stations.isEmpty(), "disabled stations");
    for (unsigned char byte : driver.send_buf)
        expect(byte == 0, "byte of the send buffer");
    for (QMutex *mutex : {&PLC_driver.list_mutex, &PLC_driver.cache_mutex, &PLC_driver.station_mutex})
        expect(is_free_and_not_recursive(*mutex), "mutex");
    // 100 is none of the request kinds; 0 would name the cyclic read, and a reply before the first request would
    // rotate it.
    expect(driver.last_op == 100, "last_op");
    expect(driver.write_tries == 0 && driver.once_read_tries == 0 && driver.read_pass_count == 0, "counters");
    expect(!driver.comm_failed && !driver.spare_flag, "flags");
    expect(support::describe(driver.ret_var) == default_var && support::describe(driver.fail_var) == default_var,
           "records");
    expect(LB == nullptr && LW == nullptr && RWI == nullptr, "memories of the host");
    return wrong;
}

const std::string wrong_at_load = wrong_after_loading();

TEST(Records, TheDriverIsLikeANewObjectAfterLoading) {
    EXPECT_EQ(wrong_at_load, "");
}

TEST(Records, ANewVariableHasZerosAndEmptyTexts) {
    EXPECT_EQ(support::describe(RW_VAR()), default_var);
}

TEST(Records, TheDriverHasNoBaseClassAndNoVirtualOperations) {
    EXPECT_FALSE(std::is_polymorphic<Communication_Protocol>::value);
}

TEST(Records, MembersHaveTheTypesOfTheInterface) {
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

// The result record never carries data: if the bytes were copied, a host would take the value of a failed write for one
// that was read.
TEST(Records, PassRetValueCopiesAllButTheValueBytes) {
    const RW_VAR from = full_var();
    RW_VAR to;
    to.value_bytes = bytes("AA BB");
    to.aux_text = QString::fromLatin1("AUX 701");
    to.addr_text = QString::fromLatin1("ADDR 801");
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

}  // namespace

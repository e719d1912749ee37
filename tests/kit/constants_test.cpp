// Each constant is what the driver itself makes of the number.
#include "crc.h"
#include "driver_test.h"

#include <ozna_kelpo_host.h>

#include <set>

int SwitchErrorReturn(int base);
int GetDriverReturnValue(int kind);

namespace {

using namespace ozna_kelpo;

class Constants : public support::DriverTest {
protected:
    // A good reply to the frame in flight, when that is a write.
    static int echo() {
        QByteArray reply = support::with_crc(ComCommunication()->frame.left(6));
        return DataCom(&reply, static_cast<int>(reply.size()))->ret_value;
    }

    static int no_answer() {
        ComCommunication();
        QByteArray nothing;
        return DataCom(&nothing, 0)->ret_value;
    }
};

TEST_F(Constants, VersionIsTheProjects) {
    EXPECT_EQ(std::to_string(OZNA_KELPO_VERSION_MAJOR) + "." + std::to_string(OZNA_KELPO_VERSION_MINOR) + "." +
                  std::to_string(OZNA_KELPO_VERSION_PATCH),
              PROJECT_VERSION);
    EXPECT_EQ(OZNA_KELPO_VERSION,
              OZNA_KELPO_VERSION_MAJOR * 65536 + OZNA_KELPO_VERSION_MINOR * 256 + OZNA_KELPO_VERSION_PATCH);
    static_assert(OZNA_KELPO_VERSION_CHECK(1, 2, 3) == 0x010203, "one byte for each number after the first");
}

TEST_F(Constants, ClassesAreTheDrivers) {
    for (int type = -2; type < register_types + 2; ++type)
        EXPECT_EQ(class_of(type), PLC_driver.get_plc_reg(type)) << type;
}

TEST_F(Constants, ThereAreEighteenTypes) {
    info.write_mode = write_to_cache;
    SetRegisterData(QString(), register_types - 1, "1.0", 1, QByteArray(1, '\1'), 1, 0, 0);
    EXPECT_EQ(PLC_driver.word_cache.size(), 1);
    SetRegisterData(QString(), register_types, "7", 1, QByteArray(2, '\1'), 1, 0, 0);
    EXPECT_EQ(PLC_driver.word_cache.size() + PLC_driver.bit_cache.size() + PLC_driver.dword_cache.size(), 1);
}

TEST_F(Constants, NoAddressIsWhatTheParserSays) {
    EXPECT_EQ(PLCAddressChangeIntef(words_7, "x"), no_address);
}

TEST_F(Constants, OnlyWriteToControllerWrites) {
    for (int mode = -1; mode < 5; ++mode) {
        info.write_mode = mode;
        SetRegisterData(QString(), words_7, "1", 1, QByteArray(2, '\1'), 1, 0, 0);
        EXPECT_EQ(PLC_driver.write_list.size(), mode >= write_to_controller ? 1 : 0) << mode;
    }
}

TEST_F(Constants, StationModesSwitch) {
    EnableEthernet(3, station_off);
    EXPECT_TRUE(Ethernetcontains(3));
    EnableEthernet(3, any_mode);
    EXPECT_TRUE(Ethernetcontains(3));
    EnableEthernet(3, station_on);
    EXPECT_FALSE(Ethernetcontains(3));
    EnableEthernet(4, station_off);
    EnableEthernet(all_stations, any_mode);
    EXPECT_FALSE(Ethernetcontains(4));
}

TEST_F(Constants, OnceReadModesParseOrNot) {
    RW_VAR var = support::make_var(words_7, 0, 250);
    var.addr_text = "10";
    info.max_count = 100;
    EXPECT_EQ(AddListOnceReadVar(&var, parse_and_cut), 3);
    EXPECT_EQ(AddListOnceReadVar(&var, queue_as_it_is), 4);
    EXPECT_EQ(AddListOnceReadVar(&var, queue_as_it_is), 5) << "an equal one waits already";
}

TEST_F(Constants, QueuesHoldMostQueued) {
    RW_VAR var = support::make_var(words_7, 0, 1);
    for (int i = 0; i < most_queued + 5; ++i)
        AddListWriteVar(&var);
    EXPECT_EQ(PLC_driver.write_list.size(), most_queued);
    var.addr_text = "10";
    var.reg_count = most_queued + 5;
    info.max_count = 1;
    AddListOnceReadVar(&var, parse_and_cut);
    EXPECT_EQ(PLC_driver.once_read_list.size(), most_queued);
}

TEST_F(Constants, RequestsHoldMostUnits) {
    info.max_count = most_units_per_request + 1;
    SetComInfo(&info);
    EXPECT_EQ(info.max_count, most_units_per_request);

    QList<HOST_VAR> polled;
    polled << place(bits_4, "0", 1000, 1) << place(double_words_13, "200", 1000, 1) << place(words_7, "0", 1000, 1);
    ReCreatReadVarList(&polled);
    EXPECT_EQ(PLC_driver.read_list.at(0).reg_count, most_bits_per_block);
    EXPECT_EQ(PLC_driver.read_list.at(7).reg_type, words_7);
    EXPECT_EQ(PLC_driver.read_list.at(7).reg_count, most_units_per_request);
    EXPECT_EQ(PLC_driver.read_list.last().reg_type, double_words_13);
    EXPECT_EQ(PLC_driver.read_list.last().reg_count, most_double_words);
    info.write_mode = write_to_controller;
    SetRegisterData(QString(), pairs_of_7, "0", 1, QByteArray(800, '\0'), 400, 0, 0);
    EXPECT_EQ(PLC_driver.write_list.first().reg_count, 2 * most_double_words);
}

TEST_F(Constants, FiveWritesInARow) {
    RW_VAR write = support::make_var(words_7, 0, 1);
    write.host_ref2 = write_record;
    write.value_bytes = QByteArray(2, '\1');
    info.local_area_no = write.area_no;
    for (int id = 0; id < 2 * most_in_a_row; ++id) {
        write.var_id = id;
        AddListWriteVar(&write);
    }
    QList<HOST_VAR> polled;
    polled << place(words_7, "5", 1, 1);
    ReCreatReadVarList(&polled);
    EXPECT_EQ(PLC_driver.last_op, nothing_built);
    for (int i = 0; i < most_in_a_row; ++i) {
        ComCommunication();
        EXPECT_EQ(PLC_driver.last_op, write_built);
        EXPECT_EQ(echo(), code_good);
    }
    ASSERT_EQ(write_results.size(), static_cast<std::size_t>(most_in_a_row));
    EXPECT_EQ(write_results.front().status, request_done);
    const Protocol *polling = ComCommunication();
    EXPECT_EQ(PLC_driver.last_op, cyclic_read_built);
    EXPECT_EQ(polling->var.var_group, polled_group);
    EXPECT_EQ(polling->var.var_id, polled_id);
    EXPECT_EQ(polling->var.host_ref2, read_record);
    EXPECT_EQ(polling->var.store_mode, stored);
}

TEST_F(Constants, OnceReadsAndTheReadHalfOfABitWriteHaveTheirMarks) {
    RW_VAR once = support::make_var(words_7, 0, 1);
    once.area_no = info.local_area_no;
    AddListOnceReadVar(&once, queue_as_it_is);
    ComCommunication();
    EXPECT_EQ(PLC_driver.last_op, once_read_built);
    support::reset_driver();
    SetComInfo(&info);
    info.write_mode = write_to_controller;
    SetRegisterData(QString(), bits_of_7, "1.0", 1, QByteArray(1, '\1'), 1, 0, 0);
    EXPECT_EQ(ComCommunication()->var.store_mode, completes_bit);
}

TEST_F(Constants, AGiveUpHasItsStatusAndItsFlag) {
    info.retry_times = 0;
    RW_VAR write = support::make_var(words_7, 0, 1);
    write.value_bytes = QByteArray(2, '\1');
    AddListWriteVar(&write);
    EXPECT_TRUE(is_given_up(classify(no_answer())));
    ASSERT_EQ(write_results.size(), 1U);
    EXPECT_EQ(write_results[0].status, request_failed);
    ASSERT_EQ(comm_errors.size(), 1U);
    EXPECT_EQ(comm_errors[0].flag, given_up_flag);
}

TEST_F(Constants, MissingBytesAreWrittenAsThis) {
    info.write_mode = write_to_controller;
    SetRegisterData(QString(), words_7, "1", 1, QByteArray(), 1, 0, 0);
    EXPECT_EQ(PLC_driver.write_list.first().value_bytes, QByteArray(2, static_cast<char>(missing_byte)));
}

TEST_F(Constants, ReturnCodesAreTheDrivers) {
    PLC_driver.frame_list.append(support::make_frame(support::make_var(words_7, 0, 1), QByteArray(8, '\1'), 2));
    const struct {
        int kind, first, last;
        Outcome outcome;
        bool other_area;
    } rows[] = {
        {1, code_check_failed_first, code_check_failed_last, check_failed, false},
        {2, code_no_reply_first, code_no_reply_last, silent, false},
        {3, code_wrong_length_first, code_wrong_length_last, wrong_length, false},
        {5, code_remote_check_failed_first, code_remote_check_failed_last, check_failed, true},
        {6, code_remote_no_reply_first, code_remote_no_reply_last, silent, true},
        {7, code_remote_wrong_length_first, code_remote_wrong_length_last, wrong_length, true},
    };
    std::set<int> known = {code_sent_again, code_good, code_remote_good, code_not_now};
    for (const auto &row : rows) {
        for (int group = 0; group < groups_told_apart; ++group) {
            PLC_driver.frame_list.first().var.var_group = group;
            const int code = GetDriverReturnValue(row.kind);
            EXPECT_EQ(code, row.first + group);
            EXPECT_LE(code, row.last);
            EXPECT_EQ(classify(code), row.outcome) << code;
            EXPECT_EQ(is_of_other_area(code), row.other_area) << code;
            known.insert(code);
        }
        PLC_driver.frame_list.first().var.var_group = groups_told_apart;
        EXPECT_EQ(GetDriverReturnValue(row.kind), row.first);
        EXPECT_EQ(row.first + groups_told_apart - 1, row.last);
    }
    EXPECT_EQ(GetDriverReturnValue(0), code_good);
    EXPECT_EQ(GetDriverReturnValue(4), code_remote_good);
    EXPECT_EQ(GetDriverReturnValue(8), code_no_outcome);
    for (int code = -5; code < 1100; ++code)
        EXPECT_EQ(classify(code) == unknown_code, known.count(code) == 0) << code;
}

TEST_F(Constants, CodesThatAreNoGiveUpAreClassified) {
    EXPECT_EQ(classify(code_sent_again), sent_again);
    EXPECT_EQ(classify(code_good), good);
    EXPECT_EQ(classify(code_remote_good), good);
    EXPECT_EQ(classify(code_not_now), not_now);
    EXPECT_FALSE(is_of_other_area(code_good));
    EXPECT_TRUE(is_of_other_area(code_remote_good));
    EXPECT_FALSE(is_of_other_area(code_not_now));
    for (const Outcome outcome : {sent_again, good, not_now, unknown_code})
        EXPECT_FALSE(is_given_up(outcome));

    info.retry_times = 1;
    RW_VAR write = support::make_var(words_7, 0, 1);
    write.value_bytes = QByteArray(2, '\1');
    AddListWriteVar(&write);
    EXPECT_EQ(no_answer(), code_sent_again);
    QByteArray patience("\x01\x6A\x8B\x00\x00", 5);
    EXPECT_EQ(DataCom(&patience, 5)->ret_value, code_not_now);
}

TEST_F(Constants, EveryOutcomeHasWordsOfItsOwn) {
    std::set<std::string> words;
    for (int outcome = sent_again; outcome <= unknown_code; ++outcome)
        words.insert(words_of(static_cast<Outcome>(outcome)));
    EXPECT_EQ(words.size(), static_cast<std::size_t>(unknown_code) + 1);
}

}  // namespace

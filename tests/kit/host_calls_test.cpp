// The small functions of the host header, on a driver that is linked.
#define OZNA_KELPO_LINKED
#include "driver_test.h"
#include "memory_controller.h"

#include <ozna_kelpo_host.h>

namespace {

using namespace ozna_kelpo;

class HostCalls : public support::DriverTest {
protected:
    HostCalls() : driver(linked_driver()) {
        info.max_count = 100;
        info.multi_station = 1;
        info.write_mode = write_to_controller;
    }

    int exchange() {
        const Protocol *request = driver.ComCommunication();
        if (request == nullptr)  // five in a row were served, and nothing is polled
            request = driver.ComCommunication();
        QByteArray reply = request == nullptr ? QByteArray() : controller.answer(request->frame);
        return driver.DataCom(&reply, static_cast<int>(reply.size()))->ret_value;
    }

    void exchanges(int number) {
        for (int i = 0; i < number; ++i)
            EXPECT_EQ(exchange(), code_good);
    }

    Driver driver;
    MemoryController controller;
};

TEST_F(HostCalls, PlaceFillsEveryField) {
    const HOST_VAR var = place(words_8, "12", 3, 4);
    EXPECT_EQ(var.reg_type, words_8);
    EXPECT_EQ(var.addr_text, QString("12"));
    EXPECT_EQ(var.reg_count, 3);
    EXPECT_EQ(var.station_no, 4);
    EXPECT_EQ(var.host_byte_0, 0);
    EXPECT_EQ(var.host_byte_3, 0);
    EXPECT_EQ(var.host_word_4, 0);
    EXPECT_TRUE(var.aux_text.isEmpty());
}

TEST_F(HostCalls, DataSizeIsWhatGetRegisterDataGives) {
    const char *texts[] = {"1", "200", "1.0"};
    for (int type = 0; type < register_types; ++type)
        for (int units = 1; units < 40; ++units) {
            QByteArray value;
            const QString address = texts[is_bit_of_word(type) ? 2 : type == double_words_13 ? 1 : 0];
            ASSERT_EQ(driver.GetRegisterData(QString(), type, address, 1, value, units), 1);
            EXPECT_EQ(data_size(type, units), value.size()) << type << " " << units;
        }
    EXPECT_EQ(data_size(words_7, 0), 0);
    EXPECT_EQ(data_size(words_7, -1), 0);
    EXPECT_EQ(data_size(register_types, 1), 0);
    EXPECT_EQ(data_size(-1, 1), 0);
}

TEST_F(HostCalls, RequestsOfWriteAreWhatTheDriverQueues) {
    const char *texts[] = {"1", "200", "1.0"};
    for (const int max_count : {100, 33, 1, 0})
        for (int type = -1; type <= register_types; ++type)
            for (const int units : {0, 1, 2, 7, 8, 99, 100, 101, 102, 264, 265, 800, 801}) {
                support::reset_driver();
                driver.SetComInfo(&info);
                info.max_count = max_count;
                const QString address = texts[is_bit_of_word(type) ? 2 : type == double_words_13 ? 1 : 0];
                driver.SetRegisterData(QString(), type, address, 1, QByteArray(4000, '\1'), units, 1, 1);
                EXPECT_EQ(driver.requests_of_write(type, units), PLC_driver.write_list.size())
                    << "type " << type << ", " << units << " units, max_count " << max_count;
            }
}

TEST_F(HostCalls, RoomForCountsWhatWaits) {
    EXPECT_TRUE(driver.room_for(write_queue, 1024));
    EXPECT_FALSE(driver.room_for(write_queue, 1025));
    RW_VAR var = support::make_var(words_7, 1, 1);
    driver.AddListWriteVar(&var);
    EXPECT_TRUE(driver.room_for(write_queue, 1023));
    EXPECT_FALSE(driver.room_for(write_queue, 1024));
    EXPECT_TRUE(driver.room_for(once_read_queue, 1024));
    driver.AddListOnceReadVar(&var, queue_as_it_is);
    EXPECT_FALSE(driver.room_for(once_read_queue, 1024));
}

TEST_F(HostCalls, WriteQueuesTheWholeOrNothing) {
    RW_VAR var = support::make_var(words_7, 1, 1);
    for (int i = 0; i < 1022; ++i)
        driver.AddListWriteVar(&var);
    EXPECT_EQ(driver.write(place(words_7, "0", 300, 1), QByteArray(600, '\1'), 1, 1), no_room);
    EXPECT_EQ(PLC_driver.write_list.size(), 1022);
    EXPECT_EQ(driver.write(place(words_7, "0", 200, 1), QByteArray(400, '\1'), 1, 1), queued);
    EXPECT_EQ(PLC_driver.write_list.size(), 1024);
    EXPECT_EQ(PLC_driver.write_list.last().var_id, 1);
}

TEST_F(HostCalls, WriteSaysWhatIsWrong) {
    EXPECT_EQ(driver.write(place(bits_0, "0", 1, 1), QByteArray(1, '\1'), 1, 1), not_writable);
    EXPECT_EQ(driver.write(place(words_7, "x", 1, 1), QByteArray(2, '\1'), 1, 1), bad_place);
    EXPECT_EQ(driver.write(place(words_7, "1", 0, 1), QByteArray(), 1, 1), bad_place);
    EXPECT_EQ(driver.write(place(18, "1", 1, 1), QByteArray(2, '\1'), 1, 1), bad_place);
    EXPECT_EQ(driver.write(place(pairs_of_7, "1", 2, 1), QByteArray(2, '\1'), 1, 1), wrong_size);
    driver.EnableEthernet(1, station_off);
    EXPECT_EQ(driver.write(place(words_7, "1", 1, 1), QByteArray(2, '\1'), 1, 1), station_is_off);
    EXPECT_EQ(PLC_driver.write_list.size(), 0);
}

TEST_F(HostCalls, IsWaitingUntilTheLastPartIsAnswered) {
    EXPECT_FALSE(driver.is_waiting(3, 4));
    driver.write(place(words_7, "0", 200, 1), QByteArray(400, '\1'), 3, 4);
    exchanges(1);
    EXPECT_TRUE(driver.is_waiting(3, 4));
    EXPECT_FALSE(driver.is_waiting(3, 5));
    EXPECT_FALSE(driver.is_waiting(4, 4));
    exchanges(1);
    EXPECT_FALSE(driver.is_waiting(3, 4));
    driver.read_once(place(words_7, "0", 1, 1), 3, 4);
    EXPECT_TRUE(driver.is_waiting(3, 4));
}

TEST_F(HostCalls, ReadOnceCutsDoubleWordsAsModbusAllows) {
    EXPECT_EQ(driver.read_once(place(double_words_13, "200", 200, 1), 5, 6), queued);
    EXPECT_EQ(support::blocks(PLC_driver.once_read_list), "1/13(0,62) 1/13(62,38)");
    const Protocol *request = driver.ComCommunication();
    EXPECT_EQ(request->frame.mid(0, 6), QByteArray("\x01\x03\x25\xE4\x00\x7C", 6));
    exchanges(2);
    EXPECT_TRUE(driver.was_read(place(double_words_13, "299", 1, 1)));
    EXPECT_FALSE(driver.was_read(place(double_words_13, "300", 1, 1)));
}

TEST_F(HostCalls, ReadOnceReadsTheRegistersOfBits) {
    EXPECT_EQ(driver.read_once(place(bits_of_8, "3.15", 2, 1), 5, 6), queued);
    EXPECT_EQ(support::blocks(PLC_driver.once_read_list), "1/8(3,2)");
    exchanges(1);
    EXPECT_TRUE(driver.was_read(place(bits_of_8, "3.15", 2, 1)));
}

TEST_F(HostCalls, ReadOnceQueuesTheWholeOrNothing) {
    RW_VAR var = support::make_var(words_7, 1, 1);
    for (int i = 0; i < 1022; ++i)
        driver.AddListOnceReadVar(&var, queue_as_it_is);
    EXPECT_EQ(driver.read_once(place(words_7, "0", 201, 1), 5, 6), no_room);
    EXPECT_EQ(driver.read_once(place(double_words_13, "200", 250, 1), 5, 6), no_room);
    EXPECT_EQ(PLC_driver.once_read_list.size(), 1022);
    EXPECT_EQ(driver.read_once(place(pairs_of_7, "0", 199, 1), 5, 6), queued);
    EXPECT_EQ(support::blocks(PLC_driver.once_read_list.mid(1022)), "1/7(0,100) 1/7(100,100)");
    EXPECT_EQ(driver.read_once(place(words_7, "x", 1, 1), 5, 6), bad_place);
    EXPECT_EQ(driver.read_once(place(words_7, "1", 0, 1), 5, 6), bad_place);
    driver.EnableEthernet(1, station_off);
    EXPECT_EQ(driver.read_once(place(words_7, "1", 1, 1), 5, 6), station_is_off);
}

TEST_F(HostCalls, EveryAnswerHasWordsOfItsOwn) {
    std::string all;
    for (int answer = queued; answer <= station_is_off; ++answer) {
        const std::string words = words_of(static_cast<Answer>(answer));
        EXPECT_EQ(all.find(words + ";"), std::string::npos);
        all += words + ";";
    }
}

TEST_F(HostCalls, WasReadWhenEveryUnitHasAnEntry) {
    const struct {
        int type;
        const char *first, *next;
        int units;
    } rows[] = {{bits_0, "7", "12", 3},      {bits_4, "9", "12", 3},   {words_7, "9", "12", 3},
                {pairs_of_7, "20", "24", 3}, {words_11, "9", "12", 3}, {double_words_13, "209", "211", 3},
                {pairs_of_8, "20", "24", 4}};
    for (const auto &row : rows) {
        const HOST_VAR var = place(row.type, row.first, row.units, 2);
        EXPECT_FALSE(driver.was_read(var)) << row.type;
        ASSERT_EQ(driver.read_once(var, 1, 1), queued);
        exchanges(1);
        EXPECT_TRUE(driver.was_read(var)) << row.type;
        HOST_VAR more = var;
        more.reg_count += 2;
        EXPECT_FALSE(driver.was_read(more)) << row.type;
        EXPECT_FALSE(driver.was_read(place(row.type, row.next, 1, 2))) << row.type;
        HOST_VAR elsewhere = var;
        elsewhere.station_no = 3;
        EXPECT_FALSE(driver.was_read(elsewhere)) << row.type;
    }
    EXPECT_FALSE(driver.was_read(place(words_7, "x", 1, 2)));
    EXPECT_FALSE(driver.was_read(place(words_7, "9", 0, 2)));
    info.multi_station = 0;
    info.default_station = 2;
    EXPECT_TRUE(driver.was_read(place(words_7, "9", 3, 1)));
}

TEST_F(HostCalls, PolledFormOfBitsIsTheirRegisters) {
    const HOST_VAR bits = driver.polled_form(place(bits_of_11, "5.14", 19, 3));
    EXPECT_EQ(bits.reg_type, words_11);
    EXPECT_EQ(bits.addr_text, QString("5"));
    EXPECT_EQ(bits.reg_count, 3);
    EXPECT_EQ(bits.station_no, 3);
    EXPECT_EQ(driver.polled_form(place(bits_of_7, "5.15", 1, 3)).reg_count, 1);
    EXPECT_EQ(driver.polled_form(place(bits_of_7, "5", 1, 3)).reg_type, bits_of_7) << "not an address";
    const HOST_VAR words = driver.polled_form(place(words_8, "5", 2, 3));
    EXPECT_EQ(words.reg_type, words_8);
    EXPECT_EQ(words.reg_count, 2);
}

TEST_F(HostCalls, TornValuesAreThoseAcrossABlocksEnd) {
    QList<HOST_VAR> list;
    list << place(words_7, "0", 1, 1) << place(pairs_of_7, "98", 2, 1) << place(pairs_of_7, "99", 2, 1)
         << place(words_7, "101", 1, 1) << place(pairs_of_8, "99", 2, 1) << place(pairs_of_7, "99", 2, 2);
    driver.ReCreatReadVarList(&list);
    EXPECT_EQ(driver.torn_values(list), QList<int>() << 2);
    info.max_count = 99;
    driver.ReCreatReadVarList(&list);
    EXPECT_EQ(driver.torn_values(list), QList<int>() << 1);
}

TEST_F(HostCalls, TornValuesAreThoseAcrossTheAddressMap) {
    QList<HOST_VAR> list;
    list << place(pairs_of_7, "7999", 2, 1) << place(pairs_of_8, "255", 2, 1) << place(pairs_of_7, "8001", 2, 1)
         << place(pairs_of_8, "257", 2, 1) << place(double_words_13, "255", 4, 1) << place(pairs_of_8, "x", 2, 1)
         << place(pairs_of_7, "255", 2, 1);
    driver.ReCreatReadVarList(&list);
    EXPECT_EQ(driver.torn_values(list), QList<int>() << 0 << 1);
}

TEST_F(HostCalls, ALongListOfValuesIsLookedAtValueByValue) {
    info.max_count = 99;
    QList<HOST_VAR> list;
    list << place(pairs_of_7, "0", 98, 1) << place(pairs_of_7, "200", 100, 1);
    driver.ReCreatReadVarList(&list);
    EXPECT_EQ(driver.torn_values(list), QList<int>() << 1);
}

TEST_F(HostCalls, TakeFinishFlagLowersIt) {
    EXPECT_FALSE(driver.take_finish_flag());
    EXPECT_EQ(driver.ComCommunication(), nullptr);
    EXPECT_TRUE(driver.take_finish_flag());
    EXPECT_EQ(info.finish_flag, 0);
    EXPECT_FALSE(driver.take_finish_flag());
}

TEST_F(HostCalls, IsOffAsTheDriverSays) {
    EXPECT_FALSE(driver.is_off(7));
    driver.EnableEthernet(7, station_off);
    EXPECT_TRUE(driver.is_off(7));
}

TEST_F(HostCalls, BroadcastReplyIsTakenForAnEcho) {
    const HOST_VAR places[] = {place(bits_4, "1", 1, 0), place(bits_4, "1", 9, 0), place(words_7, "1", 2, 0)};
    for (const HOST_VAR &where : places) {
        ASSERT_EQ(driver.write(where, QByteArray(data_size(where.reg_type, where.reg_count), '\1'), 1, 1), queued);
        QByteArray reply = broadcast_reply(*driver.ComCommunication());
        EXPECT_EQ(reply.size(), 8);
        EXPECT_EQ(driver.DataCom(&reply, 8)->ret_value, code_good);
    }
}

TEST_F(HostCalls, BroadcastReplyIsForWritesToStation0Only) {
    ASSERT_EQ(driver.write(place(words_7, "1", 1, 3), QByteArray(2, '\1'), 1, 1), queued);
    EXPECT_TRUE(broadcast_reply(*driver.ComCommunication()).isEmpty());
    exchanges(1);
    ASSERT_EQ(driver.read_once(place(words_7, "1", 1, 0), 1, 1), queued);
    EXPECT_TRUE(broadcast_reply(*driver.ComCommunication()).isEmpty());
    exchanges(1);
    ASSERT_EQ(driver.write(place(bits_of_7, "1.3", 1, 0), QByteArray(1, '\1'), 1, 1), queued);
    EXPECT_TRUE(broadcast_reply(*driver.ComCommunication()).isEmpty());
    exchanges(1);
    EXPECT_TRUE(broadcast_reply(*driver.ComCommunication()).isEmpty()) << "its write half";
}

// All of them look at the state with the lock that guards it.
TEST_F(HostCalls, TheyTakeTheLocksTheyName) {
    const QList<HOST_VAR> list;
    EXPECT_TRUE(support::waits_for(PLC_driver.list_mutex, [&] { driver.room_for(write_queue, 1); }));
    EXPECT_TRUE(support::waits_for(PLC_driver.list_mutex, [&] { driver.is_waiting(1, 1); }));
    EXPECT_TRUE(support::waits_for(PLC_driver.list_mutex, [&] { driver.torn_values(list); }));
    EXPECT_TRUE(support::waits_for(PLC_driver.list_mutex, [&] { driver.take_finish_flag(); }));
    EXPECT_TRUE(support::waits_for(PLC_driver.cache_mutex, [&] { driver.was_read(place(words_7, "1", 1, 1)); }));
    EXPECT_TRUE(support::waits_for(PLC_driver.station_mutex, [&] { driver.is_off(1); }));
}

}  // namespace

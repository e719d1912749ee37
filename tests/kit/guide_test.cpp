// The sentences of the host guide about what may surprise. Each test is named after its sentence, and fails when the
// sentence stops being true.
#define OZNA_KELPO_LINKED
#include "driver_test.h"
#include "hex_text.h"
#include "memory_controller.h"

#include <ozna_kelpo_host.h>

#include <QtCore/QFile>

#include <set>

namespace {

using namespace ozna_kelpo;
using support::bytes;
using support::hex;
using support::with_crc;

class Guide : public support::DriverTest {
protected:
    Guide() : driver(linked_driver()) {
        info.max_count = 100;
        info.multi_station = 1;
        info.retry_times = 0;
        info.write_mode = write_to_controller;
        info.finish_flag = 0;
    }

    void poll(const QList<HOST_VAR> &variables) {
        QList<HOST_VAR> list = variables;
        driver.ReCreatReadVarList(&list);
    }

    int reply_with(QByteArray reply) {
        return driver.DataCom(&reply, static_cast<int>(reply.size()))->ret_value;
    }

    // One request, answered by the controller.
    int exchange() {
        const Protocol *request = driver.ComCommunication();
        return request == nullptr ? -1 : reply_with(controller.answer(request->frame));
    }

    // One request that nobody answers.
    int silence() {
        return driver.ComCommunication() == nullptr ? -1 : reply_with(QByteArray());
    }

    // What the controller itself does to its registers.
    void controller_holds(int address, const std::string &words, int count) {
        QByteArray request("\x01\x10", 2);
        request.append(static_cast<char>(address >> 8)).append(static_cast<char>(address & 0xFF));
        request.append('\0').append(static_cast<char>(count)).append(static_cast<char>(2 * count));
        ASSERT_FALSE(controller.answer(with_crc(request + bytes(words))).isEmpty());
    }

    int write(const HOST_VAR &where, const char *value, int id) {
        const QByteArray data = bytes(value);
        return driver.SetRegisterData(QString(), where.reg_type, where.addr_text, where.station_no, data,
                                      where.reg_count, 1, id);
    }

    std::string shown(const HOST_VAR &where) {
        QByteArray value;
        driver.GetRegisterData(QString(), where.reg_type, where.addr_text, where.station_no, value, where.reg_count);
        return hex(value);
    }

    Driver driver;
    MemoryController controller;
    const HOST_VAR word_100 = place(words_7, "100", 1, 1);
    const QList<HOST_VAR> two_blocks = {place(words_7, "100", 1, 1), place(words_8, "100", 1, 1)};
};

// ---- finish_flag

TEST_F(Guide, FinishFlagRisesWithTheGoodReplyThatExceedsTheNumberOfBlocks) {
    poll(two_blocks);
    EXPECT_EQ(exchange(), code_good);
    EXPECT_EQ(exchange(), code_good);
    EXPECT_EQ(info.finish_flag, 0);
    EXPECT_EQ(exchange(), code_good);
    EXPECT_EQ(info.finish_flag, 1);
}

TEST_F(Guide, FinishFlagMayRiseWithBlocksUnreadSinceWritesAndOnceReadsCount) {
    poll(two_blocks);
    write(place(words_9, "1", 1, 1), "01 00", 1);
    driver.read_once(place(words_9, "1", 1, 1), 1, 2);
    EXPECT_EQ(exchange(), code_good);
    EXPECT_EQ(exchange(), code_good);
    EXPECT_EQ(exchange(), code_good);
    EXPECT_EQ(info.finish_flag, 1);
    EXPECT_TRUE(driver.was_read(two_blocks.at(0)));
    EXPECT_FALSE(driver.was_read(two_blocks.at(1)));
}

TEST_F(Guide, FinishFlagDoesNotCountRepliesOfAnotherArea) {
    poll(two_blocks);
    info.local_area_no = 9;
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(exchange(), code_remote_good);
    EXPECT_EQ(info.finish_flag, 0);
}

TEST_F(Guide, FinishFlagStartsItsCountAnewAfterAGiveUp) {
    poll(two_blocks);
    EXPECT_EQ(exchange(), code_good);
    EXPECT_EQ(exchange(), code_good);
    EXPECT_TRUE(is_given_up(classify(silence())));
    EXPECT_EQ(exchange(), code_good);
    EXPECT_EQ(exchange(), code_good);
    EXPECT_EQ(info.finish_flag, 0);
    EXPECT_EQ(exchange(), code_good);
    EXPECT_EQ(info.finish_flag, 1);
}

TEST_F(Guide, FinishFlagStays1UntilARebuildAGiveUpOrTheHostClearsIt) {
    poll(two_blocks);
    const auto raise = [&] {
        for (int i = 0; i < 3; ++i)
            exchange();
        return info.finish_flag;
    };
    EXPECT_EQ(raise(), 1);
    EXPECT_EQ(raise(), 1) << "another pass changes nothing";
    poll(two_blocks);
    EXPECT_EQ(info.finish_flag, 0);
    EXPECT_EQ(raise(), 1);
    silence();
    EXPECT_EQ(info.finish_flag, 0);
    EXPECT_EQ(raise(), 1);
    EXPECT_TRUE(driver.take_finish_flag());
    EXPECT_EQ(info.finish_flag, 0);
    EXPECT_EQ(raise(), 1);
}

TEST_F(Guide, FinishFlagNeverRisesWithADeadStationInTheList) {
    poll({place(words_7, "100", 1, 1), place(words_7, "100", 1, 2)});
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(exchange(), code_good);
        EXPECT_TRUE(is_given_up(classify(silence())));
    }
    EXPECT_EQ(info.finish_flag, 0);
    EXPECT_TRUE(driver.was_read(place(words_7, "100", 1, 1)));
    EXPECT_FALSE(driver.was_read(place(words_7, "100", 1, 2)));
}

// ---- Values

TEST_F(Guide, A32BitValueAcrossABlocksEndIsShownHalfOldForOneExchange) {
    const HOST_VAR value = place(pairs_of_7, "99", 2, 1);
    poll({place(words_7, "0", 1, 1), value});
    controller_holds(99, "00 01 FF FF", 2);
    exchange();
    exchange();
    EXPECT_EQ(shown(value), "FF FF 01 00");
    controller_holds(99, "00 02 00 00", 2);
    exchange();
    EXPECT_EQ(shown(value), "FF FF 02 00") << "0x0002FFFF was never in the controller";
    exchange();
    EXPECT_EQ(shown(value), "00 00 02 00");
    EXPECT_EQ(driver.torn_values({place(words_7, "0", 1, 1), value}), QList<int>() << 1);
}

TEST_F(Guide, APolledBitInAWordDoesNotMoveUnlessItsWordIsPolled) {
    const HOST_VAR bit = place(bits_of_7, "6.4", 1, 1);
    controller_holds(6, "00 10", 1);
    poll({bit});
    exchange();
    EXPECT_EQ(shown(bit), "00");
    poll({driver.polled_form(bit)});
    exchange();
    EXPECT_EQ(shown(bit), "01");
}

TEST_F(Guide, AHostVarWithoutAnInitialiserIsNotZero) {
    // With one it is, wherever it is declared.
    unsigned char memory[2 * sizeof(HOST_VAR)];
    std::memset(memory, 0xA5, sizeof memory);
    HOST_VAR *var = new (memory) HOST_VAR(HOST_VAR());
    EXPECT_EQ(var->reg_type, 0);
    EXPECT_EQ(var->station_no, 0);
    EXPECT_EQ(var->reg_count, 0);
    var->~HOST_VAR();
}

// ---- Queues

TEST_F(Guide, OneThousandAndTwentyFourIsTheSizeAfterTheLastAcceptedWriteAndAfterADroppedOne) {
    int answer = 0;
    for (int id = 1; id <= 1024; ++id)
        answer = write(word_100, "01 00", id);
    EXPECT_EQ(answer, 1024);
    EXPECT_TRUE(driver.is_waiting(1, 1024));
    EXPECT_EQ(write(word_100, "01 00", 1025), 1024);
    EXPECT_FALSE(driver.is_waiting(1, 1025));
    EXPECT_FALSE(driver.room_for(write_queue, 1));
}

TEST_F(Guide, OnceReadsWithMode1AreNotBounded) {
    RW_VAR var = support::make_var(words_7, 1, 1);
    for (int i = 1; i <= 2000; ++i)
        EXPECT_EQ(driver.AddListOnceReadVar(&var, queue_as_it_is), i);
}

TEST_F(Guide, AFailedWriteLeavesItsValueInTheCache) {
    poll({word_100});
    exchange();
    EXPECT_EQ(shown(word_100), "00 00");
    write(word_100, "34 12", 1);
    EXPECT_TRUE(is_given_up(classify(silence())));
    ASSERT_EQ(write_results.size(), 1U);
    EXPECT_EQ(write_results[0].status, request_failed);
    EXPECT_EQ(shown(word_100), "34 12");
    exchange();
    EXPECT_EQ(shown(word_100), "00 00") << "the next poll brings the controller's value back";
}

TEST_F(Guide, AWriteToADisabledStationOfAFailedLinkIsCachedDroppedAndNotReported) {
    poll({word_100});
    silence();
    driver.EnableEthernet(1, station_off);
    EXPECT_EQ(write(word_100, "34 12", 1), 1);
    EXPECT_EQ(shown(word_100), "34 12");
    EXPECT_EQ(driver.ComCommunication(), nullptr);
    EXPECT_FALSE(driver.is_waiting(1, 1));
    EXPECT_TRUE(write_results.empty());
    EXPECT_EQ(shown(word_100), "34 12");
    EXPECT_EQ(driver.write(word_100, bytes("34 12"), 1, 1), station_is_off);
}

TEST_F(Guide, AWriteToStation0IsGivenUpUnlessTheHostSuppliesTheReply) {
    const HOST_VAR all = place(words_7, "100", 1, 0);
    write(all, "34 12", 1);
    EXPECT_EQ(hex(driver.ComCommunication()->frame.left(1)), "00");
    EXPECT_EQ(classify(silence()), silent);
    write(all, "34 12", 2);
    EXPECT_EQ(classify(reply_with(broadcast_reply(*driver.ComCommunication()))), good);
    ASSERT_EQ(write_results.size(), 2U);
    EXPECT_EQ(write_results[0].status, request_failed);
    EXPECT_EQ(write_results[1].status, request_done);
}

TEST_F(Guide, AnOnceReadOfABitInAWordDoesNotFillThePlaceThatIsShown) {
    const HOST_VAR bit = place(bits_of_7, "6.4", 1, 1);
    controller_holds(6, "00 10", 1);
    RW_VAR record;
    record.reg_type = bits_of_7;
    record.addr_text = "6.4";
    record.reg_count = 1;
    record.station_no = 1;
    driver.AddListOnceReadVar(&record, parse_and_cut);
    EXPECT_EQ(hex(driver.ComCommunication()->frame.left(6)), "01 03 00 64 00 01") << "register 6 x 16 + 4 is asked for";
    exchange();
    EXPECT_EQ(shown(bit), "00");
    EXPECT_FALSE(driver.was_read(bit));
    driver.read_once(bit, 1, 1);
    exchange();
    EXPECT_EQ(shown(bit), "01");
}

TEST_F(Guide, AnOnceReadOfMoreThan62DoubleWordsAsksForMoreThanModbusAllows) {
    RW_VAR record;
    record.reg_type = double_words_13;
    record.addr_text = "200";
    record.reg_count = 126;
    record.station_no = 1;
    driver.AddListOnceReadVar(&record, parse_and_cut);
    EXPECT_EQ(hex(driver.ComCommunication()->frame.left(6)), "01 03 25 E4 00 7E")
        << "126 registers, one request has 125";
    driver.PLC_driver->frame_list.clear();
    driver.PLC_driver->once_read_list.clear();
    driver.read_once(place(double_words_13, "200", 126, 1), 1, 1);
    EXPECT_EQ(hex(driver.ComCommunication()->frame.left(6)), "01 03 25 E4 00 7C");
}

TEST_F(Guide, AShortValueOfTypes12And14LosesItsFirstByte) {
    for (const int type : {pairs_of_7, pairs_of_8}) {
        write(place(type, "10", 2, 1), "34 12", 1);
        EXPECT_EQ(hex(driver.PLC_driver->write_list.last().value_bytes), "30 30 30 12");
        EXPECT_EQ(driver.write(place(type, "10", 2, 1), bytes("34 12"), 1, 1), wrong_size);
    }
}

// ---- The link loop

TEST_F(Guide, TheRequestIsGoneAfterDataComHasTakenItsReply) {
    poll({word_100});
    const RW_VAR asked = driver.ComCommunication()->var;
    exchange();
    EXPECT_TRUE(driver.PLC_driver->frame_list.isEmpty()) << "the record that the pointer names is destroyed";
    EXPECT_EQ(asked.reg_addr, 100) << "a copy is not";
}

TEST_F(Guide, OneNullIsNotTheEnd) {
    for (int id = 1; id <= 6; ++id)
        write(word_100, "01 00", id);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(exchange(), code_good);
    EXPECT_EQ(driver.ComCommunication(), nullptr);
    EXPECT_TRUE(driver.is_waiting(1, 6));
    EXPECT_NE(driver.ComCommunication(), nullptr);
}

TEST_F(Guide, AfterCode0TheRecordStillNamesTheVariableThatWasGivenUpBefore) {
    poll({place(words_7, "100", 1, 1), place(words_8, "5", 1, 1)});
    silence();
    EXPECT_EQ(driver.PLC_driver->ret_var.reg_type, words_7);
    info.retry_times = 5;
    EXPECT_EQ(driver.ComCommunication()->var.reg_type, words_8);
    EXPECT_EQ(silence(), code_sent_again);
    EXPECT_EQ(driver.PLC_driver->ret_var.reg_type, words_7) << "and not the one that failed";
}

TEST_F(Guide, PolledVariablesHaveGroup0AndTheCallbackNamesNoStation) {
    poll({place(words_7, "100", 1, 5)});
    EXPECT_EQ(silence(), code_no_reply_first);
    ASSERT_EQ(comm_errors.size(), 1U);
    EXPECT_EQ(comm_errors[0].var_group, polled_group);
    EXPECT_TRUE(comm_errors[0].empty_list);
}

TEST_F(Guide, NoiseUsesUpRetriesSoTheStationGivenUpMayBeInnocent) {
    info.retry_times = 2;
    poll({place(words_7, "100", 1, 1), place(words_7, "100", 1, 2)});
    for (int pass = 0; pass < 2; ++pass) {
        EXPECT_EQ(silence(), code_sent_again);  // station 1
        EXPECT_EQ(exchange(), code_good);
        EXPECT_EQ(exchange(), code_good);  // station 2
    }
    EXPECT_EQ(exchange(), code_good);
    EXPECT_EQ(driver.ComCommunication()->var.station_no, 2);
    EXPECT_TRUE(is_given_up(classify(silence()))) << "its first failure";
    EXPECT_EQ(driver.PLC_driver->ret_var.station_no, 2);
}

TEST_F(Guide, AControllerMustServeFunctions1And3And5And6And15And16) {
    std::set<int> functions;
    const char *texts[] = {"1", "200", "1.0"};
    for (int type = 0; type < register_types; ++type)
        for (const int units : {1, 9}) {
            const HOST_VAR where = place(type,
                                         texts[is_bit_of_word(type)      ? 2
                                               : type == double_words_13 ? 1
                                                                         : 0],
                                         units, 1);
            driver.read_once(where, 1, 1);
            driver.write(where, QByteArray(data_size(type, units), '\1'), 1, 2);
            for (int nulls = 0; nulls < 2;) {
                const Protocol *request = driver.ComCommunication();
                if (request == nullptr) {
                    ++nulls;
                    continue;
                }
                functions.insert(request->frame.at(1));
                EXPECT_EQ(reply_with(controller.answer(request->frame)), code_good);
            }
        }
    EXPECT_EQ(functions, (std::set<int>{1, 3, 5, 6, 15, 16}));
}

TEST_F(Guide, SetComInfoClearsNothing) {
    poll({word_100});
    write(word_100, "34 12", 1);
    driver.read_once(word_100, 1, 2);
    driver.EnableEthernet(4, station_off);
    exchange();
    ComInfo other = info;
    driver.SetComInfo(&other);
    EXPECT_EQ(shown(word_100), "34 12");
    EXPECT_TRUE(driver.is_waiting(1, 2));
    EXPECT_TRUE(driver.is_off(4));
    EXPECT_EQ(driver.PLC_driver->read_list.size(), 1);
}

// ---- Several lines, together with a driver that is linked

TEST_F(Guide, ACopyNextToALinkedDriverSharesItsStateUnlessItIsLoadedDeepBound) {
    // The copy constructs its driver in the state of the one that is linked: in a process of its own.
    const auto plainly = [] {
        char name[] = "/tmp/kit_guide_XXXXXX";
        const int file = mkstemp(name);
        QFile driver_file(DRIVER_FILE), copy;
        const bool written = driver_file.open(QIODevice::ReadOnly) && copy.open(file, QIODevice::WriteOnly) &&
                             copy.write(driver_file.readAll()) > 0 && copy.flush();
        void *handle = dlopen(name, RTLD_NOW | RTLD_LOCAL);
        unlink(name);
        void *const symbol = dlsym(handle, "SetComInfo");
        void (*set_com_info)(ComInfo *) = nullptr;
        std::memcpy(&set_com_info, &symbol, sizeof symbol);
        ComInfo mine = ComInfo();
        set_com_info(&mine);
        _exit(written && PLC_driver.com_info == &mine ? 0 : 1);
    };
    EXPECT_EXIT(plainly(), ::testing::ExitedWithCode(0), "");
#if defined(NO_DEEP_BINDING)
    GTEST_SKIP() << "the address sanitizer does not let a library be loaded with RTLD_DEEPBIND";
#endif
    const auto deep_bound = [] {
        LoadedDriver other;
        const bool refused = !other.load(DRIVER_FILE);
        const bool loaded = other.load_copy(DRIVER_FILE);
        ComInfo mine = ComInfo();
        if (loaded)
            other.SetComInfo(&mine);
        _exit(refused && loaded && PLC_driver.com_info != &mine && other.PLC_driver->com_info == &mine ? 0 : 1);
    };
    EXPECT_EXIT(deep_bound(), ::testing::ExitedWithCode(0), "");
}

#if QT_VERSION >= 0x050000
// The five lines of the guide: Qt's handler has other arguments since Qt 5.
void log_to_file(QtMsgType type, const QMessageLogContext &, const QString &text) {
    customMessageHandler(type, text.toLatin1().constData());
}

TEST_F(Guide, TheLogFitsTheHandlersOfQt5And6WithAnAdapter) {
    const QtMessageHandler before = qInstallMessageHandler(log_to_file);
    EXPECT_EQ(qInstallMessageHandler(before), log_to_file);
}
#endif

TEST_F(Guide, TheLogFitsTheHandlerOfQt4) {
    void (*of_qt_4)(QtMsgType, const char *) = customMessageHandler;
    EXPECT_NE(of_qt_4, nullptr);
}

}  // namespace

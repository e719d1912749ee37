#include "exchange.h"

#include <chrono>
#include <thread>

using support::bytes;
using support::describe;
using support::DriverTest;
using support::entries;
using support::hex;
using support::int_max;
using support::int_min;
using support::Lines;
using support::TightBytes;

namespace {

class HostAccess : public DriverTest {
protected:
    HostAccess() {
        info.write_mode = 2;
        write_queue_size();
    }

    // The size of the write queue, asked for with a write that queues nothing: type 0 is not writable.
    static int write_queue_size() {
        return SetRegisterData(QString(), 0, QLatin1String("0"), 1, QByteArray(), 1, 0, 0);
    }

    // Writes `data` for variable 3/4. The driver sees exactly those bytes.
    static int set(int type, const char *address, const QByteArray &data, int count, int station = 9) {
        const TightBytes tight(data);
        const int result = SetRegisterData(QString::fromLatin1("text"), type, QString::fromLatin1(address), station,
                                           tight.borrowed(), count, 3, 4);
        EXPECT_TRUE(result == 0 || result == PLC_driver.write_list.size());
        return result;
    }

    static int set(int type, const char *address, const char *data, int count, int station = 9) {
        return set(type, address, bytes(data), count, station);
    }

    static std::string get(int type, const char *address, int count, int station = 9) {
        QByteArray out("what was there before");
        EXPECT_EQ(GetRegisterData(QString(), type, QString::fromLatin1(address), station, out, count), 1);
        return hex(out);
    }

    // The writes waiting: "(address,count) value".
    static Lines queued() {
        Lines lines;
        for (const RW_VAR &var : PLC_driver.write_list)
            lines.push_back("(" + std::to_string(var.reg_addr) + "," + std::to_string(var.reg_count) + ") " +
                            hex(var.value_bytes));
        return lines;
    }

    // The writes that one call queues.
    static Lines writes(int type, const char *address, const char *data, int count) {
        PLC_driver.write_list.clear();
        set(type, address, data, count);
        return queued();
    }

    // The spans of the writes that one call queues, "(address,count)".
    static std::string chunks(int type, const char *address, int size, int count) {
        PLC_driver.write_list.clear();
        set(type, address, QByteArray(size, '\x01'), count);
        return support::spans(PLC_driver.write_list);
    }

    static void fill_write_list() {
        RW_VAR var = support::make_var(7, 0, 1);
        while (AddListWriteVar(&var) < 1024) {
        }
    }
};

// ---- the write record

TEST_F(HostAccess, TheWriteRecordCarriesEveryFieldOfHostAndBlock) {
    info.remote_mode = 7;
    info.local_area_no = 8;
    info.default_station = 44;
    EXPECT_EQ(set(7, "0030", "34 12", 1), 1);
    EXPECT_EQ(describe(PLC_driver.write_list.first()),
              "var_group 3\nvar_id 4\nhost_ref2 1\nhost_ref3 7\narea_no 8\nret_value 0\naux_text text\n"
              "addr_text 0030\nreg_type 7\nreg_addr 30\nstation_no 44\nreg_count 1\nstore_mode 0\naux_word 0\n"
              "value_bytes 34 12");
}

TEST_F(HostAccess, EveryRecordOfACutWriteCarriesTheSameTextAndIdentity) {
    info.max_count = 1;
    set(15, "2.15", "01 01", 2);
    ASSERT_EQ(PLC_driver.write_list.size(), 2);
    RW_VAR second = PLC_driver.write_list.first();
    second.reg_addr = 48;
    EXPECT_EQ(PLC_driver.write_list.first().reg_addr, 47);
    EXPECT_EQ(PLC_driver.write_list.first().reg_type, 15);
    EXPECT_EQ(describe(PLC_driver.write_list.last()), describe(second));
}

TEST_F(HostAccess, WithMultiStationSetAWriteGoesToTheHostsStation) {
    info.default_station = 44;
    for (int multi_station : {1, -1, 2}) {
        info.multi_station = multi_station;
        PLC_driver.write_list.clear();
        set(7, "30", "34 12", 1, 9);
        EXPECT_EQ(PLC_driver.write_list.first().station_no, 9) << "multi_station " << multi_station;
    }
    info.multi_station = 0;
    PLC_driver.write_list.clear();
    set(7, "30", "34 12", 1, 9);
    EXPECT_EQ(PLC_driver.write_list.first().station_no, 44);
}

TEST_F(HostAccess, TheIdentityAndTheStationMayBeAnyNumber) {
    info.multi_station = 1;
    for (int number : {int_min, -1, 0, 256, int_max}) {
        PLC_driver.write_list.clear();
        SetRegisterData(QString(), 7, QString::fromLatin1("30"), number, bytes("34 12"), 1, number, number);
        ASSERT_EQ(PLC_driver.write_list.size(), 1);
        EXPECT_EQ(PLC_driver.write_list.first().var_group, number);
        EXPECT_EQ(PLC_driver.write_list.first().var_id, number);
        EXPECT_EQ(PLC_driver.write_list.first().station_no, number);
    }
}

TEST_F(HostAccess, ATypeOutside0To17WritesNothing) {
    set(7, "30", "34 12", 1);
    for (int mode : {2, 0})
        for (int type : {18, 255, -1, int_max, int_min}) {
            info.write_mode = mode;
            EXPECT_EQ(set(type, "30", "34 12", 1), 1) << "type " << type;
        }
    EXPECT_EQ(set(0, "30", "01", 1), 1);
    EXPECT_TRUE(support::caches_empty());
}

// ---- queue and cache

TEST_F(HostAccess, AnyWriteModeExcept2WritesOnlyToTheCache) {
    for (int mode : {0, 1, 3, -1, -2, int_max, int_min}) {
        info.write_mode = mode;
        PLC_driver.word_cache.clear();
        EXPECT_EQ(set(7, "30", "34 12", 1), 0) << "write_mode " << mode;
        EXPECT_TRUE(PLC_driver.write_list.isEmpty());
        EXPECT_EQ(entries(PLC_driver.word_cache), "0107001E=1234") << "write_mode " << mode;
    }
}

// While the link has failed, the host reads back what it wrote, whether or not the queue accepted it.
TEST_F(HostAccess, OnAFailedLinkTheCacheGetsAWriteThatAFullQueueRefuses) {
    fill_write_list();
    PLC_driver.comm_failed = true;
    EXPECT_EQ(set(7, "30", "34 12", 1), 1024);
    EXPECT_EQ(entries(PLC_driver.word_cache), "0107001E=1234");
}

// ---- bits in groups

// The bytes of a whole group are shifted and OR-ed in as they are. A host that puts 3 where it means 1 has always set
// the next bit as well; normalising each byte to 0 or 1 would change what those hosts send.
TEST_F(HostAccess, AByteAbove1InAWholeGroupSpillsIntoTheBitsAboveIt) {
    EXPECT_EQ(writes(4, "0", "03 00 00 00 00 00 00 00", 8), Lines{"(0,8) 03"});
    EXPECT_EQ(writes(4, "0", "00 00 00 05 00 00 00 00", 8), Lines{"(0,8) 28"});
    EXPECT_EQ(writes(4, "0", "80 00 00 00 00 00 00 FF", 8), Lines{"(0,8) 80"});
    EXPECT_EQ(writes(4, "0", "00 00 00 00 00 00 00 03 00", 9), Lines{"(0,9) 80 00"});
}

// After the last whole group, any byte except zero sets its own bit and no other.
TEST_F(HostAccess, AByteAbove1AfterTheLastWholeGroupSetsItsOwnBit) {
    EXPECT_EQ(writes(4, "0", "03 00 80", 3), Lines{"(0,3) 05"});
    EXPECT_EQ(writes(4, "0", "00 00 00 00 00 00 00 00 FF 00", 10), Lines{"(0,10) 00 01"});
}

TEST_F(HostAccess, OneBitOfAGroupedTypeIsSetByAnyByteAndTwoAreOneWrite) {
    for (const char *data : {"01", "80", "FE 00"})
        EXPECT_EQ(writes(4, "7", data, 1), Lines{"(7,1) 01"}) << data;
    EXPECT_EQ(writes(4, "7", "00 01", 1), Lines{"(7,1) 00"});
    EXPECT_EQ(writes(4, "7", "00 01", 2), Lines{"(7,2) 02"}) << "two bits are one write";
}

TEST_F(HostAccess, HostBytesAfterTheEndOfTheDataAre0) {
    EXPECT_EQ(writes(4, "0", "", 11), Lines{"(0,11) 00 00"});
    EXPECT_EQ(writes(4, "0", "01 01 01", 8), Lines{"(0,8) 07"});
    EXPECT_EQ(writes(4, "0", "01 01 01", 5), Lines{"(0,5) 07"});
    EXPECT_EQ(writes(4, "0", "01 01 01 01 01 01 01 01 01", 16), Lines{"(0,16) FF 01"});
    EXPECT_EQ(writes(4, "0", "01 01 01 01 01 01 01 01 01", 11), Lines{"(0,11) FF 01"});
}

TEST_F(HostAccess, BitsAreCutInto8TimesMaxCount) {
    info.max_count = 1;
    EXPECT_EQ(writes(4, "0", "01 00 00 00 00 00 00 00 00 01 00 00 00 00 00 00 00 00 01", 19),
              (Lines{"(0,8) 01", "(8,8) 02", "(16,3) 04"}));
    info.max_count = 2;
    EXPECT_EQ(chunks(5, "100", 40, 40), "(100,16) (116,16) (132,8)");
    info.max_count = 100;
    EXPECT_EQ(chunks(6, "0", 1700, 1700), "(0,800) (800,800) (1600,100)");
    EXPECT_EQ(chunks(1, "0", 800, 800), "(0,800)");
}

// ---- 32-bit values on register pairs

// Leftover bytes, fewer than a value needs, are stored one byte too late, with the character '0' in front of them. The
// one that would come after the last value of a request is dropped.
TEST_F(HostAccess, LeftoverBytesAfterTheLastValueLoseTheirFirst) {
    for (int type : {12, 14}) {
        EXPECT_EQ(writes(type, "30", "11", 1), Lines{"(30,2) 30 30 30 30"}) << "type " << type;
        EXPECT_EQ(writes(type, "30", "11 22 33", 2), Lines{"(30,2) 30 30 33 22"}) << "type " << type;
        EXPECT_EQ(writes(type, "30", "01 02 03 04 11 22 33", 4), Lines{"(30,4) 04 03 02 01 30 30 33 22"})
            << "type " << type;
        EXPECT_EQ(PLC_driver.write_list.last().value_bytes.constData()[8], '\0') << "the end of the byte array itself";
    }
}

// With another value after them in the same request, the first leftover byte becomes the first byte of that value.
TEST_F(HostAccess, LeftoverBytesReachIntoTheNextValue) {
    for (int type : {12, 14}) {
        EXPECT_EQ(writes(type, "30", "11", 4), Lines{"(30,4) 30 30 30 30 11 30 30 30"}) << "type " << type;
        EXPECT_EQ(writes(type, "30", "11 22", 4), Lines{"(30,4) 30 30 30 22 11 30 30 30"}) << "type " << type;
        EXPECT_EQ(writes(type, "30", "11 22 33", 6), Lines{"(30,6) 30 30 33 22 11 30 30 30 30 30 30 30"})
            << "type " << type;
        EXPECT_EQ(writes(type, "30", "01 02 03 04 11 22", 6), Lines{"(30,6) 04 03 02 01 30 30 30 22 11 30 30 30"})
            << "type " << type;
    }
}

TEST_F(HostAccess, LeftoverBytesNeverReachIntoTheNextRequest) {
    info.max_count = 1;
    EXPECT_EQ(writes(12, "30", "11 22 33", 4), (Lines{"(30,2) 30 30 33 22", "(32,2) 30 30 30 30"}));
    EXPECT_EQ(writes(12, "30", "01 02 03 04 11 22 33", 6),
              (Lines{"(30,2) 04 03 02 01", "(32,2) 30 30 33 22", "(34,2) 30 30 30 30"}));
}

TEST_F(HostAccess, PairsAreCutIntoMaxCountValuesButNeverMoreThan50) {
    EXPECT_EQ(chunks(12, "1000", 500, 250), "(1000,100) (1100,100) (1200,50)");
    EXPECT_EQ(chunks(14, "0", 204, 101), "(0,100) (100,2)");
    info.max_count = 50;
    EXPECT_EQ(chunks(12, "0", 204, 101), "(0,100) (100,2)");
    info.max_count = 49;
    EXPECT_EQ(chunks(12, "0", 204, 101), "(0,98) (98,4)");
    info.max_count = 3;
    EXPECT_EQ(chunks(12, "0", 28, 13), "(0,6) (6,6) (12,2)");
}

// ---- 32-bit registers

TEST_F(HostAccess, DoubleWordsAreCutIntoMaxCountValuesButNeverMoreThan50) {
    EXPECT_EQ(chunks(13, "1200", 500, 250), "(1000,50) (1050,50) (1100,25)");
    info.max_count = 3;
    EXPECT_EQ(chunks(13, "200", 28, 13), "(0,3) (3,3) (6,1)");
}

// ---- counts and limits

// A frame counts its units in 16 bits, so no record holds more, however high a host sets max_count afterwards.
TEST_F(HostAccess, AMaxCountAbove65535CutsRecordsOf65535Units) {
    for (int max_count : {65536, 100000, int_max}) {
        info.max_count = max_count;
        EXPECT_EQ(chunks(7, "0", 140000, 70000), "(0,65535) (65535,4465)") << "max_count " << max_count;
        EXPECT_EQ(PLC_driver.write_list.first().value_bytes.size(), 131070);
        EXPECT_EQ(PLC_driver.write_list.last().value_bytes.size(), 8930);
        EXPECT_EQ(chunks(4, "0", 70000, 70000), "(0,65535) (65535,4465)") << "max_count " << max_count;
        EXPECT_EQ(PLC_driver.write_list.first().value_bytes.size(), 8192);
        EXPECT_EQ(chunks(12, "0", 400, 200), "(0,100) (100,100)") << "max_count " << max_count;
        EXPECT_EQ(chunks(13, "200", 400, 200), "(0,50) (50,50)") << "max_count " << max_count;
    }
    info.max_count = 65535;
    EXPECT_EQ(chunks(7, "0", 140000, 70000), "(0,65535) (65535,4465)");
}

TEST_F(HostAccess, AddressesContinueBeyond2To31AsTheirLow32Bits) {
    info.max_count = 1;
    EXPECT_EQ(chunks(2, "2147483646", 4, 4), "(2147483646,1) (2147483647,1) (-2147483648,1) (-2147483647,1)");
    EXPECT_EQ(chunks(7, "2147483647", 4, 2), "(2147483647,1) (-2147483648,1)");
    EXPECT_EQ(chunks(4, "2147483640", 16, 16), "(2147483640,8) (-2147483648,8)");
    EXPECT_EQ(chunks(12, "2147483646", 8, 4), "(2147483646,2) (-2147483648,2)");
    EXPECT_EQ(chunks(15, "134217727.15", 2, 2), "(2147483647,1) (-2147483648,1)");
}

TEST_F(HostAccess, TheLargestCountEndsWithAFullQueue) {
    fill_write_list();
    info.max_count = 65535;
    EXPECT_EQ(set(7, "2147483647", "01 02", int_max), 1024);
}

// ---- reading back

TEST_F(HostAccess, EveryWritableTypeReadsBackWhatWasWritten) {
    info.write_mode = 0;
    for (int max_count : {100, 1}) {
        info.max_count = max_count;
        for (int type : {1, 2, 3, 4, 5, 6, 15, 16, 17}) {
            const char *const address = type >= 15 ? "2.13" : "100";
            const char *const data = "01 00 01 01 00 00 01 00 01 01 01 00 01 00 00 01 01 00 01";
            set(type, address, data, 19);
            EXPECT_EQ(get(type, address, 19), data) << "type " << type;
        }
        for (int type : {7, 8, 9, 10, 11, 12, 13, 14}) {
            const char *const data = "01 82 03 84 05 86 07 88 09 8A 0B 8C";
            set(type, "300", data, 6);
            EXPECT_EQ(get(type, "300", 6), data) << "type " << type;
        }
    }
}

TEST_F(HostAccess, EveryWritableTypeReadsBackWhatWentOverTheLine) {
    for (int type = 1; type <= 17; ++type) {
        const char *const address = type >= 15 ? "2.13" : "300";
        const char *const data = type >= 7 && type <= 14 ? "01 82 03 84 05 86 07 88" : "01 00 01 01";
        set(type, address, data, 4);
        while (ComCommunication() != nullptr)
            support::answer_correctly();
        EXPECT_EQ(get(type, address, 4), data) << "type " << type;
    }
}

TEST_F(HostAccess, TwoStationsHaveValuesOfTheirOwn) {
    info.write_mode = 0;
    info.multi_station = 1;
    set(7, "30", "34 12", 1, 1);
    set(7, "30", "78 56", 1, 2);
    EXPECT_EQ(get(7, "30", 1, 1), "34 12");
    EXPECT_EQ(get(7, "30", 1, 2), "78 56");
    EXPECT_EQ(get(7, "30", 1, 3), "00 00");
}

TEST_F(HostAccess, ReadsContinueAt0AfterTheLastKey) {
    info.multi_station = 1;
    PLC_driver.word_cache.insert(0xFFFFFFFFu, 0x1234);
    PLC_driver.word_cache.insert(0, 0x5678);
    EXPECT_EQ(get(7, "16777215", 2, 255), "34 12 78 56");
    EXPECT_EQ(get(12, "16777215", 2, 255), "78 56 34 12");
    PLC_driver.bit_cache.insert(0xFFFFFFFFu, 1);
    PLC_driver.bit_cache.insert(1, 1);
    EXPECT_EQ(get(2, "16777215", 3, 255), "01 00 01");
    PLC_driver.dword_cache.insert(0xFFFFFFFFu, 1);
    PLC_driver.dword_cache.insert(0, 2);
    EXPECT_EQ(get(13, "16777415", 4, 255), "01 00 00 00 02 00 00 00");
}

TEST_F(HostAccess, ABitAddressContinuesBeyond2To31AsAnUnsignedNumber) {
    PLC_driver.word_cache.insert(0x07FFFFFF, 0x8000);
    PLC_driver.word_cache.insert(0x09070000, 0x0001);
    EXPECT_EQ(get(15, "134217727.15", 2), "01 01");
}

TEST_F(HostAccess, ACountThatNoByteArrayCanHoldReadsNothing) {
    for (int type = -1; type <= 18; ++type)
        for (int count : {1 << 30, int_max - 1, int_max}) {
            QByteArray out("what was there before");
            const char *const address = type >= 15 && type <= 17 ? "2.0" : "300";
            EXPECT_EQ(GetRegisterData(QString(), type, QString::fromLatin1(address), 1, out, count), 1);
            EXPECT_TRUE(out.isEmpty()) << "type " << type << ", count " << count;
            out = "what was there before";
            EXPECT_EQ(GetRegisterData(QString(), type, QString::fromLatin1("abc"), 1, out, count), 0);
            EXPECT_TRUE(out.isEmpty()) << "type " << type << ", count " << count;
        }
    for (int type : {7, 12, 13, 14, 18}) {
        QByteArray out("what was there before");
        EXPECT_EQ(GetRegisterData(QString(), type, QString::fromLatin1("300"), 1, out, 1 << 29), 1);
        EXPECT_TRUE(out.isEmpty()) << "type " << type;
    }
}

// ---- locks

TEST_F(HostAccess, WithWriteMode2OnlyListMutexIsTaken) {
    const auto write = [] {
        set(7, "30", "34 12", 1);
    };
    EXPECT_TRUE(support::takes_only({&PLC_driver.list_mutex}, write));
}

TEST_F(HostAccess, WithAnyOtherWriteModeOnlyCacheMutexIsTaken) {
    info.write_mode = 0;
    const auto write = [] {
        set(7, "30", "34 12", 1);
    };
    EXPECT_TRUE(support::takes_only({&PLC_driver.cache_mutex}, write));
}

TEST_F(HostAccess, WhileTheLinkHasFailedBothAreTakenOneAfterTheOther) {
    PLC_driver.comm_failed = true;
    const auto write = [] {
        set(7, "30", "34 12", 1);
    };
    EXPECT_TRUE(support::takes_only({&PLC_driver.list_mutex, &PLC_driver.cache_mutex}, write));
}

// A thread that waits for the cache must not keep other threads from the queue.
TEST_F(HostAccess, AWriteThatWaitsForTheCacheLeavesTheQueueFree) {
    PLC_driver.comm_failed = true;
    PLC_driver.cache_mutex.lock();
    std::thread writer([] { set(7, "30", "34 12", 1); });
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    bool queued_and_free = false;
    while (!queued_and_free && std::chrono::steady_clock::now() < deadline) {
        if (PLC_driver.list_mutex.tryLock(100)) {
            queued_and_free = PLC_driver.write_list.size() == 1;
            PLC_driver.list_mutex.unlock();
        }
        std::this_thread::yield();
    }
    EXPECT_TRUE(queued_and_free);
    PLC_driver.cache_mutex.unlock();
    writer.join();
    EXPECT_EQ(entries(PLC_driver.word_cache), "0107001E=1234");
}

// A panel's screen asks for the size to see whether there is room. It gets one even while the link thread builds a
// frame.
TEST_F(HostAccess, WhileTheQueueIsLockedTheSizeIsThatOfTheLastChange) {
    set(7, "30", "34 12 78 56", 2);
    set(7, "40", "34 12", 1);
    int result = -1;
    EXPECT_TRUE(support::does_not_wait_for(PLC_driver.list_mutex, [&result] { result = write_queue_size(); }));
    EXPECT_EQ(result, 2);

    info.write_mode = 0;
    EXPECT_TRUE(support::does_not_wait_for(PLC_driver.list_mutex, [&result] { result = set(7, "50", "34 12", 1); }));
    EXPECT_EQ(result, 2);
    EXPECT_EQ(get(7, "50", 1), "34 12");
}

TEST_F(HostAccess, WhatWasQueuedIsCountedBeforeAnybodyElseTakesIt) {
    PLC_driver.cache_mutex.lock();
    PLC_driver.comm_failed = true;  // the write waits for the cache, between the queue and its result
    int result = -1;
    std::thread writer(
        [&result] { result = SetRegisterData(QString(), 7, QLatin1String("30"), 1, QByteArray(2, '\0'), 1, 3, 4); });
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    bool taken = false;
    while (!taken && std::chrono::steady_clock::now() < deadline) {
        if (PLC_driver.list_mutex.tryLock(100)) {
            taken = PLC_driver.write_list.size() == 1;
            PLC_driver.write_list.clear();
            PLC_driver.list_mutex.unlock();
        }
        std::this_thread::yield();
    }
    PLC_driver.cache_mutex.unlock();
    writer.join();
    EXPECT_TRUE(taken);
    EXPECT_EQ(result, 1);
}

// ---- from a callback, which runs with list_mutex held

std::vector<int> sizes_seen;

// Like a panel that mirrors what was written: with a write_mode other than 2 this call does not wait.
void mirror_result(int, int, int, int) {
    PLC_driver.com_info->write_mode = 0;
    sizes_seen.push_back(SetRegisterData(QString(), 7, QLatin1String("900"), 1, QByteArray("\x01\x00", 2), 1, 0, 0));
    PLC_driver.com_info->write_mode = 2;
}

void mirror_error(QList<RW_VAR> *, int, int) {
    mirror_result(0, 0, 0, 0);
}

TEST_F(HostAccess, ACallbackMayWriteToTheCacheAndGetsTheSize) {
    RegistCallBackFuncIntf(mirror_result, mirror_error);
    info.retry_times = 0;
    info.multi_station = 1;
    sizes_seen.clear();
    set(7, "30", "34 12", 1, 2);  // its station is disabled: dropped without a report
    EnableEthernet(2, 0);
    RW_VAR unknown = support::write_var(18, 0, 1, "01");
    AddListWriteVar(&unknown);
    EXPECT_EQ(set(7, "31", "34 12", 1), 3);
    EXPECT_EQ(set(7, "32", "34 12", 1), 4);

    EXPECT_EQ(ComCommunication(), nullptr);  // refuses the unknown type
    EXPECT_EQ(sizes_seen, std::vector<int>({2})) << "without the dropped and the refused one";

    ASSERT_NE(ComCommunication(), nullptr);
    EXPECT_EQ(support::answer_nothing(), 44);
    EXPECT_EQ(sizes_seen, std::vector<int>({2, 2, 1})) << "when it is reported, and when it has left the queue";

    int result = -1;
    EXPECT_TRUE(support::does_not_wait_for(PLC_driver.list_mutex, [&result] { result = write_queue_size(); }));
    EXPECT_EQ(result, 0) << "the other write of the variable went with it";
    EXPECT_EQ(get(7, "900", 1, 1), "01 00");
}

TEST_F(HostAccess, AWriteThatDoesNothingTakesNoLock) {
    const auto refused = [] {
        set(7, "abc", "34 12", 1);
        set(0, "0", "01", 1);
        set(18, "0", "01", 1);
        set(7, "0", "01", 0);
    };
    EXPECT_TRUE(support::takes_only({}, refused));
}

}  // namespace

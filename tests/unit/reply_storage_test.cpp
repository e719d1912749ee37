#include "store/reply_storage.h"

#include "exchange.h"

#include <random>

using support::bytes;
using support::DriverTest;
using support::int_max;
using support::int_min;
using support::make_var;

namespace {

class ReplyStorage : public DriverTest {
protected:
    // Stores `reply` as the answer to a read of `var` whose `data_len` bytes of data begin at `data_offset`. Holds
    // `cache_mutex`, as the reply handling does.
    static void store(const RW_VAR &var, const QByteArray &reply, int data_len, int data_offset = 3) {
        Protocol request = support::make_frame(var, bytes("01 03 00 00 00 00 00 00"), 0);
        request.data_len = data_len;
        request.data_offset = data_offset;
        PLC_driver.frame_list.clear();
        PLC_driver.frame_list.append(request);

        const support::TightBytes block(reply);
        QByteArray tight = block.borrowed();
        PLC_driver.cache_mutex.lock();
        SaveToLocalDataErea(&tight);
        PLC_driver.cache_mutex.unlock();
        EXPECT_EQ(support::hex(tight), support::hex(reply)) << "the reply was changed";
    }

    static void store(const RW_VAR &var, const char *reply, int data_len, int data_offset = 3) {
        store(var, bytes(reply), data_len, data_offset);
    }

    static int word_at(unsigned key) {
        return PLC_driver.word_cache.contains(key) ? PLC_driver.word_cache.value(key) : -1;
    }

    static long long dword_at(unsigned key) {
        return PLC_driver.dword_cache.contains(key) ? static_cast<long long>(PLC_driver.dword_cache.value(key)) : -1;
    }

    // The bits from `key` on as characters, '-' where there is no entry.
    static std::string bits_at(unsigned key, unsigned count) {
        std::string text;
        for (unsigned i = 0; i < count; ++i)
            text += PLC_driver.bit_cache.contains(key + i)
                        ? static_cast<char>('0' + PLC_driver.bit_cache.value(key + i))
                        : '-';
        return text;
    }

    static int cached() {
        return static_cast<int>(PLC_driver.bit_cache.size() + PLC_driver.word_cache.size() +
                                PLC_driver.dword_cache.size());
    }
};

TEST_F(ReplyStorage, ARegisterPayloadOfOddLengthIgnoresItsLastByte) {
    store(make_var(7, 10, 2), "01 03 03 12 34 AB B2 F4", 3);
    EXPECT_EQ(word_at(0x0107000A), 0x1234);
    EXPECT_EQ(cached(), 1);
    store(make_var(7, 20, 2), "01 03 01 12 70 45", 1);
    EXPECT_EQ(cached(), 1);
}

TEST_F(ReplyStorage, A32BitPayloadOf7BytesStoresOneValue) {
    store(make_var(13, 10, 2), "01 03 07 FF EE DD CC BB AA 99 71 39", 7);
    EXPECT_EQ(dword_at(0x010D000A), 0xFFEEDDCC);
    EXPECT_EQ(cached(), 1);
    store(make_var(13, 20, 1), "01 03 03 FF EE DD F8 47", 3);
    EXPECT_EQ(cached(), 1);
}

TEST_F(ReplyStorage, EveryBitPositionOfAByteGoesToItsOwnAddress) {
    for (int bit = 0; bit < 8; ++bit) {
        QByteArray reply = bytes("01 01 01 00 00 00");
        reply[3] = static_cast<char>(1 << bit);
        store(make_var(1, 0, 8), reply, 1);
        std::string expected = "00000000";
        expected[static_cast<std::size_t>(bit)] = '1';
        EXPECT_EQ(bits_at(0x01010000, 8), expected);
    }
}

TEST_F(ReplyStorage, TheBitsOfTheLastByteBeyondTheCountAreNotStored) {
    store(make_var(0, 0, 1), "01 01 01 FF 11 C8", 1);
    EXPECT_EQ(bits_at(0x01000000, 2), "1-");
    store(make_var(0, 100, 8), "01 01 01 FF 11 C8", 1);
    EXPECT_EQ(bits_at(0x01000064, 9), "11111111-");
    store(make_var(0, 200, 0), "01 01 01 FF 11 C8", 1);
    EXPECT_EQ(bits_at(0x010000C8, 1), "-");
}

// The count of bits decides, not the payload's length.
TEST_F(ReplyStorage, ThePayloadLengthIsNotComparedWithTheCountOfBits) {
    store(make_var(0, 0, 16), "01 01 01 A5 3C 32 BD", 1);
    EXPECT_EQ(bits_at(0x01000000, 17), "1010010100111100-");
    store(make_var(0, 100, 3), "01 01 02 FF FF B8 4C", 2);
    EXPECT_EQ(bits_at(0x01000064, 4), "111-");
}

// Here the payload's length decides, not the count.
TEST_F(ReplyStorage, ForRegistersTheCountOfTheVariableIsNotUsed) {
    store(make_var(7, 0, 1), "01 03 04 00 01 00 02 2A 32", 4);
    EXPECT_EQ(word_at(0x01070001), 2);
    store(make_var(7, 10, 9), "01 03 02 00 07 F9 86", 2);
    EXPECT_EQ(word_at(0x0107000A), 7);
    EXPECT_EQ(word_at(0x0107000B), -1);
    store(make_var(13, 0, -1), "01 03 04 00 00 00 03 BA 32", 4);
    EXPECT_EQ(dword_at(0x010D0000), 3);
}

TEST_F(ReplyStorage, TheDataBeginAtTheOffsetOfTheRecord) {
    store(make_var(7, 10, 1), "01 03 04 12 34 56 78 81 07", 2, 5);
    EXPECT_EQ(word_at(0x0107000A), 0x5678);
    store(make_var(7, 20, 1), "12 34", 2, 0);
    EXPECT_EQ(word_at(0x01070014), 0x1234);
}

TEST_F(ReplyStorage, Class12AndEverythingAbove13StoresNothing) {
    for (int type : {12, 14, 15, 16, 17, 18, 255, -1, int_max, int_min})
        store(make_var(type, 10, 2), "01 03 04 12 34 AB CD 00 20", 4);
    EXPECT_EQ(cached(), 0);
}

TEST_F(ReplyStorage, ANullOrEmptyReplyIsIgnored) {
    PLC_driver.frame_list.append(support::make_frame(make_var(7, 10, 2), bytes("01"), 4));
    SaveToLocalDataErea(nullptr);
    QByteArray empty;
    SaveToLocalDataErea(&empty);
    QByteArray empty_text("");
    SaveToLocalDataErea(&empty_text);
    EXPECT_EQ(cached(), 0);
    EXPECT_EQ(PLC_driver.frame_list.size(), 1);
}

TEST_F(ReplyStorage, WithNoFrameInFlightNothingIsStored) {
    QByteArray reply = bytes("01 03 04 12 34 AB CD 00 20");
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(cached(), 0);
}

// The class is used as it is. Mapping it again here would do no harm to 12, but 15 would use the words of 7.
TEST_F(ReplyStorage, ALargeAddressRunsIntoTheClass) {
    store(make_var(7, 0x10005, 1), "01 03 02 12 34 B5 33", 2);
    EXPECT_EQ(word_at(0x01070005), 0x1234);
    store(make_var(8, 0x10005, 1), "01 03 02 56 78 87 C6", 2);
    EXPECT_EQ(word_at(0x01090005), 0x5678);
    EXPECT_EQ(cached(), 2);
}

TEST_F(ReplyStorage, ARunPastTheLastAddressContinuesInTheNextClass) {
    store(make_var(7, 0xFFFF, 2), "01 03 04 00 01 00 02 2A 32", 4);
    EXPECT_EQ(word_at(0x0107FFFF), 1);
    EXPECT_EQ(word_at(0x01080000), 2);
    store(make_var(0, 0xFFFF, 2), "01 01 01 03 11 89", 1);
    EXPECT_EQ(bits_at(0x0100FFFF, 2), "11");
}

TEST_F(ReplyStorage, OnlyTheLow8BitsOfAStationAreUsed) {
    store(make_var(7, 1, 1, 255), "FF 03 02 00 01 50 50", 2);
    EXPECT_EQ(word_at(0xFF070001), 1);
    store(make_var(7, 1, 1, 128), "80 03 02 00 02 05 9B", 2);
    EXPECT_EQ(word_at(0x80070001), 2);
    store(make_var(7, 1, 1, 256), "00 03 02 00 03 C5 85", 2);
    EXPECT_EQ(word_at(0x00070001), 3);
    store(make_var(7, 1, 1, -2), "FE 03 02 00 04 AD 93", 2);
    EXPECT_EQ(word_at(0xFE070001), 4);
}

TEST_F(ReplyStorage, ANegativeAddressSetsEveryBitThatItHas) {
    store(make_var(7, -1, 2), "01 03 04 00 01 00 02 2A 32", 4);
    EXPECT_EQ(word_at(0xFFFFFFFF), 1);
    EXPECT_EQ(word_at(0x00000000), 2);
}

TEST_F(ReplyStorage, OnlyValuesWhollyInsideAShortReplyAreStored) {
    store(make_var(7, 0, 10), "01 03 14 12 34 56", 20);
    EXPECT_EQ(word_at(0x01070000), 0x1234);
    EXPECT_EQ(cached(), 1);
    PLC_driver.word_cache.clear();

    store(make_var(7, 0, 10), "01 03 14 12", 20);
    store(make_var(7, 0, 10), "01 03 14", 20);
    store(make_var(7, 0, 10), "01", 20);
    EXPECT_EQ(cached(), 0);

    store(make_var(13, 0, 10), "01 03 28 12 34 56 78 9A BC DE", 40);
    EXPECT_EQ(dword_at(0x010D0000), 0x12345678);
    EXPECT_EQ(cached(), 1);
    PLC_driver.dword_cache.clear();

    store(make_var(0, 0, 80), "01 01 0A 81 FF", 10);
    EXPECT_EQ(bits_at(0x01000000, 17), "1000000111111111-");
    EXPECT_EQ(cached(), 16);
    PLC_driver.bit_cache.clear();

    store(make_var(0, 0, 12), "01 01 02 81", 2);
    EXPECT_EQ(bits_at(0x01000000, 9), "10000001-");
}

// A negative count is a large unsigned one: what is inside the reply is stored, and nothing more.
TEST_F(ReplyStorage, ANegativeCountOfBitsEndsWithTheReply) {
    store(make_var(0, 0, -1), "01 01 01 81 00 FF", 1);
    EXPECT_EQ(bits_at(0x01000000, 25), "100000010000000011111111-");
    store(make_var(1, 0, int_min), "01 01 01 81", 1);
    EXPECT_EQ(bits_at(0x01010000, 9), "10000001-");
    store(make_var(2, 0, int_max), "01 01 01 81", 1);
    EXPECT_EQ(bits_at(0x01020000, 9), "10000001-");
}

TEST_F(ReplyStorage, AnOffsetOrLengthOutsideTheReplyStoresNothing) {
    const char reply[] = "01 03 04 12 34 AB CD 00 20";
    for (int type : {0, 7, 13}) {
        for (int offset : {9, 10, 1000, int_max, -1, -3, int_min})
            store(make_var(type, 0, 8), reply, 4, offset);
        EXPECT_EQ(cached(), 0) << "class " << type;
    }
    for (int type : {7, 13})
        for (int length : {0, 1, -1, -4, int_min})
            store(make_var(type, 0, 8), reply, length);
    EXPECT_EQ(cached(), 0);
}

TEST_F(ReplyStorage, ALengthBeyondTheReplyStoresWhatIsThere) {
    for (int length : {6, 7, 100, int_max}) {
        PLC_driver.word_cache.clear();
        store(make_var(7, 0, 2), "01 03 04 12 34 AB CD 01 02", length);
        EXPECT_EQ(word_at(0x01070000), 0x1234) << length;
        EXPECT_EQ(word_at(0x01070001), 0xABCD) << length;
        EXPECT_EQ(word_at(0x01070002), 0x0102) << length;
        EXPECT_EQ(cached(), 3) << length;
    }
}

TEST_F(ReplyStorage, LeavesTheFrameInFlightAndTakesNoLock) {
    store(make_var(7, 10, 1), "01 03 02 12 34 B5 33", 2);
    EXPECT_EQ(PLC_driver.frame_list.size(), 1);
    EXPECT_EQ(support::hex(PLC_driver.frame_list.first().frame), "01 03 00 00 00 00 00 00");
    PLC_driver.list_mutex.lock();
    store(make_var(7, 10, 1), "01 03 02 12 34 B5 33", 2);
    PLC_driver.list_mutex.unlock();
}

TEST_F(ReplyStorage, OnlyTheHeadOfTheFrameListCounts) {
    PLC_driver.frame_list.append(support::make_frame(make_var(7, 10, 1), bytes("01"), 2));
    PLC_driver.frame_list.append(support::make_frame(make_var(8, 20, 1), bytes("01"), 2));
    QByteArray reply = bytes("01 03 02 12 34 B5 33");
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(word_at(0x0107000A), 0x1234);
    EXPECT_EQ(cached(), 1);
}

TEST_F(ReplyStorage, ReadsNothingOutsideARandomReply) {
    std::mt19937 random(20240105);
    const int extremes[] = {int_min, -1, 0, 1, 7, 8, 9, 0xFFFF, 0x10000, int_max};
    const auto pick = [&] {
        return extremes[random() % 10];
    };
    for (int round = 0; round < 20000; ++round) {
        const int size = static_cast<int>(random() % 40);
        QByteArray reply;
        for (int i = 0; i < size; ++i)
            reply.append(static_cast<char>(random() & 0xFF));
        const int type = static_cast<int>(random() % 20) - 2;
        const bool wild = round % 2 == 0;
        store(make_var(type, pick(), wild ? pick() : static_cast<int>(random() % 400), pick()), reply,
              wild ? pick() : static_cast<int>(random() % 60), wild ? pick() : static_cast<int>(random() % 8));
        ASSERT_LE(cached(), size * 8);
        support::clear_caches();
    }
}

}  // namespace

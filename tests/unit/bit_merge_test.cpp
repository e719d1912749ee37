// The reply to the read half of a bit write. reply_storage_test tests what other replies store.
#include "store/reply_storage.h"

#include "exchange.h"

using support::bytes;
using support::DriverTest;
using support::frames_in_flight;
using support::hex;
using support::int_max;
using support::int_min;
using support::Lines;
using support::TightBytes;
using support::write_var;

namespace {

class BitMerge : public DriverTest {
protected:
    // The pair of frames that writes bit `reg_addr` & 15; the write half has no value yet.
    static void queue_pair(int reg_addr, const QByteArray &value, const char *write_half = "01 06 1F 42 00 00 00 00") {
        PLC_driver.frame_list.clear();
        RW_VAR var = write_var(16, reg_addr, 1, value);
        var.host_ref2 = 0;
        var.store_mode = -1;
        Protocol read = support::make_frame(var, bytes("01 03 1F 42 00 01 23 CA"), 0);
        read.reply_len = 7;
        read.data_offset = 0;
        PLC_driver.frame_list.append(read);
        var.host_ref2 = 1;
        var.store_mode = 0;
        Protocol write = support::make_frame(var, bytes(write_half), 0);
        PLC_driver.frame_list.append(write);
    }

    static std::string write_half() {
        return hex(PLC_driver.frame_list.at(1).frame);
    }

    // The write half after `reply` has delivered the register's value.
    static std::string merged(int reg_addr, const char *value, const char *reply) {
        queue_pair(reg_addr, bytes(value));
        QByteArray received = bytes(reply);
        SaveToLocalDataErea(&received);
        EXPECT_EQ(hex(received), reply);
        EXPECT_EQ(hex(PLC_driver.frame_list.first().frame), "01 03 1F 42 00 01 23 CA");
        return write_half();
    }
};

TEST_F(BitMerge, EachOfTheSixteenBitsIsTheLow4BitsOfTheAddress) {
    const char *const set[16] = {"00 01", "00 02", "00 04", "00 08", "00 10", "00 20", "00 40", "00 80",
                                 "01 00", "02 00", "04 00", "08 00", "10 00", "20 00", "40 00", "80 00"};
    const char *const cleared[16] = {"FF FE", "FF FD", "FF FB", "FF F7", "FF EF", "FF DF", "FF BF", "FF 7F",
                                     "FE FF", "FD FF", "FB FF", "F7 FF", "EF FF", "DF FF", "BF FF", "7F FF"};
    for (int bit = 0; bit < 16; ++bit) {
        EXPECT_EQ(merged(0x20 + bit, "01", "01 03 02 00 00 B8 44").substr(12, 5), set[bit]) << "bit " << bit;
        EXPECT_EQ(merged(0x20 + bit, "00", "01 03 02 FF FF B9 F4").substr(12, 5), cleared[bit]) << "bit " << bit;
        EXPECT_EQ(support::crc16(PLC_driver.frame_list.at(1).frame), 0u) << "bit " << bit;
    }
}

TEST_F(BitMerge, TheBitOfANegativeAddressIsItsLow4BitsToo) {
    EXPECT_EQ(merged(-1, "01", "01 03 02 00 00 B8 44").substr(12, 5), "80 00");
    EXPECT_EQ(merged(int_min, "01", "01 03 02 00 00 B8 44").substr(12, 5), "00 01");
    EXPECT_EQ(merged(int_max, "01", "01 03 02 00 00 B8 44").substr(12, 5), "80 00");
}

TEST_F(BitMerge, TheBitIsTakenFromTheReadHalf) {
    queue_pair(0x23, bytes("01"));
    PLC_driver.frame_list[1].var.reg_addr = 0x24;
    QByteArray reply = bytes("01 03 02 00 10 B9 88");
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(write_half().substr(12, 5), "00 18");
}

TEST_F(BitMerge, AnyFirstByteExceptZeroSetsTheBitAndOtherBytesDoNotMatter) {
    for (const char *value : {"01", "02", "80", "FF", "30", "01 00"})
        EXPECT_EQ(merged(0x23, value, "01 03 02 00 10 B9 88").substr(12, 5), "00 18") << value;
    EXPECT_EQ(merged(0x23, "00 FF", "01 03 02 FF FF B9 F4").substr(12, 5), "FF F7");
}

TEST_F(BitMerge, WithoutValueBytesTheBitIsCleared) {
    EXPECT_EQ(merged(0x23, "", "01 03 02 FF FF B9 F4"), "01 06 1F 42 FF F7 2E 7C");
    const TightBytes nothing{QByteArray()};
    queue_pair(0x23, nothing.borrowed());
    QByteArray reply = bytes("01 03 02 FF FF B9 F4");
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(write_half().substr(12, 5), "FF F7");
}

// The register is at bytes 3 and 4 of every reply to a one-register read, while data_offset of these records is 0.
// Reading through data_offset would merge the bit into station and function code.
TEST_F(BitMerge, TheRegisterIsReadAtBytes3And4WhateverTheRecordSays) {
    for (int offset : {0, 3, 5, -1, int_max}) {
        queue_pair(0x23, bytes("01"));
        PLC_driver.frame_list.first().data_offset = offset;
        PLC_driver.frame_list.first().data_len = offset;
        QByteArray reply = bytes("01 03 02 00 10 B9 88");
        SaveToLocalDataErea(&reply);
        EXPECT_EQ(write_half().substr(12, 5), "00 18") << "offset " << offset;
    }
}

TEST_F(BitMerge, ALongerReplyGivesTheSameTwoBytes) {
    EXPECT_EQ(merged(0x23, "01", "01 03 04 00 10 FF FF FF FF").substr(12, 5), "00 18");
}

TEST_F(BitMerge, AReplyTooShortToHoldTheRegisterMergesNothing) {
    for (int size = 1; size <= 4; ++size) {
        queue_pair(0x23, bytes("01"));
        const TightBytes tight(bytes("01 03 02 00").left(size));
        QByteArray reply = tight.borrowed();
        SaveToLocalDataErea(&reply);
        EXPECT_EQ(write_half(), "01 06 1F 42 00 00 00 00") << size << " bytes";
    }
    queue_pair(0x23, bytes("01"));
    const TightBytes tight(bytes("01 03 02 00 10"));
    QByteArray reply = tight.borrowed();
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(write_half().substr(12, 5), "00 18");
}

TEST_F(BitMerge, ANullOrEmptyReplyMergesNothing) {
    queue_pair(0x23, bytes("01"));
    QByteArray empty;
    SaveToLocalDataErea(&empty);
    SaveToLocalDataErea(nullptr);
    EXPECT_EQ(write_half(), "01 06 1F 42 00 00 00 00");
}

TEST_F(BitMerge, AReadHalfWithNoWriteHalfMergesNothing) {
    queue_pair(0x23, bytes("01"));
    PLC_driver.frame_list.removeLast();
    QByteArray reply = bytes("01 03 02 00 10 B9 88");
    SaveToLocalDataErea(&reply);
    SpecialRegisterSave(&reply);
    EXPECT_EQ(frames_in_flight(), Lines{"01 03 1F 42 00 01 23 CA"});
    PLC_driver.frame_list.clear();
    SpecialRegisterSave(&reply);
    EXPECT_TRUE(PLC_driver.frame_list.isEmpty());
}

TEST_F(BitMerge, AWriteHalfShorterThan8BytesIsLengthenedToReachByte7) {
    QByteArray reply = bytes("01 03 02 00 10 B9 88");
    queue_pair(0x23, bytes("01"), "01 06 1F 42");
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(write_half(), "01 06 1F 42 00 18 2E 00");
    queue_pair(0x23, bytes("01"), "01 06 1F 42 00 00 00");
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(write_half(), "01 06 1F 42 00 18 2E 00");
    queue_pair(0x23, bytes("01"), "");
    SaveToLocalDataErea(&reply);
    EXPECT_EQ(write_half(), "00 00 00 00 00 18 00 11");
}

TEST_F(BitMerge, OnlyBytes4To7OfTheSecondFrameChange) {
    queue_pair(0x23, bytes("01"), "01 06 1F 42 00 00 00 00 AA BB");
    PLC_driver.frame_list.append(
        support::make_frame(write_var(16, 0x23, 1, "01"), bytes("01 06 00 00 00 00 00 00"), 0));
    const std::string described = support::describe(PLC_driver.frame_list.at(1).var);
    QByteArray reply = bytes("01 03 02 00 10 B9 88");
    SpecialRegisterSave(&reply);
    EXPECT_EQ(frames_in_flight(),
              (Lines{"01 03 1F 42 00 01 23 CA", "01 06 1F 42 00 18 2E 00 AA BB", "01 06 00 00 00 00 00 00"}));
    EXPECT_EQ(support::describe(PLC_driver.frame_list.at(1).var), described);
}

TEST_F(BitMerge, ASharedCopyOfTheFrameKeepsItsBytes) {
    queue_pair(0x23, bytes("01"));
    const QByteArray copy = PLC_driver.frame_list.at(1).frame;
    QByteArray reply = bytes("01 03 02 00 10 B9 88");
    SpecialRegisterSave(&reply);
    EXPECT_EQ(hex(copy), "01 06 1F 42 00 00 00 00");
}

// ---- what a bit write leaves in the cache

// The store_mode of -1 is enough; the type of the record does not matter.
TEST_F(BitMerge, TheReplyToAReadHalfIsNeverStored) {
    for (int type : {2, 7, 8, 12, 13, 15, 18}) {
        queue_pair(0x23, bytes("01"));
        PLC_driver.frame_list.first().var.reg_type = type;
        PLC_driver.frame_list.first().data_offset = 3;
        PLC_driver.frame_list.first().data_len = 2;
        QByteArray reply = bytes("01 03 02 00 10 B9 88");
        SaveToLocalDataErea(&reply);
        EXPECT_EQ(write_half().substr(12, 5), "00 18") << "type " << type;
    }
    EXPECT_TRUE(support::caches_empty());
}

// A bit write reads the register's other fifteen bits only to send them back. If they were kept, the cache would show a
// register that nobody polls, and its value would get out of date.
TEST_F(BitMerge, ABitWriteOnAFailedLinkLeavesNothingInTheCache) {
    PLC_driver.comm_failed = true;
    RW_VAR var = write_var(16, 0x23, 1, "01");
    AddListWriteVar(&var);
    ASSERT_NE(ComCommunication(), nullptr);
    EXPECT_EQ(support::answer(bytes("01 03 02 00 10 B9 88")), 1);
    ASSERT_NE(ComCommunication(), nullptr);
    EXPECT_EQ(frames_in_flight(), Lines{"01 06 1F 42 00 18 2E 00"});
    EXPECT_EQ(support::answer(PLC_driver.frame_list.first().frame), 1);
    EXPECT_TRUE(PLC_driver.write_list.isEmpty());
    EXPECT_TRUE(support::caches_empty());
}

TEST_F(BitMerge, TakesNoLock) {
    queue_pair(0x23, bytes("01"));
    const auto merge = [] {
        QByteArray reply = bytes("01 03 02 00 10 B9 88");
        SaveToLocalDataErea(&reply);
    };
    EXPECT_TRUE(support::takes_only({}, merge));
}

}  // namespace

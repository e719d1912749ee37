#include "host/variables.h"

#include <gtest/gtest.h>

namespace {

using kelpo::View;

std::string shown(View view, const QByteArray &bytes) {
    return kelpo::text_of(view, kelpo::values_in(view, bytes));
}

TEST(Views, ShowBitsInARowFirstBitLeftmost) {
    EXPECT_EQ(shown(View::bits, QByteArray("\x01\x00\x00\x01\x01", 5)), "10011");
}

TEST(Views, ReadWordsLowByteFirst) {
    EXPECT_EQ(shown(View::unsigned_words, QByteArray("\x34\x12\xFF\xFF", 4)), "4660 65535");
}

TEST(Views, ReadSignedWordsAsTwosComplement) {
    EXPECT_EQ(shown(View::signed_words, QByteArray("\xFF\xFF\x00\x80\xFF\x7F", 6)), "-1 -32768 32767");
}

TEST(Views, ReadLongsLowByteFirst) {
    EXPECT_EQ(shown(View::unsigned_longs, QByteArray("\x78\x56\x34\x12\xFF\xFF\xFF\xFF", 8)), "305419896 4294967295");
}

TEST(Views, ReadSignedLongsAsTwosComplement) {
    EXPECT_EQ(shown(View::signed_longs, QByteArray("\xFE\xFF\xFF\xFF\x00\x00\x00\x80", 8)), "-2 -2147483648");
}

TEST(Views, LeaveOutARestTooShortForAValue) {
    EXPECT_EQ(shown(View::unsigned_words, QByteArray("\x01\x00\x02", 3)), "1");
    EXPECT_EQ(shown(View::unsigned_longs, QByteArray("\x01\x00\x02", 3)), "");
    EXPECT_EQ(shown(View::bits, QByteArray()), "");
}

TEST(Views, GiveBytesThatReadAsTheValues) {
    EXPECT_EQ(kelpo::bytes_of(View::bits, {1, 0, 1}), QByteArray("\x01\x00\x01", 3));
    EXPECT_EQ(kelpo::bytes_of(View::unsigned_words, {0x1234, 0xFFFF}), QByteArray("\x34\x12\xFF\xFF", 4));
    EXPECT_EQ(kelpo::bytes_of(View::signed_words, {-2}), QByteArray("\xFE\xFF", 2));
    EXPECT_EQ(kelpo::bytes_of(View::unsigned_longs, {0xFEDCBA98}), QByteArray("\x98\xBA\xDC\xFE", 4));
    EXPECT_EQ(kelpo::bytes_of(View::signed_longs, {-1}), QByteArray("\xFF\xFF\xFF\xFF", 4));
}

TEST(PolledVariables, CarryWhatTheDriverReads) {
    const QList<HOST_VAR> list =
        kelpo::polled({{"level", 3, 12, "8004", 2, View::unsigned_longs}, {"bit", 247, 15, "6.4", 8, View::bits}});
    ASSERT_EQ(list.size(), 2);
    EXPECT_EQ(list[0].reg_type, 12);
    EXPECT_EQ(list[0].station_no, 3);
    EXPECT_EQ(list[0].addr_text, QLatin1String("8004"));
    EXPECT_EQ(list[0].reg_count, 2);
    EXPECT_EQ(list[1].reg_type, 15);
    EXPECT_EQ(list[1].station_no, 247);
    EXPECT_EQ(list[1].addr_text, QLatin1String("6.4"));
    EXPECT_EQ(list[1].reg_count, 8);
}

}  // namespace

#include "host/driver/view.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <optional>
#include <string>

namespace {

using kelpo::View;

constexpr int coil = 0, decimal_coil = 6, word = 7, last_word = 11, word_pair = 12, double_word = 13, bit_of_word = 17;

View view(const char *name, int type) {
    return kelpo::view_named(name, type).value();
}

std::string shown(const View &view, const std::string &bytes) {
    return kelpo::text_of(view, kelpo::values_in(view, bytes));
}

TEST(Views, ShowBitsInARowFirstBitLeftmost) {
    EXPECT_EQ(shown(View::bits, std::string("\x01\x00\x00\x01\x01", 5)), "10011");
}

TEST(Views, ReadWordsLowByteFirst) {
    EXPECT_EQ(shown(View::unsigned_words, std::string("\x34\x12\xFF\xFF", 4)), "4660 65535");
}

TEST(Views, ReadSignedWordsAsTwosComplement) {
    EXPECT_EQ(shown(View::signed_words, std::string("\xFF\xFF\x00\x80\xFF\x7F", 6)), "-1 -32768 32767");
}

TEST(Views, ReadLongsLowByteFirst) {
    EXPECT_EQ(shown(View::unsigned_longs, std::string("\x78\x56\x34\x12\xFF\xFF\xFF\xFF", 8)), "305419896 4294967295");
}

TEST(Views, ReadSignedLongsAsTwosComplement) {
    EXPECT_EQ(shown(View::signed_longs, std::string("\xFE\xFF\xFF\xFF\x00\x00\x00\x80", 8)), "-2 -2147483648");
}

TEST(Views, ShowAllDigitsOfHexadecimalAndBinaryNumbers) {
    const std::string words("\x2B\x0A\xFF\xFF", 4);
    EXPECT_EQ(shown(view("hex", word), words), "0x0A2B 0xFFFF");
    EXPECT_EQ(shown(view("binary", word), words), "0b0000101000101011 0b1111111111111111");
    EXPECT_EQ(shown(view("hex", word_pair), std::string("\x04\x03\x02\x01", 4)), "0x01020304");
    EXPECT_EQ(shown(view("binary", double_word), std::string("\x01\x00\x00\x80", 4)),
              "0b10000000000000000000000000000001");
}

TEST(Views, TakeTwoRegistersTogetherHighWordFirst) {
    // The registers hold 0x0102 and 0x0304.
    const std::string registers("\x02\x01\x04\x03", 4);
    EXPECT_EQ(shown(view("hex32", word), registers), "0x01020304");
    EXPECT_EQ(shown(view("unsigned32", word), registers), "16909060");
    EXPECT_EQ(shown(view("binary32", word), registers), "0b00000001000000100000001100000100");
    EXPECT_EQ(shown(view("signed32", word), std::string("\xFF\xFF\xFE\xFF", 4)), "-2");
}

TEST(Views, TakeTwoRegistersTogetherLowWordFirst) {
    // The registers hold 0x0304 and 0x0102.
    const std::string registers("\x04\x03\x02\x01", 4);
    EXPECT_EQ(shown(view("hex32-swapped", last_word), registers), "0x01020304");
    EXPECT_EQ(shown(view("unsigned32-swapped", last_word), registers), "16909060");
    EXPECT_EQ(shown(view("binary32-swapped", last_word), registers), "0b00000001000000100000001100000100");
    EXPECT_EQ(shown(view("signed32-swapped", last_word), std::string("\xFE\xFF\xFF\xFF", 4)), "-2");
}

TEST(Views, ShowTheShortestTextOfAFloat) {
    // 0.1 is 0x3DCCCCCD, 3.5 is 0x40600000, -1e6 is 0xC9742400.
    EXPECT_EQ(shown(view("float", double_word), std::string("\xCD\xCC\xCC\x3D\x00\x00\x60\x40", 8)), "0.1 3.5");
    EXPECT_EQ(shown(view("float", word), std::string("\xCC\x3D\xCD\xCC", 4)), "0.1");
    EXPECT_EQ(shown(view("float-swapped", word), std::string("\xCD\xCC\xCC\x3D", 4)), "0.1");
    EXPECT_EQ(shown(view("float", word_pair), std::string("\x00\x24\x74\xC9", 4)), "-1e+06");
    EXPECT_EQ(shown(view("float", word_pair), std::string("\x00\x00\x80\x7F\x00\x00\xC0\x7F", 8)), "inf nan");
}

TEST(Views, LeaveOutARestTooShortForAValue) {
    EXPECT_EQ(shown(View::unsigned_words, std::string("\x01\x00\x02", 3)), "1");
    EXPECT_EQ(shown(View::unsigned_longs, std::string("\x01\x00\x02", 3)), "");
    EXPECT_EQ(shown(view("hex32", word), std::string("\x01\x00\x02\x00\x03\x00", 6)), "0x00010002");
    EXPECT_EQ(shown(View::bits, std::string()), "");
}

TEST(Views, GiveBytesThatReadAsTheValues) {
    EXPECT_EQ(kelpo::bytes_of(View::bits, {1, 0, 1}), std::string("\x01\x00\x01", 3));
    EXPECT_EQ(kelpo::bytes_of(View::unsigned_words, {0x1234, 0xFFFF}), std::string("\x34\x12\xFF\xFF", 4));
    EXPECT_EQ(kelpo::bytes_of(View::signed_words, {-2}), std::string("\xFE\xFF", 2));
    EXPECT_EQ(kelpo::bytes_of(View::unsigned_longs, {0xFEDCBA98}), std::string("\x98\xBA\xDC\xFE", 4));
    EXPECT_EQ(kelpo::bytes_of(View::signed_longs, {-1}), std::string("\xFF\xFF\xFF\xFF", 4));
    EXPECT_EQ(kelpo::bytes_of(view("hex32", word), {0x01020304}), std::string("\x02\x01\x04\x03", 4));
    EXPECT_EQ(kelpo::bytes_of(view("hex32-swapped", word), {0x01020304}), std::string("\x04\x03\x02\x01", 4));
}

TEST(Views, AreBitsOrUnsignedUnlessChosen) {
    EXPECT_EQ(kelpo::default_view(coil), View::bits);
    EXPECT_EQ(kelpo::default_view(decimal_coil), View::bits);
    EXPECT_EQ(kelpo::default_view(word), View::unsigned_words);
    EXPECT_EQ(kelpo::default_view(last_word), View::unsigned_words);
    EXPECT_EQ(kelpo::default_view(word_pair), View::unsigned_longs);
    EXPECT_EQ(kelpo::default_view(double_word), View::unsigned_longs);
    EXPECT_EQ(kelpo::default_view(14), View::unsigned_longs);
    EXPECT_EQ(kelpo::default_view(15), View::bits);
    EXPECT_EQ(kelpo::default_view(bit_of_word), View::bits);
}

TEST(Views, AreNamedForTheTypesThatHaveThem) {
    EXPECT_EQ(view("signed", word), View::signed_words);
    EXPECT_EQ(view("signed", word_pair), View::signed_longs);
    EXPECT_EQ(view("bits", bit_of_word), View::bits);
    EXPECT_EQ(kelpo::view_named("bits", word), std::nullopt);
    EXPECT_EQ(kelpo::view_named("hex", coil), std::nullopt);
    EXPECT_EQ(kelpo::view_named("float-swapped", word_pair), std::nullopt);
    EXPECT_EQ(kelpo::view_named("unsigned32", double_word), std::nullopt);
    EXPECT_EQ(kelpo::view_named("", word), std::nullopt);
    EXPECT_EQ(kelpo::view_names(coil), "bits");
    EXPECT_EQ(kelpo::view_names(double_word), "unsigned, signed, hex, binary, float");
}

TEST(Views, TakeOneOrTwoUnitsForAValue) {
    EXPECT_EQ(kelpo::units_per_value(View::bits), 1);
    EXPECT_EQ(kelpo::units_per_value(View::signed_words), 1);
    EXPECT_EQ(kelpo::units_per_value(View::unsigned_longs), 2);
    EXPECT_EQ(kelpo::units_per_value(view("float", word)), 2);
    EXPECT_EQ(kelpo::units_per_value(view("hex32-swapped", word)), 2);
}

struct Typed {
    View view;
    const char *text;
    std::optional<std::int64_t> value;
};

TEST(TypedValues, AreUnderstoodInEveryView) {
    const View pair = view("unsigned32", word), real = view("float", word);
    const std::initializer_list<Typed> cases = {
        {View::unsigned_words, "0", 0},
        {View::unsigned_words, "65535", 65535},
        {View::unsigned_words, "0xFfFf", 65535},
        {View::unsigned_words, "0b101", 5},
        {View::unsigned_words, "+7", 7},
        {View::unsigned_words, "-1", 65535},
        {View::unsigned_words, "-32768", 32768},
        {View::signed_words, "-32768", -32768},
        {View::signed_words, "65535", -1},
        {View::signed_words, "0x8000", -32768},
        {View::unsigned_longs, "4294967295", 4294967295},
        {View::signed_longs, "4294967295", -1},
        {View::signed_longs, "-2147483648", -2147483648},
        {pair, "0x12345678", 0x12345678},
        {real, "3.5", 0x40600000},
        {real, "-1E6", 0xC9742400},
        {real, "1", 0x3F800000},
        {real, "+0.1", 0x3DCCCCCD},
        {real, "0x40600000", 0x40600000},
        {real, "0b1", 1},
        {View::bits, "1", 1},
        {View::bits, "On", 1},
        {View::bits, "TRUE", 1},
        {View::bits, "off", 0},
        {View::bits, "false", 0},
        {View::bits, "0x1", 1},
    };
    for (const Typed &typed : cases)
        EXPECT_EQ(kelpo::value_from(typed.view, typed.text), typed.value) << typed.text;
}

TEST(TypedValues, ThatDoNotFitAreRefused) {
    const View real = view("float", double_word);
    const std::initializer_list<Typed> cases = {
        {View::unsigned_words, "", {}},
        {View::unsigned_words, "65536", {}},
        {View::unsigned_words, "-32769", {}},
        {View::unsigned_words, "1.5", {}},
        {View::unsigned_words, "12a", {}},
        {View::unsigned_words, " 1", {}},
        {View::unsigned_words, "0x", {}},
        {View::unsigned_words, "0x10000", {}},
        {View::unsigned_words, "0b2", {}},
        {View::unsigned_words, "--1", {}},
        {View::unsigned_words, "on", {}},
        {View::unsigned_longs, "4294967296", {}},
        {View::signed_longs, "-2147483649", {}},
        {View::unsigned_longs, "99999999999999999999", {}},
        {real, "1e40", {}},
        {real, "3,5", {}},
        {real, "", {}},
        {real, "0x100000000", {}},
        {View::bits, "2", {}},
        {View::bits, "-1", {}},
        {View::bits, "yes", {}},
        {View::bits, "", {}},
    };
    for (const Typed &typed : cases)
        EXPECT_EQ(kelpo::value_from(typed.view, typed.text), std::nullopt) << typed.text;
}

}  // namespace

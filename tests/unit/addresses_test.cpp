#include "driver_test.h"

using support::int_max;
using support::int_min;

namespace {

int parse(int type, const QString &text) {
    const int address = StringAddressToInt(type, text);
    EXPECT_EQ(PLCAddressChangeIntef(type, text), address) << "the two names disagree";
    return address;
}

int parse(int type, const char *text) {
    return parse(type, QString::fromLatin1(text));
}

struct Folded {
    int reg_type;
    int reg_count;
};

bool operator==(const Folded &a, const Folded &b) {
    return a.reg_type == b.reg_type && a.reg_count == b.reg_count;
}

void PrintTo(const Folded &folded, std::ostream *out) {
    *out << "class " << folded.reg_type << ", count " << folded.reg_count;
}

Folded fold(int reg_type, int reg_count) {
    RW_VAR var = support::make_var(reg_type, 10, reg_count);
    PLC_driver.update_info(&var);
    return Folded{var.reg_type, var.reg_count};
}

// A row of the table of register types.
struct TypeRow {
    const char *name;
    int type;
    const char *text;
    int address;
    int register_class;
    int count_3;  ///< what a count of 3 becomes
    int count_4;  ///< what a count of 4 becomes
};

class RegisterType : public ::testing::TestWithParam<TypeRow> {};

void PrintTo(const TypeRow &row, std::ostream *out) {
    *out << row.name;
}

TEST_P(RegisterType, ParsesFoldsAndRoundsAsItsRowSays) {
    const TypeRow &row = GetParam();
    EXPECT_EQ(parse(row.type, row.text), row.address);
    EXPECT_EQ(PLC_driver.get_plc_reg(row.type), row.register_class);
    EXPECT_EQ(fold(row.type, 3), (Folded{row.register_class, row.count_3}));
    EXPECT_EQ(fold(row.type, 4), (Folded{row.register_class, row.count_4}));
}

INSTANTIATE_TEST_SUITE_P(
    Table, RegisterType,
    ::testing::Values(
        TypeRow{"Type0_Octal", 0, "377", 255, 0, 3, 4}, TypeRow{"Type1_Octal", 1, "377", 255, 1, 3, 4},
        TypeRow{"Type2_Decimal", 2, "377", 377, 2, 3, 4}, TypeRow{"Type3_Decimal", 3, "377", 377, 3, 3, 4},
        TypeRow{"Type4_Decimal", 4, "377", 377, 4, 3, 4}, TypeRow{"Type5_Decimal", 5, "377", 377, 5, 3, 4},
        TypeRow{"Type6_Decimal", 6, "377", 377, 6, 3, 4}, TypeRow{"Type7_Decimal", 7, "377", 377, 7, 3, 4},
        TypeRow{"Type8_Decimal", 8, "377", 377, 8, 3, 4}, TypeRow{"Type9_Decimal", 9, "377", 377, 9, 3, 4},
        TypeRow{"Type10_Decimal", 10, "377", 377, 10, 3, 4}, TypeRow{"Type11_Decimal", 11, "377", 377, 11, 3, 4},
        TypeRow{"Type12_PairsOfClass7", 12, "377", 377, 7, 4, 4},
        TypeRow{"Type13_From200Halved", 13, "377", 177, 13, 2, 2},
        TypeRow{"Type14_PairsOfClass8", 14, "377", 377, 8, 4, 4},
        TypeRow{"Type15_BitsOfClass7", 15, "37.7", 599, 7, 3, 4},
        TypeRow{"Type16_BitsOfClass8", 16, "37.7", 599, 8, 3, 4},
        TypeRow{"Type17_BitsOfClass11", 17, "37.7", 599, 11, 3, 4},
        TypeRow{"Type18_DecimalUnchanged", 18, "377", 377, 18, 3, 4},
        TypeRow{"Type255_DecimalUnchanged", 255, "377", 377, 255, 3, 4},
        TypeRow{"TypeMinus1_DecimalUnchanged", -1, "377", 377, -1, 3, 4},
        TypeRow{"TypeIntMin_DecimalUnchanged", int_min, "377", 377, int_min, 3, 4},
        TypeRow{"TypeIntMax_DecimalUnchanged", int_max, "377", 377, int_max, 3, 4}),
    [](const ::testing::TestParamInfo<TypeRow> &row) { return std::string(row.param.name); });

TEST(AddressText, OctalTextsWithAnotherDigitAreInvalid) {
    EXPECT_EQ(parse(0, "18"), -1);
    EXPECT_EQ(parse(1, "18"), -1);
    EXPECT_EQ(parse(0, "8"), -1);
    EXPECT_EQ(parse(1, "9"), -1);
    EXPECT_EQ(parse(2, "18"), 18);
}

TEST(AddressText, Type13CountsFrom200AndRefuses199AndLetters) {
    EXPECT_EQ(parse(13, "200"), 0);
    EXPECT_EQ(parse(13, "255"), 55);
    EXPECT_EQ(parse(13, "199"), -1);
    EXPECT_EQ(parse(13, "abc"), -1);
}

TEST(AddressText, Type13RefusesEverythingBelow200) {
    EXPECT_EQ(parse(13, "201"), 1);
    EXPECT_EQ(parse(13, "0"), -1);
    EXPECT_EQ(parse(13, "-200"), -1);
    EXPECT_EQ(parse(13, "-2147483648"), -1);
    EXPECT_EQ(parse(13, "2147483647"), 2147483447);
}

TEST(AddressText, Type15NeedsExactlyTwoPartsThatConvert) {
    for (int type : {15, 16, 17}) {
        EXPECT_EQ(parse(type, "10"), -1);
        EXPECT_EQ(parse(type, "10.3.1"), -1);
        EXPECT_EQ(parse(type, "10."), -1);
        EXPECT_EQ(parse(type, ".3"), -1);
        EXPECT_EQ(parse(type, "."), -1);
        EXPECT_EQ(parse(type, "1..2"), -1);
        EXPECT_EQ(parse(type, "1.2."), -1);
        EXPECT_EQ(parse(type, ""), -1);
        EXPECT_EQ(parse(type, "a.3"), -1);
        EXPECT_EQ(parse(type, "10.b"), -1);
        EXPECT_EQ(parse(type, "10,3"), -1);
    }
}

// The bit is not limited to 15. Hosts write such texts for bits of the words that follow; refusing them would lose
// variables that work today.
TEST(AddressText, ABitAbove15IsABitOfALaterWord) {
    EXPECT_EQ(parse(15, "1.20"), 36);
    EXPECT_EQ(parse(15, "2.4"), 36);
    EXPECT_EQ(parse(16, "0.4000"), 4000);
}

// A number that converts is returned as it is. Every caller refuses a negative one, so -1 may look like the failure
// value.
TEST(AddressText, NegativeNumbersAreReturnedAsTheyAre) {
    EXPECT_EQ(parse(0, "-17"), -15);
    EXPECT_EQ(parse(2, "-1"), -1);
    EXPECT_EQ(parse(8, "-2147483648"), int_min);
    EXPECT_EQ(parse(15, "-1.3"), -13);
    EXPECT_EQ(parse(15, "1.-3"), 13);
    EXPECT_EQ(parse(15, "-1.-3"), -19);
    EXPECT_EQ(parse(15, "0.-3"), -3);
}

TEST(AddressText, EveryTypeWithoutItsOwnSyntaxIsDecimal) {
    for (int type : {2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 14, 18, 100, -1, int_min, int_max}) {
        EXPECT_EQ(parse(type, "0"), 0) << "type " << type;
        EXPECT_EQ(parse(type, "19"), 19) << "type " << type;
        EXPECT_EQ(parse(type, "199"), 199) << "type " << type;
        EXPECT_EQ(parse(type, "1.2"), -1) << "type " << type;
        EXPECT_EQ(parse(type, "abc"), -1) << "type " << type;
    }
}

TEST(AddressText, ABlankPaddedOrSignedNumberParses) {
    EXPECT_EQ(parse(7, " 7 "), 7);
    EXPECT_EQ(parse(7, "\t7"), 7);
    EXPECT_EQ(parse(7, "+7"), 7);
    EXPECT_EQ(parse(7, "007"), 7);
    EXPECT_EQ(parse(7, "-0"), 0);
    EXPECT_EQ(parse(0, " 17 "), 15);
    EXPECT_EQ(parse(0, "+17"), 15);
    EXPECT_EQ(parse(0, "017"), 15);
    EXPECT_EQ(parse(13, " 200 "), 0);
    EXPECT_EQ(parse(15, " 1 . 2 "), 18);
    EXPECT_EQ(parse(15, "+1.+2"), 18);
    EXPECT_EQ(parse(15, "01.02"), 18);
}

TEST(AddressText, ATextThatIsNotAWholeNumberIsInvalid) {
    for (const char *text : {"",    " ",   "0x10", "1e3", "7.",  ".7",  "7.0", "1 2", "1,000", "1_000",
                             "12a", "a12", "+",    "-",   "--7", "+-7", "7-",  "0b1", "nan",   "inf"}) {
        EXPECT_EQ(parse(7, text), -1) << '"' << text << '"';
        EXPECT_EQ(parse(0, text), -1) << '"' << text << '"';
        EXPECT_EQ(parse(13, text), -1) << '"' << text << '"';
    }
}

TEST(AddressText, ANullTextIsInvalid) {
    for (int type = -1; type <= 18; ++type)
        EXPECT_EQ(parse(type, QString()), -1) << "type " << type;
}

TEST(AddressText, DigitsOfOtherScriptsAreInvalid) {
    const QString full_width_7(QChar(0xFF17));
    const QString arabic_7(QChar(0x0667));
    EXPECT_EQ(parse(7, full_width_7), -1);
    EXPECT_EQ(parse(7, arabic_7), -1);
    EXPECT_EQ(parse(0, full_width_7), -1);
}

TEST(AddressText, ANumberBeyond32BitsIsInvalid) {
    EXPECT_EQ(parse(7, "2147483647"), 2147483647);
    EXPECT_EQ(parse(7, "2147483648"), -1);
    EXPECT_EQ(parse(7, "-2147483649"), -1);
    EXPECT_EQ(parse(7, "4294967297"), -1);
    EXPECT_EQ(parse(7, "18446744073709551617"), -1);
    EXPECT_EQ(parse(0, "17777777777"), 2147483647);
    EXPECT_EQ(parse(0, "20000000000"), -1);
    EXPECT_EQ(parse(13, "2147483648"), -1);
    EXPECT_EQ(parse(15, "2147483648.0"), -1);
    EXPECT_EQ(parse(15, "0.2147483648"), -1);
    EXPECT_EQ(parse(7, QString(5000, QLatin1Char('9'))), -1);
    EXPECT_EQ(parse(7, QString(5000, QLatin1Char('0')) + QLatin1String("12")), 12);
}

// word x 16 + bit keeps its low 32 bits, as the shift gives them.
TEST(AddressText, AWordTooLargeFor32BitsKeepsItsLow32Bits) {
    EXPECT_EQ(parse(15, "134217727.15"), 2147483647);
    EXPECT_EQ(parse(15, "134217728.0"), int_min);
    EXPECT_EQ(parse(15, "268435456.5"), 5);
    EXPECT_EQ(parse(15, "2147483647.0"), -16);
    EXPECT_EQ(parse(15, "-2147483648.7"), 7);
    EXPECT_EQ(parse(15, "0.2147483647"), 2147483647);
    EXPECT_EQ(parse(15, "1.2147483647"), -2147483633);
}

TEST(AddressText, ParsingNeedsNoHostBlockAndTakesNoLock) {
    ASSERT_EQ(PLC_driver.com_info, nullptr);
    EXPECT_TRUE(support::takes_only({}, [] { EXPECT_EQ(parse(7, "100"), 100); }));
}

TEST(UpdateInfo, Type12WithCount4KeepsIt) {
    EXPECT_EQ(fold(12, 4), (Folded{7, 4}));
    EXPECT_EQ(fold(14, 4), (Folded{8, 4}));
    EXPECT_EQ(fold(12, 1), (Folded{7, 2}));
}

TEST(UpdateInfo, Type13WithCount5GivesClass13AndCount3) {
    EXPECT_EQ(fold(13, 5), (Folded{13, 3}));
    EXPECT_EQ(fold(13, 1), (Folded{13, 1}));
    EXPECT_EQ(fold(13, 2), (Folded{13, 1}));
}

// The address of types 15 to 17 stays word x 16 + bit: the read plan is made in these units.
TEST(UpdateInfo, ChangesOnlyTypeAndCount) {
    RW_VAR var = support::full_var();
    var.reg_type = 15;
    var.reg_addr = 163;
    PLC_driver.update_info(&var);
    EXPECT_EQ(support::describe(var), "var_group 101\nvar_id 102\nhost_ref2 103\nhost_ref3 104\narea_no 105\n"
                                      "ret_value 106\naux_text aux 107\naddr_text addr 108\nreg_type 7\nreg_addr 163\n"
                                      "station_no 111\nreg_count 112\nstore_mode 113\naux_word 114\n"
                                      "value_bytes 01 02 03");
}

// The class of type 13 is 13 itself, so a second call halves the count again: callers call it once for each record.
// Making it idempotent would need a mark that the record does not have.
TEST(UpdateInfo, ASecondTimeHalvesTheCountOfType13Again) {
    RW_VAR var = support::make_var(13, 0, 5);
    PLC_driver.update_info(&var);
    PLC_driver.update_info(&var);
    EXPECT_EQ(var.reg_type, 13);
    EXPECT_EQ(var.reg_count, 2);

    for (int type : {12, 14}) {
        RW_VAR pairs = support::make_var(type, 0, 5);
        PLC_driver.update_info(&pairs);
        PLC_driver.update_info(&pairs);
        EXPECT_EQ(pairs.reg_count, 6) << "type " << type;
    }
}

TEST(UpdateInfo, ZeroAndNegativeCountsPassThroughTheSameRules) {
    for (int type : {12, 13, 14}) {
        EXPECT_EQ(fold(type, 0).reg_count, 0) << "type " << type;
        EXPECT_EQ(fold(type, -1).reg_count, 0) << "type " << type;
    }
    EXPECT_EQ(fold(12, -2).reg_count, -2);
    EXPECT_EQ(fold(12, -3).reg_count, -2);
    EXPECT_EQ(fold(14, -4).reg_count, -4);
    EXPECT_EQ(fold(13, -2).reg_count, -1);
    EXPECT_EQ(fold(13, -4).reg_count, -2);
    EXPECT_EQ(fold(13, -5).reg_count, -2);
    EXPECT_EQ(fold(7, -5).reg_count, -5);
    EXPECT_EQ(fold(0, -5).reg_count, -5);
}

TEST(UpdateInfo, TheLargestAndSmallestCountsAreRoundedSafely) {
    EXPECT_EQ(fold(12, int_max).reg_count, int_min);
    EXPECT_EQ(fold(14, int_max).reg_count, int_min);
    EXPECT_EQ(fold(12, int_max - 1).reg_count, int_max - 1);
    EXPECT_EQ(fold(12, int_min).reg_count, int_min);
    EXPECT_EQ(fold(13, int_min).reg_count, -1073741824);
    EXPECT_EQ(fold(13, int_max - 1).reg_count, 1073741823);
    EXPECT_EQ(fold(13, int_max).reg_type, 13);
}

}  // namespace

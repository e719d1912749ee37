#include "checksums.h"

#include "hex_text.h"

#include <gtest/gtest.h>

#include <vector>

using support::bytes;

namespace {

typedef std::vector<unsigned char> Buffer;

Buffer buffer(const std::string &text) {
    const QByteArray data = bytes(text);
    return Buffer(data.constBegin(), data.constEnd());
}

unsigned short length(const Buffer &data) {
    return static_cast<unsigned short>(data.size());
}

int sum(Buffer data) {
    return CalSUM(data.data(), length(data));
}

int crc(Buffer data) {
    return CalCRC(data.data(), length(data));
}

int lrc(Buffer data) {
    return CalLRC(data.data(), length(data));
}

int xor_of(Buffer data) {
    return CalXOR(data.data(), length(data));
}

TEST(Sum, OfNoBytesIs0) {
    EXPECT_EQ(sum(Buffer()), 0);
}

TEST(Sum, Of300BytesOfFFIs76500Modulo65536WhichIs10964) {
    EXPECT_EQ(sum(Buffer(300, 0xFF)), 10964);
}

TEST(Sum, CountsBytesAsUnsigned) {
    EXPECT_EQ(sum(buffer("80 80")), 256);
}

TEST(Sum, CoversOnlyTheGivenLength) {
    Buffer data = buffer("01 02 04 08");
    EXPECT_EQ(CalSUM(data.data(), 3), 7);
}

TEST(Sum, CoversTheLongestPossibleBuffer) {
    EXPECT_EQ(sum(Buffer(65535, 0x01)), 65535);
}

TEST(Crc, OfAnEmptyBufferIsFFFF) {
    EXPECT_EQ(crc(Buffer()), 0xFFFF);
}

TEST(Crc, OfTheAsciiDigits1To9Is4B37) {
    EXPECT_EQ(crc(buffer("31 32 33 34 35 36 37 38 39")), 0x4B37);
}

TEST(Crc, ReflectsInputAndOutputAndHasNoFinalXor) {
    EXPECT_EQ(crc(buffer("00")), 0x40BF);
    EXPECT_EQ(crc(buffer("01")), 0x807E);
    EXPECT_EQ(crc(buffer("80")), 0xE0BE);
    EXPECT_EQ(crc(buffer("FF")), 0x00FF);
    EXPECT_EQ(crc(buffer("01 02")), 0xE181);
    EXPECT_EQ(crc(buffer("55 AA 55 AA")), 0xE78E);
    EXPECT_EQ(crc(buffer("11 01 00 13 00 25")), 0x840E);
    EXPECT_EQ(crc(buffer("01 05 00 AC FF 00")), 0x1B4C);
}

// Every value of a byte and every length up to a full frame and beyond, so that every entry of a table and every
// unrolled round is used.
TEST(Crc, AgreesWithTheBitByBitDefinitionForEveryByteAndLength) {
    for (int value = 0; value < 256; ++value)
        ASSERT_EQ(static_cast<unsigned>(crc(Buffer(1, static_cast<unsigned char>(value)))),
                  support::crc16(QByteArray(1, static_cast<char>(value))))
            << "byte " << value;

    QByteArray data;
    for (int size = 0; size <= 600; ++size) {
        ASSERT_EQ(static_cast<unsigned>(crc(Buffer(data.constBegin(), data.constEnd()))), support::crc16(data))
            << "length " << size;
        data.append(static_cast<char>((size * 151 + 43) & 0xFF));
    }
}

TEST(Crc, DoesNotDependOnWhereTheBufferBegins) {
    for (std::size_t offset = 0; offset < 16; ++offset) {
        Buffer data(offset, 0xEE);
        const Buffer digits = buffer("31 32 33 34 35 36 37 38 39");
        data.insert(data.end(), digits.begin(), digits.end());
        EXPECT_EQ(CalCRC(data.data() + offset, 9), 0x4B37) << "offset " << offset;
    }
}

TEST(Crc, CoversTheLongestPossibleBuffer) {
    const Buffer data(65535, 0x5A);
    EXPECT_EQ(static_cast<unsigned>(crc(data)), support::crc16(QByteArray(65535, 0x5A)));
}

// The +1 comes after the mask and nothing is masked again. A result reduced to 8 bits would be 0 here, and a host that
// compares the wide value would reject its own frames.
TEST(Lrc, OfAByteSumThatEndsIn00Is256) {
    EXPECT_EQ(lrc(buffer("80 80")), 256);
    EXPECT_EQ(lrc(buffer("00")), 256);
    EXPECT_EQ(lrc(buffer("FF 01")), 256);
}

// As above: no bytes sum up to 0x00.
TEST(Lrc, OfAnEmptyBufferIs256) {
    EXPECT_EQ(lrc(Buffer()), 256);
}

TEST(Lrc, OfTheByte01Is255) {
    EXPECT_EQ(lrc(buffer("01")), 255);
}

TEST(Lrc, IsTheTwosComplementOfTheLowByteOfTheSum) {
    EXPECT_EQ(lrc(buffer("FF")), 1);
    EXPECT_EQ(lrc(buffer("7F")), 129);
    EXPECT_EQ(lrc(buffer("FF FF")), 2);
    EXPECT_EQ(lrc(buffer("01 03 00 00 00 0A")), 242);
    EXPECT_EQ(lrc(Buffer(300, 0xFF)), 44);
}

TEST(Xor, Of12And34Is26) {
    EXPECT_EQ(xor_of(buffer("12 34")), 0x26);
}

// The first byte is read before the length is checked. Returning 0 for no bytes would change the result for a host that
// passes a length of 0 with a one-byte buffer.
TEST(Xor, WithLength0ReturnsTheFirstByteOfTheBuffer) {
    Buffer data = buffer("A7 34");
    EXPECT_EQ(CalXOR(data.data(), 0), 0xA7);
}

TEST(Xor, WithLength1ReturnsTheFirstByte) {
    Buffer data = buffer("A7 34");
    EXPECT_EQ(CalXOR(data.data(), 1), 0xA7);
}

TEST(Xor, NeverSetsTheHighByte) {
    EXPECT_EQ(xor_of(buffer("FF")), 0xFF);
    EXPECT_EQ(xor_of(buffer("80 7F")), 0xFF);
    EXPECT_EQ(xor_of(Buffer(301, 0xFF)), 0xFF);
    EXPECT_EQ(xor_of(Buffer(300, 0xFF)), 0x00);
}

TEST(DigitToCharacter, Gives0To9AndUpperCaseAToF) {
    const char expected[] = "0123456789ABCDEF";
    for (int digit = 0; digit < 16; ++digit)
        EXPECT_EQ(DigitalToASCII(digit), expected[digit]) << "digit " << digit;
}

// There is no range check on purpose: other numbers are converted by the same two sums.
TEST(DigitToCharacter, IsNotRangeChecked) {
    EXPECT_EQ(DigitalToASCII(16), 'G');
    EXPECT_EQ(DigitalToASCII(100), 155);
    EXPECT_EQ(DigitalToASCII(-1), '/');
    EXPECT_EQ(DigitalToASCII(-48), 0);
    EXPECT_EQ(DigitalToASCII(-100), -52);
}

TEST(CharacterToDigit, Of0To9AndUpperCaseAToFIsTheirValue) {
    const char characters[] = "0123456789ABCDEF";
    for (int digit = 0; digit < 16; ++digit)
        EXPECT_EQ(ASCIIToDigital(characters[digit]), digit) << characters[digit];
}

TEST(CharacterToDigit, OfEverythingBelowDigit0Is0) {
    EXPECT_EQ(ASCIIToDigital(0x2F), 0);
    EXPECT_EQ(ASCIIToDigital(0), 0);
    EXPECT_EQ(ASCIIToDigital(-1), 0);
    EXPECT_EQ(ASCIIToDigital(-2147483647 - 1), 0);
}

// The six characters between '9' and '@' continue the digits. Hosts that pack nibbles as 0x30 + value rely on it.
TEST(CharacterToDigit, OfColonTo3FHexIs10To15) {
    EXPECT_EQ(ASCIIToDigital(':'), 10);
    EXPECT_EQ(ASCIIToDigital(';'), 11);
    EXPECT_EQ(ASCIIToDigital('<'), 12);
    EXPECT_EQ(ASCIIToDigital('='), 13);
    EXPECT_EQ(ASCIIToDigital('>'), 14);
    EXPECT_EQ(ASCIIToDigital('?'), 15);
}

// '@' is 0 and not 9, which 0x40 - 0x37 would give.
TEST(CharacterToDigit, Of40HexIs0) {
    EXPECT_EQ(ASCIIToDigital(0x40), 0);
}

// Lower case is not folded: 'a' is 42 and never 10. A host that passes lower case sees wrong digits at once.
TEST(CharacterToDigit, DoesNotFoldLowerCaseSoThatLowerAIs42) {
    EXPECT_EQ(ASCIIToDigital('a'), 42);
    EXPECT_EQ(ASCIIToDigital('f'), 47);
    EXPECT_EQ(ASCIIToDigital('G'), 16);
    EXPECT_EQ(ASCIIToDigital(0xFF), 200);
}

}  // namespace

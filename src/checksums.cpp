#include "checksums.h"

#include "arithmetic.h"
#include "bytes.h"

namespace {

// The CRC of a message is its remainder, times x^16, modulo (x + 1)(x^15 + x + 1). Each factor is handled separately.
// Modulo x + 1 the remainder is the parity of all bits. Modulo x^15 + x + 1 it takes a few shifts per word, because the
// square of that factor makes x^30 the same as x^2 + 1, and so x^32 the same as x^4 + x^2. No table has to be fetched
// into a small cache, and the words depend on each other by a few shifts instead of by a load for each byte.
//
// A polynomial is held in a word as the line carries it: the top bit is x^0, the lowest x^31, and a shift to the right
// multiplies by x.

// What comes out as 0xFFFF when no byte follows: 0xFFFF divided by x^16.
const quint32 crc_start = 0x15570000U;

// The powers x^32 and up, given as a word that begins with x^32, brought down into the word.
quint32 brought_down(quint32 above) {
    return (above >> 2) ^ (above >> 4);
}

quint32 times_x8(quint32 rest) {
    return (rest >> 8) ^ brought_down(rest << 24);
}

quint32 times_x16(quint32 rest) {
    return (rest >> 16) ^ brought_down(rest << 16);
}

// The product with x^2 + x^4 itself passes x^31 by up to four powers; they are reduced in the same way once more.
quint32 times_x32(quint32 rest) {
    return brought_down(rest ^ (rest << 30) ^ (rest << 28));
}

// The powers x^15 and up replaced once, x^15 being x + 1, and what that brings to x^15 and up once more.
quint32 below_x15(quint32 rest) {
    for (int round = 0; round < 2; ++round) {
        const quint32 above = rest << 15;
        rest = (rest & 0xFFFE0000U) ^ above ^ (above >> 1);
    }
    return rest;
}

// Whether the number of bits set is odd; 0x6996 holds the answers for four bits.
bool is_odd(quint32 bits) {
    bits ^= bits >> 16;
    bits ^= bits >> 8;
    bits ^= bits >> 4;
    return ((0x6996U >> (bits & 15U)) & 1U) != 0;
}

}  // namespace

unsigned short CalSUM(unsigned char *data, unsigned short len) {
    unsigned int sum = 0;
    for (unsigned int i = 0; i < len; ++i)
        sum += data[i];
    return static_cast<unsigned short>(sum);
}

int CalCRC(unsigned char *data, unsigned short len) {
    quint32 rest = crc_start;
    quint32 sum = 0;
    unsigned int left = len;
    for (; left >= 4; left -= 4, data += 4) {
        const quint32 word = get_u32_low_first(data);
        rest = times_x32(rest) ^ word;
        sum ^= word;
    }
    if ((left & 2U) != 0) {
        const quint32 pair = static_cast<quint32>(get_u16_low_first(data)) << 16;
        rest = times_x16(rest) ^ pair;
        sum ^= pair;
        data += 2;
    }
    if ((left & 1U) != 0) {
        const quint32 byte = static_cast<quint32>(*data) << 24;
        rest = times_x8(rest) ^ byte;
        sum ^= byte;
    }
    rest = below_x15(times_x16(rest));
    // Adding the factor x^15 + x + 1 changes the parity and leaves the rest as it is.
    return static_cast<int>((rest >> 16) ^ (is_odd(sum ^ rest) ? 0xC001U : 0U));
}

int CalLRC(unsigned char *data, unsigned short len) {
    return (~CalSUM(data, len) & 0xFF) + 1;
}

unsigned short CalXOR(unsigned char *data, unsigned short len) {
    unsigned int result = data[0];
    for (unsigned int i = 1; i < len; ++i)
        result ^= data[i];
    return static_cast<unsigned short>(result);
}

int DigitalToASCII(int digit) {
    if (digit <= 9)
        return digit + '0';
    return low_32_bits(qint64(digit) + ('A' - 10));
}

int ASCIIToDigital(int ch) {
    if (ch < '0' || ch == '@')
        return 0;
    if (ch <= '?')
        return ch - '0';
    return ch - ('A' - 10);
}

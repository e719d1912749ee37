#include "checksums.h"

#include "arithmetic.h"

unsigned short CalSUM(unsigned char *data, unsigned short len) {
    unsigned int sum = 0;
    for (unsigned int i = 0; i < len; ++i)
        sum += data[i];
    return static_cast<unsigned short>(sum);
}

int CalCRC(unsigned char *data, unsigned short len) {
    unsigned int crc = 0xFFFF;
    for (unsigned int i = 0; i < len; ++i) {
        crc ^= data[i];
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1U) != 0 ? (crc >> 1) ^ 0xA001U : crc >> 1;
    }
    return static_cast<int>(crc);
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

#include "store/register_cache.h"

#include "bytes.h"
#include "register_types.h"

namespace {

typedef unsigned short (*WordOrder)(const unsigned char *);

void store_words(unsigned int key, const QByteArray &bytes, WordOrder take) {
    const unsigned char *from = unsigned_bytes(bytes);
    for (qint64 left = bytes.size(); left >= 2; left -= 2, from += 2)
        PLC_driver.word_cache[key++] = take(from);
}

void store_double_words(unsigned int key, const QByteArray &bytes) {
    const unsigned char *from = unsigned_bytes(bytes);
    for (qint64 left = bytes.size(); left >= 4; left -= 4, from += 4)
        PLC_driver.dword_cache[key++] = get_u32_low_first(from);
}

void store_bit_of_word(const RW_VAR &var, int register_class) {
    const unsigned int bit_address = static_cast<unsigned int>(var.reg_addr);
    const unsigned int mask = 1U << (bit_address & 15U);
    const bool set = !var.value_bytes.isEmpty() && var.value_bytes.at(0) != 0;
    unsigned short &word = PLC_driver.word_cache[cache_key_of_bit(var.station_no, register_class, bit_address)];
    word = static_cast<unsigned short>(set ? word | mask : word & ~mask);
}

}  // namespace

unsigned int cache_key(int station_no, int register_class, int address) {
    return (static_cast<unsigned int>(station_no) << 24) | (static_cast<unsigned int>(register_class) << 16) |
           static_cast<unsigned int>(address);
}

unsigned int cache_key_of_bit(int station_no, int register_class, unsigned int bit_address) {
    return cache_key(station_no, register_class, static_cast<int>(bit_address >> 4));
}

void store_bits(unsigned int key, const unsigned char *bytes, qint64 available, quint32 count) {
    const qint64 stored = qMin<qint64>(count, available * 8);
    for (qint64 i = 0; i < stored; ++i)
        PLC_driver.bit_cache[key++] = (bytes[i / 8] >> (i % 8)) & 1;
}

void WriteDataToLocal(const RW_VAR &var) {
    const RegisterType *known = find_register_type(var.reg_type);
    if (known == 0)
        return;
    const unsigned int key = cache_key(var.station_no, known->register_class, var.reg_addr);
    const QMutexLocker locked(&PLC_driver.cache_mutex);
    switch (known->unit) {
    case Bit:
        store_bits(key, unsigned_bytes(var.value_bytes), var.value_bytes.size(), static_cast<quint32>(var.reg_count));
        break;
    case Word:
        store_words(key, var.value_bytes, get_u16_low_first);
        break;
    case WordPair:
        // A write record holds these values as they are sent on the line, unlike those of single registers.
        store_words(key, var.value_bytes, get_u16_high_first);
        break;
    case DoubleWord:
        store_double_words(key, var.value_bytes);
        break;
    case BitOfWord:
        store_bit_of_word(var, known->register_class);
        break;
    }
}

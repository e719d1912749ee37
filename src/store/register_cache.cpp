#include "store/register_cache.h"

#include "bytes.h"
#include "ozna_kelpo_port.h"
#include "register_types.h"

#include <QtCore/QMutexLocker>

#include <limits>

namespace {

typedef QHash<unsigned int, unsigned char> BitCache;
typedef QHash<unsigned int, unsigned short> WordCache;
typedef QHash<unsigned int, unsigned int> DwordCache;

// More bytes than one byte array can hold give an empty one: the host sees that it got nothing.
QByteArray zero_bytes(qint64 size) {
    if (size <= 0 || size > std::numeric_limits<int>::max() / 2)
        return QByteArray();
    return QByteArray(static_cast<int>(size), '\0');
}

// Pairs of registers that hold `count` of them, `count` taken as unsigned.
qint64 pairs(int count) {
    return (static_cast<quint32>(count) + 1U) / 2U;
}

void read_bits(unsigned int key, QByteArray &out) {
    const BitCache &cache = PLC_driver.bit_cache;
    unsigned char *to = writable_bytes(out);
    for (const unsigned char *const end = to + out.size(); to != end; ++to)
        *to = cache.value(key++, 0) != 0 ? 1 : 0;
}

void read_words(unsigned int key, QByteArray &out) {
    const WordCache &cache = PLC_driver.word_cache;
    unsigned char *to = writable_bytes(out);
    for (const unsigned char *const end = to + out.size(); to != end; to += 2)
        put_u16_low_first(to, cache.value(key++, 0));
}

// The high half of a value stands at the lower address.
void read_word_pairs(unsigned int key, QByteArray &out) {
    const WordCache &cache = PLC_driver.word_cache;
    unsigned char *to = writable_bytes(out);
    for (const unsigned char *const end = to + out.size(); to != end; to += 4) {
        put_u16_low_first(to + 2, cache.value(key++, 0));
        put_u16_low_first(to, cache.value(key++, 0));
    }
}

void read_double_words(unsigned int key, QByteArray &out) {
    const DwordCache &cache = PLC_driver.dword_cache;
    unsigned char *to = writable_bytes(out);
    for (const unsigned char *const end = to + out.size(); to != end; to += 4)
        put_u32_low_first(to, cache.value(key++, 0));
}

// A bit address is register x 16 + bit: a run walks through a register's bits before it moves on to the next register.
void read_bits_of_words(unsigned int area, unsigned int bit_address, QByteArray &out) {
    const WordCache &cache = PLC_driver.word_cache;
    unsigned char *to = writable_bytes(out);
    for (const unsigned char *const end = to + out.size(); to != end; ++to, ++bit_address)
        *to = (cache.value(area | (bit_address >> 4), 0) >> (bit_address & 15U)) & 1U;
}

}  // namespace

unsigned int cache_key(int station_no, int register_class, int address) {
    return (static_cast<unsigned int>(station_no) << 24) | (static_cast<unsigned int>(register_class) << 16) |
           static_cast<unsigned int>(address);
}

void store_bits(unsigned int key, const unsigned char *bytes, qint64 available, quint32 count) {
    const qint64 stored = qMin<qint64>(count, available * 8);
    for (qint64 i = 0; i < stored; ++i)
        PLC_driver.bit_cache[key + static_cast<unsigned int>(i)] = (bytes[i / 8] >> (i % 8)) & 1;
}

int GetRegisterData(QString /*text*/, int reg_type, QString address, int station_no, QByteArray &out, int count) {
    const int reg_addr = StringAddressToInt(reg_type, address);
    if (reg_addr < 0) {
        out = zero_bytes(qint64(2) * count);
        return 0;
    }
    const ComInfo &com_info = *PLC_driver.com_info;
    const int station = com_info.multi_station != 0 ? station_no : com_info.default_station;
    const int register_class = PLC_driver.get_plc_reg(reg_type);
    const unsigned int key = cache_key(station, register_class, reg_addr);
    const RegisterType *known = find_register_type(reg_type);

    const QMutexLocker locked(&PLC_driver.cache_mutex);
    if (known == 0) {
        out = zero_bytes(qint64(2) * count);
        return 1;
    }
    switch (known->unit) {
    case Bit:
        out = zero_bytes(count);
        read_bits(key, out);
        break;
    case Word:
        out = zero_bytes(qint64(2) * count);
        read_words(key, out);
        break;
    case WordPair:
        out = zero_bytes(pairs(count) * 4);
        read_word_pairs(key, out);
        break;
    case DoubleWord:
        out = zero_bytes(pairs(count) * 4);
        read_double_words(key, out);
        break;
    case BitOfWord:
        out = zero_bytes(count);
        read_bits_of_words(cache_key(station, register_class, 0), static_cast<unsigned int>(reg_addr), out);
        break;
    }
    return 1;
}

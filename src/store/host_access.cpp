#include "arithmetic.h"
#include "bytes.h"
#include "ozna_kelpo_port.h"
#include "planning/request_limits.h"
#include "register_types.h"
#include "shared_words.h"
#include "store/register_cache.h"

#include <new>

namespace {

typedef QHash<unsigned int, unsigned char> BitCache;
typedef QHash<unsigned int, unsigned short> WordCache;
typedef QHash<unsigned int, unsigned int> DwordCache;

// From this number of bytes on, which one byte array cannot hold, the result is empty: the host can see that it got
// nothing.
const qint64 too_many_bytes = qint64(1) << 30;

// Empty, too, when there is no memory for them.
QByteArray zero_bytes(qint64 size) {
    if (size <= 0 || size >= too_many_bytes)
        return QByteArray();
    try {
        return QByteArray(static_cast<int>(size), '\0');
    } catch (const std::bad_alloc &) {
        return QByteArray();
    }
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

// The high half of a value is at the lower address.
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

// A bit address is register x 16 + bit: a range covers a register's bits before it moves on to the next register.
void read_bits_of_words(int station_no, int register_class, unsigned int bit_address, QByteArray &out) {
    const WordCache &cache = PLC_driver.word_cache;
    unsigned char *to = writable_bytes(out);
    for (const unsigned char *const end = to + out.size(); to != end; ++to, ++bit_address)
        *to = (cache.value(cache_key_of_bit(station_no, register_class, bit_address), 0) >> (bit_address & 15U)) & 1U;
}

// With one station on the link the host's number is replaced by that station's.
int station_in_use(int station_no) {
    const ComInfo &com_info = *PLC_driver.com_info;
    return com_info.multi_station != 0 ? station_no : com_info.default_station;
}

// What is sent for value bytes that the host did not supply: the character "0", not zero, so that a short write can be
// seen on the screen and in the controller instead of looking like a cleared value.
const char missing_value_byte = ozna_kelpo::missing_byte;

// A frame counts units in 16 bits; more than that in one record could never be sent.
const int most_units_per_record = 0xFFFF;

// The host's bytes, taken from the front.
class HostBytes {
public:
    explicit HostBytes(const QByteArray &data) : m_from(unsigned_bytes(data)), m_left(data.size()) {}

    qint64 left() const {
        return m_left;
    }

    // The next byte; 0 past the end.
    unsigned char take() {
        if (m_left <= 0)
            return 0;
        --m_left;
        return *m_from++;
    }

private:
    const unsigned char *m_from;
    qint64 m_left;
};

const int nothing_queued = -1;

// A write on its way to the queue or the cache, record after record.
struct HostWrite {
    RW_VAR record;
    int queue_size;  // when the last record was queued
};

// Sends the record on its way and moves it on by `addresses`. While the link works, a queued write reaches the cache
// when its frame is built; while it has failed, the host sees its value here.
void submit(HostWrite &write, int addresses) {
    RW_VAR &record = write.record;
    const bool to_the_plc = PLC_driver.com_info->write_mode == ozna_kelpo::write_to_controller;
    if (to_the_plc)
        write.queue_size = AddListWriteVar(&record);
    if (!to_the_plc || link_has_failed())
        WriteDataToLocal(record);
    record.reg_addr = low_32_bits(qint64(record.reg_addr) + addresses);
}

void write_bits_one_by_one(HostWrite &write, HostBytes bytes, int count) {
    for (int i = 0; i < count; ++i) {
        write.record.value_bytes = QByteArray(1, bytes.take() != 0 ? 1 : 0);
        submit(write, 1);
    }
}

// Whole groups of eight host bytes are OR-ed in unchanged, each shifted to its bit: a host byte above 1 spills into the
// next bits. Only the bits after the last whole group are judged by zero or not.
QByteArray packed_bits(HostBytes &bytes, int count) {
    QByteArray packed((count + 7) / 8, '\0');
    unsigned char *const to = writable_bytes(packed);
    const int in_whole_groups = count / 8 * 8;
    for (int i = 0; i < count; ++i) {
        const unsigned int value = bytes.take();
        const unsigned int bit = i < in_whole_groups ? value : (value != 0 ? 1U : 0U);
        to[i / 8] = static_cast<unsigned char>(to[i / 8] | (bit << (i % 8)));
    }
    return packed;
}

void write_bit_groups(HostWrite &write, HostBytes bytes, int count, int limit) {
    if (count == 1) {
        write_bits_one_by_one(write, bytes, 1);
        return;
    }
    for (int rest = count; rest > 0; rest -= write.record.reg_count) {
        write.record.reg_count = qMin(rest, limit);
        write.record.value_bytes = packed_bits(bytes, write.record.reg_count);
        submit(write, write.record.reg_count);
    }
}

// `size` bytes as the host gave them, filled up where it gave fewer.
QByteArray taken_in_order(HostBytes &bytes, int size) {
    QByteArray taken(size, missing_value_byte);
    char *const to = taken.data();
    const int present = static_cast<int>(qMin<qint64>(size, bytes.left()));
    for (int i = 0; i < present; ++i)
        to[i] = static_cast<char>(bytes.take());
    return taken;
}

void write_words(HostWrite &write, HostBytes bytes, int count, int limit) {
    for (int rest = count; rest > 0; rest -= write.record.reg_count) {
        write.record.reg_count = qMin(rest, limit);
        write.record.value_bytes = taken_in_order(bytes, 2 * write.record.reg_count);
        submit(write, write.record.reg_count);
    }
}

void write_double_words(HostWrite &write, HostBytes bytes, qint64 values, int limit) {
    for (qint64 rest = values; rest > 0; rest -= write.record.reg_count) {
        write.record.reg_count = static_cast<int>(qMin<qint64>(rest, limit));
        write.record.value_bytes = taken_in_order(bytes, 4 * write.record.reg_count);
        submit(write, write.record.reg_count);
    }
}

// Each value turned high byte first. One to three bytes left for a value are stored downwards from the place just after
// it: the first is stored in the next value, or is lost after the last. Panels show exactly these values for short
// writes, so the placement stays.
QByteArray taken_high_first(HostBytes &bytes, int values) {
    const int size = 4 * values;
    QByteArray taken(size, missing_value_byte);
    char *const to = taken.data();
    for (int value = 0; value < size; value += 4) {
        const bool whole = bytes.left() >= 4;
        for (int place = value + (whole ? 3 : 4); place >= value && bytes.left() > 0; --place) {
            const char byte = static_cast<char>(bytes.take());
            if (place < size)
                to[place] = byte;
        }
    }
    return taken;
}

void write_word_pairs(HostWrite &write, HostBytes bytes, qint64 values, int limit) {
    for (qint64 rest = values; rest > 0; rest -= write.record.reg_count / 2) {
        const int taken = static_cast<int>(qMin<qint64>(rest, limit));
        write.record.reg_count = 2 * taken;
        write.record.value_bytes = taken_high_first(bytes, taken);
        submit(write, write.record.reg_count);
    }
}

RW_VAR write_record(const QString &text, int reg_type, const QString &address, int station_no, int reg_addr) {
    const ComInfo &com_info = *PLC_driver.com_info;
    RW_VAR record;
    record.host_ref2 = 1;
    record.host_ref3 = com_info.remote_mode;
    record.area_no = com_info.local_area_no;
    record.aux_text = text;
    record.addr_text = address;
    record.reg_type = reg_type;
    record.reg_addr = reg_addr;
    record.station_no = station_in_use(station_no);
    record.reg_count = 1;
    return record;
}

void write_groups(RegisterUnit unit, HostWrite &write, const HostBytes &bytes, int count) {
    const int limit = qMin(units_per_request(), most_units_per_record);
    const qint64 values = (qint64(count) + 1) / 2;
    switch (unit) {
    case Bit:
        write_bit_groups(write, bytes, count, qMin(8 * limit, most_units_per_record));
        break;
    case Word:
        write_words(write, bytes, count, limit);
        break;
    case WordPair:
        write_word_pairs(write, bytes, values, qMin(limit, int(ozna_kelpo::most_double_words)));
        break;
    case DoubleWord:
        write_double_words(write, bytes, values, qMin(limit, int(ozna_kelpo::most_double_words)));
        break;
    case BitOfWord:
        break;
    }
}

void write_value(HostWrite &write, const HostBytes &bytes, int count) {
    const RegisterType *known = find_register_type(write.record.reg_type);
    if (known != 0 && known->write_cut == OneByOne)
        write_bits_one_by_one(write, bytes, count);
    else if (known != 0 && known->write_cut == InGroups)
        write_groups(known->unit, write, bytes, count);
}

}  // namespace

int GetRegisterData(QString /*text*/, int reg_type, QString address, int station_no, QByteArray &out, int count) {
    const int reg_addr = StringAddressToInt(reg_type, address);
    if (reg_addr < 0) {
        out = zero_bytes(qint64(2) * count);
        return 0;
    }
    const int station = station_in_use(station_no);
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
        read_bits_of_words(station, register_class, static_cast<unsigned int>(reg_addr), out);
        break;
    }
    return 1;
}

int SetRegisterData(QString text, int reg_type, QString address, int station_no, QByteArray data, int count,
                    int var_group, int var_id) {
    const int reg_addr = StringAddressToInt(reg_type, address);
    if (reg_addr < 0)
        return 0;
    HostWrite write = {write_record(text, reg_type, address, station_no, reg_addr), nothing_queued};
    write.record.var_group = var_group;
    write.record.var_id = var_id;
    try {
        write_value(write, HostBytes(data), count);
    } catch (const std::bad_alloc &) {
        // What gets no memory is dropped, like what gets no place in the queue.
    }
    return write.queue_size != nothing_queued ? write.queue_size : write_list_size_without_waiting();
}

#include "store/reply_storage.h"

#include "Communication_Protocol.h"
#include "bytes.h"
#include "checksums.h"
#include "frame_layout.h"
#include "register_types.h"
#include "store/register_cache.h"

namespace {

void store_words(unsigned int key, const unsigned char *payload, qint64 size) {
    for (qint64 i = 0; i < size / 2; ++i)
        PLC_driver.word_cache[key + static_cast<unsigned int>(i)] = get_u16_high_first(payload + 2 * i);
}

void store_double_words(unsigned int key, const unsigned char *payload, qint64 size) {
    for (qint64 i = 0; i < size / 4; ++i)
        PLC_driver.dword_cache[key + static_cast<unsigned int>(i)] = get_u32_high_first(payload + 4 * i);
}

}  // namespace

void SaveToLocalDataErea(QByteArray *reply) {
    if (reply == 0 || reply->isEmpty() || PLC_driver.frame_list.isEmpty())
        return;
    const Protocol &request = PLC_driver.frame_list.at(0);
    const RW_VAR &var = request.var;
    if (var.store_mode == read_half_of_bit_write) {
        SpecialRegisterSave(reply);
        return;
    }
    const RegisterType *known = find_register_type(var.reg_type);
    if (known == 0 || request.data_offset < 0 || request.data_offset >= reply->size())
        return;
    const qint64 from_offset = qint64(reply->size()) - request.data_offset;
    const qint64 claimed = qMin<qint64>(from_offset, request.data_len);
    const unsigned char *payload = unsigned_bytes(*reply) + request.data_offset;
    const unsigned int key = cache_key(var.station_no, var.reg_type, var.reg_addr);
    switch (known->unit) {
    case Bit:
        // The record's byte count is not compared with the bits it asks for; only the reply itself is a limit.
        store_bits(key, payload, from_offset, static_cast<quint32>(var.reg_count));
        break;
    case Word:
        store_words(key, payload, claimed);
        break;
    case DoubleWord:
        store_double_words(key, payload, claimed);
        break;
    case WordPair:
    case BitOfWord:
        break;
    }
}

void SpecialRegisterSave(const QByteArray *reply) {
    if (reply == 0 || reply->size() < reply_data_at + 2 || PLC_driver.frame_list.size() < 2)
        return;
    const RW_VAR &var = PLC_driver.frame_list.at(0).var;
    const unsigned int mask = 1U << (static_cast<unsigned int>(var.reg_addr) & 15U);
    const bool set = !var.value_bytes.isEmpty() && var.value_bytes.at(0) != 0;
    const unsigned int present = get_u16_high_first(unsigned_bytes(*reply) + reply_data_at);
    const unsigned int merged = set ? present | mask : present & ~mask;

    QByteArray &write = PLC_driver.frame_list[1].frame;
    if (write.size() < single_write_length)
        write.append(QByteArray(single_write_length - static_cast<int>(write.size()), '\0'));
    unsigned char *const bytes = writable_bytes(write);
    put_u16_high_first(bytes + single_value_at, static_cast<int>(merged));
    put_u16_low_first(bytes + single_write_crc_at, CalCRC(bytes, single_write_crc_at));
}

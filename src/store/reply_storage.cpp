#include "store/reply_storage.h"

#include "Communication_Protocol.h"
#include "bytes.h"
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
    const Protocol &request = PLC_driver.frame_list.first();
    const RW_VAR &var = request.var;
    const RegisterType *known = find_register_type(var.reg_type);
    if (known == 0 || request.data_offset < 0 || request.data_offset >= reply->size())
        return;
    const qint64 behind_offset = qint64(reply->size()) - request.data_offset;
    const qint64 claimed = qMin<qint64>(behind_offset, request.data_len);
    const unsigned char *payload = unsigned_bytes(*reply) + request.data_offset;
    const unsigned int key = cache_key(var.station_no, var.reg_type, var.reg_addr);
    switch (known->unit) {
    case Bit:
        // The record's byte count is not compared with the bits it asks for; only the reply itself is a bound.
        store_bits(key, payload, behind_offset, static_cast<quint32>(var.reg_count));
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

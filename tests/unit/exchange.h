/// \file
/// What several tests of requests and replies share: records, frames in flight and caches as text, good replies.
#ifndef UNIT_EXCHANGE_H
#define UNIT_EXCHANGE_H

#include "driver_test.h"
#include "hex_text.h"

#include <algorithm>
#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

namespace support {

typedef std::vector<std::string> Lines;

/// A write record as SetRegisterData makes it, with the given fields; everything else 0 or empty.
inline RW_VAR write_var(int reg_type, int reg_addr, int reg_count, const QByteArray &value, int station_no = 1) {
    RW_VAR var = make_var(reg_type, reg_addr, reg_count, station_no);
    var.host_ref2 = 1;
    var.value_bytes = value;
    return var;
}

/// As above, with the value as hexadecimal pairs.
inline RW_VAR write_var(int reg_type, int reg_addr, int reg_count, const char *value, int station_no = 1) {
    return write_var(reg_type, reg_addr, reg_count, bytes(value), station_no);
}

/// The bytes of every frame in flight, in the order they are sent.
inline Lines frames_in_flight() {
    Lines lines;
    for (const Protocol &request : PLC_driver.frame_list)
        lines.push_back(hex(request.frame));
    return lines;
}

/// The four lengths of a request.
inline std::string lengths(const Protocol &request) {
    std::ostringstream text;
    text << "send " << request.send_len << ", reply " << request.reply_len << ", " << request.data_len
         << " data bytes at " << request.data_offset;
    return text.str();
}

/// Every entry of one cache in the order of the keys: "KEY=VALUE" in hexadecimal, with one blank between them.
template <class Cache> std::string entries(const Cache &cache) {
    std::vector<unsigned> keys;
    for (auto entry = cache.constBegin(); entry != cache.constEnd(); ++entry)
        keys.push_back(entry.key());
    std::sort(keys.begin(), keys.end());
    std::ostringstream text;
    text << std::hex << std::uppercase << std::setfill('0');
    for (unsigned key : keys)
        text << (text.tellp() > 0 ? " " : "") << std::setw(8) << key << '=' << static_cast<unsigned>(cache.value(key));
    return text.str();
}

/// All three caches are empty.
inline bool caches_empty() {
    return PLC_driver.bit_cache.isEmpty() && PLC_driver.word_cache.isEmpty() && PLC_driver.dword_cache.isEmpty();
}

inline void clear_caches() {
    PLC_driver.bit_cache.clear();
    PLC_driver.word_cache.clear();
    PLC_driver.dword_cache.clear();
}

/// The callbacks seen so far: "channel group id status".
inline Lines seen(const std::vector<WriteResult> &results) {
    Lines lines;
    for (const WriteResult &result : results)
        lines.push_back(std::to_string(result.channel_id) + " " + std::to_string(result.var_group) + " " +
                        std::to_string(result.var_id) + " " + std::to_string(result.status));
    return lines;
}

/// A reply that answers `request`: station, function code, byte count, zeros, CRC, as long as the request expects.
inline QByteArray good_reply(const Protocol &request) {
    QByteArray body(std::max(request.reply_len, 5) - 2, '\0');
    body[0] = static_cast<char>(request.var.station_no);
    body[1] = request.frame.at(1);
    body[2] = static_cast<char>(request.reply_len - 5);
    return with_crc(body);
}

/// Hands `reply` to the driver with its own length and returns the code.
inline int answer(QByteArray reply) {
    return DataCom(&reply, static_cast<int>(reply.size()))->ret_value;
}

/// Answers the frame in flight with a good reply and returns the code.
inline int answer_correctly() {
    return answer(good_reply(PLC_driver.frame_list.first()));
}

/// Reports to the driver that nothing came and returns the code.
inline int answer_nothing() {
    return answer(QByteArray());
}

}  // namespace support

#endif

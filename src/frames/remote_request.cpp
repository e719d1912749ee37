#include "frames/remote_request.h"

#include "arithmetic.h"
#include "bytes.h"
#include "checksums.h"
#include "frame_layout.h"
#include "frames/rtu_request.h"
#include "register_types.h"
#include "store/register_cache.h"

namespace {

const int fields_length = 21;
const int sum_length = 1;
const int no_reply_awaited = 0;

// CalSUM counts bytes in 16 bits; longer requests are summed piece by piece.
int sum_of(QByteArray &bytes) {
    const qint64 most = 0xFFFF;
    unsigned char *from = writable_bytes(bytes);
    int sum = 0;
    for (qint64 left = bytes.size(); left > 0; left -= most, from += most)
        sum = (sum + CalSUM(from, static_cast<unsigned short>(qMin(left, most)))) & 0xFFFF;
    return sum;
}

// The whole request. Its first byte holds the low 8 bits of the length only: longer writes carry it modulo 256.
QByteArray remote_frame(const RW_VAR &var, const QByteArray &value) {
    unsigned char fields[fields_length];
    put_u8(fields, low_32_bits(fields_length + qint64(value.size()) + sum_length));
    put_u8(fields + 1, var.var_group);
    put_u8(fields + 2, var.host_ref2);
    put_u8(fields + 3, var.area_no);
    put_u8(fields + 4, var.station_no);
    put_u16_high_first(fields + 5, var.reg_type);
    put_u32_high_first(fields + 7, var.reg_addr);
    put_u16_high_first(fields + 11, var.reg_count);
    put_u32_high_first(fields + 13, var.store_mode);
    put_u32_high_first(fields + 17, var.aux_word);
    QByteArray frame(reinterpret_cast<const char *>(fields), fields_length);
    frame.append(value);
    frame.append(static_cast<char>(sum_of(frame)));
    return frame;
}

qint64 reply_data_len(const RW_VAR &var) {
    const RegisterType *known = find_register_type(var.reg_type);
    const qint64 count = var.reg_count;
    if (known != 0 && known->unit == Bit)
        return shifted_right(count + 7, 3);
    if (known != 0 && known->unit == DoubleWord)
        return 4 * count;
    return 2 * count;
}

}  // namespace

void Remote_ReadVar(const RW_VAR &var) {
    const qint64 data_len = reply_data_len(var);
    queue_frame(remote_frame(var, QByteArray()), low_32_bits(data_len + read_reply_overhead), reply_data_at,
                low_32_bits(data_len), var);
    expect_good_replies(1);
}

void Remote_WriteVar(const RW_VAR &var) {
    queue_frame(remote_frame(var, var.value_bytes), var.station_no != 0 ? write_reply_length : no_reply_awaited, 0, 0,
                var);
    expect_good_replies(1);
    WriteDataToLocal(var);
}

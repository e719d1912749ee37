#include "frames/rtu_request.h"

#include "bytes.h"
#include "checksums.h"
#include "frame_layout.h"

void begin_rtu_request(int station_no, RtuFunction function, int type, int address) {
    PLC_driver.get_offset_address(type, address);
    put_u8(PLC_driver.send_buf + station_at, station_no);
    put_u8(PLC_driver.send_buf + function_at, function);
    put_u16_high_first(PLC_driver.send_buf + address_at, address);
}

QByteArray end_rtu_request(int length) {
    unsigned char *const buffer = PLC_driver.send_buf;
    put_u16_low_first(buffer + length, CalCRC(buffer, static_cast<unsigned short>(length)));
    return QByteArray(reinterpret_cast<const char *>(buffer), length + crc_length);
}

// Filled in its place in the list: a record made outside would be copied into it, texts, bytes and all.
void queue_frame(QByteArray frame, int reply_len, int data_offset, int data_len, const RW_VAR &var) {
    PLC_driver.frame_list.append(Protocol());
    Protocol &record = PLC_driver.frame_list.last();
    record.frame.swap(frame);
    record.send_len = static_cast<int>(record.frame.size());
    record.reply_len = reply_len;
    record.data_offset = data_offset;
    record.data_len = data_len;
    record.var = var;
}

void expect_good_replies(int good_replies) {
    PLC_driver.com_info->success_count = 0;
    PLC_driver.com_info->success_limit = good_replies;
}

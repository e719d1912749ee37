#include "frames/write_request.h"

#include "arithmetic.h"
#include "bytes.h"
#include "frame_layout.h"
#include "frames/address_map.h"
#include "frames/rtu_request.h"
#include "register_types.h"
#include "shared_words.h"
#include "store/register_cache.h"
#include "store/reply_storage.h"

namespace {

const int longest_data = static_cast<int>(sizeof PLC_driver.send_buf) - write_data_at - crc_length;

// How value bytes become line order: in groups of this many, each reversed.
int reversed_group(RegisterUnit unit) {
    switch (unit) {
    case Word:
        return 2;
    case DoubleWord:
        return 4;
    default:
        return 1;
    }
}

// Registers are sent whole: data are filled up to this many bytes.
int data_granule(RegisterUnit unit) {
    switch (unit) {
    case Word:
    case WordPair:
        return 2;
    case DoubleWord:
        return 4;
    default:
        return 1;
    }
}

unsigned char value_byte(const QByteArray &value, qint64 index) {
    return index < value.size() ? unsigned_bytes(value)[index] : 0;
}

// Puts `length` bytes of `value`, from `first` on, after a header, each group of `group` bytes reversed.
void put_data(const QByteArray &value, int first, int length, int group) {
    unsigned char *const to = PLC_driver.send_buf + write_data_at;
    for (int i = 0; i < length; ++i)
        to[i] = value_byte(value, first + i - i % group + (group - 1 - i % group));
}

void queue_write(const QByteArray &frame, const RW_VAR &var) {
    queue_frame(frame, write_reply_length, 0, 0, var);
}

void queue_single_coil(const RW_VAR &var) {
    begin_rtu_request(var.station_no, WriteSingleCoil, var.reg_type, var.reg_addr);
    PLC_driver.send_buf[single_value_at] = value_byte(var.value_bytes, 0) != 0 ? 0xFF : 0x00;
    PLC_driver.send_buf[single_value_at + 1] = 0x00;
    queue_write(end_rtu_request(single_write_crc_at), var);
}

// False, and nothing queued, when the data do not fit. The byte count is taken from the value, not from the quantity:
// the two agree when the host supplies one value per unit, and the controller refuses the frame when they do not.
bool queue_multiple(const RW_VAR &var, const RegisterType &known) {
    const qint64 size = var.value_bytes.size();
    const int granule = data_granule(known.unit);
    const qint64 length = (size + granule - 1) / granule * granule;
    if (length > longest_data)
        return false;
    const RtuFunction function = known.unit == Bit ? WriteMultipleCoils : WriteMultipleRegisters;
    begin_rtu_request(var.station_no, function, var.reg_type, var.reg_addr);
    put_u16_high_first(PLC_driver.send_buf + quantity_at, low_32_bits(qint64(var.reg_count) * known.modbus_width));
    put_u8(PLC_driver.send_buf + byte_count_at, static_cast<int>(size));
    put_data(var.value_bytes, 0, static_cast<int>(length), reversed_group(known.unit));
    queue_write(end_rtu_request(write_data_at + static_cast<int>(length)), var);
    return true;
}

// One part of a split write: `registers` registers from `address` on, their data from `first` on.
void queue_part(const RW_VAR &var, int address, qint64 registers, int first, int group) {
    const int data_length = static_cast<int>(qMax<qint64>(0, 2 * registers));
    begin_rtu_request(var.station_no, WriteMultipleRegisters, var.reg_type, address);
    put_u16_high_first(PLC_driver.send_buf + quantity_at, low_32_bits(registers));
    put_u8(PLC_driver.send_buf + byte_count_at, low_32_bits(2 * registers));
    put_data(var.value_bytes, first, data_length, group);
    queue_write(end_rtu_request(write_data_at + data_length), var);
}

void queue_split_write(const RW_VAR &var, int split, int group) {
    const qint64 below = qint64(split) - var.reg_addr;
    const qint64 from_split = qint64(var.reg_addr) + var.reg_count - split;
    if (2 * below > longest_data || 2 * from_split > longest_data)
        return;
    queue_part(var, var.reg_addr, below, 0, group);
    queue_part(var, split, from_split, static_cast<int>(qMax<qint64>(0, 2 * below)), group);
    expect_good_replies(2);
}

void build(const RW_VAR &var, const RegisterType &known) {
    const bool split = crosses_high_start(known, var);
    if (known.unit == BitOfWord)
        WriteAnalog_bit(var);
    else if (known.unit == Word && split)
        WriteAnalog_2(var, known.high_start);
    else if (known.unit == WordPair && split)
        WriteAnalog_3(var, known.high_start);
    else
        // Bits are not split, although reads of the same types are: controllers take them across the boundary.
        WriteAnalog(var);
}

}  // namespace

void WriteRegister(const RW_VAR &var) {
    const RegisterType *known = find_register_type(var.reg_type);
    if (known == 0)
        return;
    const auto frames_before = PLC_driver.frame_list.size();
    build(var, *known);
    if (PLC_driver.frame_list.size() > frames_before && !link_has_failed())
        WriteDataToLocal(var);
}

void WriteAnalog(const RW_VAR &var) {
    const RegisterType *known = find_register_type(var.reg_type);
    if (known == 0 || known->unit == BitOfWord)
        return;
    if (known->unit == Bit && var.reg_count == 1)
        queue_single_coil(var);
    else if (!queue_multiple(var, *known))
        return;
    expect_good_replies(1);
}

void WriteAnalog_2(const RW_VAR &var, int split) {
    queue_split_write(var, split, reversed_group(Word));
}

void WriteAnalog_3(const RW_VAR &var, int split) {
    queue_split_write(var, split, reversed_group(WordPair));
}

void WriteAnalog_bit(const RW_VAR &var) {
    const int word = shifted_right(var.reg_addr, 4);
    RW_VAR half = var;
    half.host_ref2 = 0;
    half.store_mode = read_half_of_bit_write;
    begin_rtu_request(var.station_no, ReadHoldingRegisters, var.reg_type, word);
    put_u16_high_first(PLC_driver.send_buf + quantity_at, 1);
    queue_frame(end_rtu_request(quantity_at + 2), read_reply_overhead + 2, 0, 0, half);

    half.host_ref2 = 1;
    half.store_mode = 0;
    begin_rtu_request(var.station_no, WriteSingleRegister, var.reg_type, word);
    const QByteArray incomplete(reinterpret_cast<const char *>(PLC_driver.send_buf), single_value_at);
    queue_write(incomplete + QByteArray(single_write_length - single_value_at, '\0'), half);
    expect_good_replies(2);
}

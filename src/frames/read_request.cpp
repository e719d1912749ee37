#include "frames/read_request.h"

#include "arithmetic.h"
#include "bytes.h"
#include "frame_layout.h"
#include "frames/address_map.h"
#include "frames/rtu_request.h"
#include "register_types.h"

namespace {

// How a class is read: null for the types that the planner folds into another class, and for unknown ones.
const RegisterType *readable_class(int reg_type) {
    const RegisterType *known = find_register_type(reg_type);
    return known != 0 && known->register_class == reg_type ? known : 0;
}

void queue_read(const RegisterType &known, const RW_VAR &var) {
    const bool bits = known.unit == Bit;
    const qint64 quantity = qint64(var.reg_count) * known.modbus_width;
    const qint64 data_len = bits ? shifted_right(quantity + 7, 3) : quantity * 2;

    begin_rtu_request(var.station_no, bits ? ReadCoils : ReadHoldingRegisters, var.reg_type, var.reg_addr);
    put_u16_high_first(PLC_driver.send_buf + quantity_at, low_32_bits(quantity));
    queue_frame(end_rtu_request(quantity_at + 2), low_32_bits(data_len + read_reply_overhead), reply_data_at,
                low_32_bits(data_len), var);
}

void read_in_one_frame(const RegisterType &known, const RW_VAR &var) {
    queue_read(known, var);
    expect_good_replies(1);
}

}  // namespace

void ReadRegister(const RW_VAR &var) {
    const RegisterType *known = readable_class(var.reg_type);
    if (known == 0)
        return;
    if (crosses_high_start(*known, var))
        ReadAnalog_2(var, known->high_start);
    else
        read_in_one_frame(*known, var);
}

void ReadAnalog(const RW_VAR &var) {
    const RegisterType *known = readable_class(var.reg_type);
    if (known != 0)
        read_in_one_frame(*known, var);
}

void ReadAnalog_2(const RW_VAR &var, int split) {
    const RegisterType *known = readable_class(var.reg_type);
    if (known == 0 || known->high_start == no_high_range)
        return;
    const qint64 end = qint64(var.reg_addr) + var.reg_count;
    RW_VAR part = var;
    part.reg_count = low_32_bits(qint64(split) - var.reg_addr);
    queue_read(*known, part);
    part.reg_addr = split;
    part.reg_count = low_32_bits(end - split);
    queue_read(*known, part);
    expect_good_replies(2);
}

#include "frames/address_map.h"

#include "arithmetic.h"

void Communication_Protocol::get_offset_address(int type, int &address) {
    const RegisterType *known = find_register_type(type);
    if (known == 0)
        return;
    const int base = address < known->high_start ? known->low_base : known->high_base;
    address = low_32_bits(qint64(address) * known->modbus_width + base);
}

bool crosses_high_start(const RegisterType &known, const RW_VAR &var) {
    return known.high_start != no_high_range && var.reg_addr < known.high_start &&
           qint64(var.reg_addr) + var.reg_count > known.high_start;
}

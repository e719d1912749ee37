#include "Communication_Protocol.h"
#include "arithmetic.h"
#include "register_types.h"

void Communication_Protocol::get_offset_address(int type, int &address) {
    const RegisterType *known = find_register_type(type);
    if (known == 0)
        return;
    const int base = address < known->high_start ? known->low_base : known->high_base;
    address = low_32_bits(qint64(address) * known->modbus_width + base);
}

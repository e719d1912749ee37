/// \file
/// Where the ranges of the address map meet. The map itself is Communication_Protocol::get_offset_address.
#ifndef FRAMES_ADDRESS_MAP_H
#define FRAMES_ADDRESS_MAP_H

#include "Communication_Protocol.h"
#include "register_types.h"

/// True when the units of `var` lie on both sides of the type's boundary: they are then two unrelated ranges of Modbus
/// addresses, which one request cannot read.
bool crosses_high_start(const RegisterType &known, const RW_VAR &var);

#endif

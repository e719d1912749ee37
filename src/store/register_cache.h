/// \file
/// The cache of the last known values, by station, register class and address.
#ifndef STORE_REGISTER_CACHE_H
#define STORE_REGISTER_CACHE_H

#include "Communication_Protocol.h"

/// (station << 24) | (class << 16) | address, by plain OR: an address of 65536 or more runs into the class on purpose,
/// for hosts that number their areas consecutively. A run of units has consecutive keys.
unsigned int cache_key(int station_no, int register_class, int address);

/// The key of the register that holds the bit at `bit_address`, register x 16 + bit.
unsigned int cache_key_of_bit(int station_no, int register_class, unsigned int bit_address);

/// Stores `count` bits from `bytes` at consecutive keys, each byte's least significant bit first, but no more than the
/// `available` bytes hold. The caller holds `cache_mutex`.
void store_bits(unsigned int key, const unsigned char *bytes, qint64 available, quint32 count);

/// Puts the value of a write record into the cache: bits by `reg_count`, registers by the bytes there are, for a bit in
/// a register only that bit. Bits that `value_bytes` does not hold are left as they are. A type outside 0 to 17 changes
/// nothing. Takes `cache_mutex`, which must not be held; `list_mutex` may be.
void WriteDataToLocal(const RW_VAR &var);

#endif

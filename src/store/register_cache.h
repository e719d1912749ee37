/// \file
/// The cache of the last known values, by station, register class and address.
///
/// All functions here expect `cache_mutex` to be held.
#ifndef STORE_REGISTER_CACHE_H
#define STORE_REGISTER_CACHE_H

#include <QtCore/QtGlobal>

/// (station << 24) | (class << 16) | address, by plain OR: an address of 65536 or more runs into the class on purpose,
/// as hosts that number their areas through do. A run of units has consecutive keys.
unsigned int cache_key(int station_no, int register_class, int address);

/// Stores `count` bits from `bytes` at consecutive keys, each byte's least significant bit first, but no more than the
/// `available` bytes hold.
void store_bits(unsigned int key, const unsigned char *bytes, qint64 available, quint32 count);

#endif

/// \file
/// From a validated reply into the register cache.
#ifndef STORE_REPLY_STORAGE_H
#define STORE_REPLY_STORAGE_H

#include <QtCore/QByteArray>

/// RW_VAR::store_mode of the read half of a bit write.
const int read_half_of_bit_write = -1;

/// Stores the data of `reply`, the validated answer to the head of PLC_driver.frame_list, into the cache of the head's
/// register class, or passes it to SpecialRegisterSave when the head is the read half of a bit write. Only values that
/// are completely inside the reply are stored, even if the record claims more. A null or empty reply, and a class that
/// has no cache, store nothing. The caller holds `cache_mutex`. `reply` is only read.
void SaveToLocalDataErea(QByteArray *reply);

/// Merges the bit that the head of PLC_driver.frame_list asks for into the register value in `reply` (bytes 3 and 4,
/// high byte first) and completes the frame after the head with the result and its CRC. The register does not go into
/// the cache. A reply without those bytes, or a head with no frame after it, changes nothing. Takes no lock.
void SpecialRegisterSave(const QByteArray *reply);

#endif

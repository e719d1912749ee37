/// \file
/// From a validated reply into the register cache.
#ifndef STORE_REPLY_STORAGE_H
#define STORE_REPLY_STORAGE_H

#include <QtCore/QByteArray>

/// Stores the data of `reply`, the validated answer to the head of PLC_driver.frame_list, into the cache of the
/// head's register class. Only values that lie wholly inside the reply are stored, whatever the record claims. A null
/// or empty reply, and a class that has no cache, store nothing. The caller holds `cache_mutex`. `reply` is only read.
void SaveToLocalDataErea(QByteArray *reply);

#endif

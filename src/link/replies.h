/// \file
/// From a reply to a driver return code.
#ifndef LINK_REPLIES_H
#define LINK_REPLIES_H

#include "Communication_Protocol.h"

/// Judges a reply of the local area to the head of PLC_driver.frame_list and stores its data under `cache_mutex`.
/// Returns the driver return code: 1, 11 to 22, 41 to 52 or 71 to 82.
int DealDataOfLocalArea(QByteArray *reply, int length);

/// Judges a reply of another area. Stores nothing in the cache; the read half of a bit write completes the write that
/// follows it. Returns the driver return code: 1, 100, 111 to 122, 141 to 152 or 171 to 182.
int DealDataOfRemoteArea(QByteArray *reply, int length);

/// The driver return code of a reply outcome, 0 to 7 as the table in docs/host-guide.md has them; 200 for any other.
int GetDriverReturnValue(int kind);

/// base + 1 + var_group of the head of PLC_driver.frame_list when that is 0 to 11, base + 1 otherwise and while nothing
/// is in flight.
int SwitchErrorReturn(int base);

/// Copies every field but `value_bytes`, which it leaves empty in `to`: a result record never carries data.
void passRetValue(const RW_VAR &from, RW_VAR &to);

#endif

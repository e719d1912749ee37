/// \file
/// Requests to a remote station, which accesses the controllers itself: the variable's own fields and a byte sum.
///
/// The builders append to PLC_driver.frame_list and set the host's success_count to 0 and success_limit to 1. The
/// caller holds `list_mutex` and not `cache_mutex`. Every register type is allowed, unmapped and unsplit.
#ifndef FRAMES_REMOTE_REQUEST_H
#define FRAMES_REMOTE_REQUEST_H

#include "Communication_Protocol.h"

/// Queues a read request of 22 bytes, answered by a Modbus RTU reply with the variable's data.
void Remote_ReadVar(const RW_VAR &var);

/// Queues a write request of 22 bytes and the value bytes, unchanged, and puts the value into the cache, also while the
/// link has failed. No reply is expected from station 0.
void Remote_WriteVar(const RW_VAR &var);

#endif

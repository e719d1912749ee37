/// \file
/// Modbus RTU write requests.
///
/// The builders append to PLC_driver.frame_list and set the host's success_count and success_limit. The caller holds
/// `list_mutex`, which also covers PLC_driver.send_buf, and not `cache_mutex`. They neither check nor clamp counts
/// against the value bytes: bytes that a frame has room for and the record does not hold are sent as 0.
#ifndef FRAMES_WRITE_REQUEST_H
#define FRAMES_WRITE_REQUEST_H

#include "Communication_Protocol.h"

/// Queues the write of `var` with the builder for its type and, while the link works, puts the value into the cache.
/// For a type outside 0 to 17, and for a value too long for a frame (see WriteAnalog), nothing is queued.
void WriteRegister(const RW_VAR &var);

/// Queues one frame for the whole variable; success_limit becomes 1. For types 0 to 14; any other, and a frame that
/// does not fit PLC_driver.send_buf (1024 bytes), queues nothing.
void WriteAnalog(const RW_VAR &var);

/// Queues two register writes, for the registers below `split` and from `split` on, both records naming the whole
/// variable; success_limit becomes 2. Value bytes are low byte first. Frames that do not fit queue nothing.
void WriteAnalog_2(const RW_VAR &var, int split);

/// As WriteAnalog_2, for value bytes that are high byte first already.
void WriteAnalog_3(const RW_VAR &var, int split);

/// Queues the write of one bit in a register: a read of the register, then its write with four zero bytes in place of
/// value and CRC, which the reply to the read fills in. success_limit becomes 2.
void WriteAnalog_bit(const RW_VAR &var);

#endif

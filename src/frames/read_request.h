/// \file
/// Modbus RTU read requests.
///
/// The builders append to PLC_driver.frame_list and set the host's success_count and success_limit. The caller holds
/// `list_mutex`, which also covers PLC_driver.send_buf.
#ifndef FRAMES_READ_REQUEST_H
#define FRAMES_READ_REQUEST_H

#include "Communication_Protocol.h"

/// Queues the read of one block: one frame, or two where the block crosses a boundary of the address map. For a
/// register class without a read frame (12, above 13, negative) nothing is queued.
void ReadRegister(const RW_VAR &var);

/// Queues one frame for the whole block; success_limit becomes 1.
void ReadAnalog(const RW_VAR &var);

/// Queues two frames, for the addresses below `split` and from `split` on, each record naming its own part;
/// success_limit becomes 2. Only for classes 2, 3, 7 and 8; for any other nothing is queued.
void ReadAnalog_2(const RW_VAR &var, int split);

#endif

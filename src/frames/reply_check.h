/// \file
/// Whether a reply answers the frame in flight.
#ifndef FRAMES_REPLY_CHECK_H
#define FRAMES_REPLY_CHECK_H

#include <QtCore/QByteArray>

/// What CheckGetData returns.
enum CheckResult { Rejected = 0, ValidWithData = 1, ValidNothingToStore = 2 };

/// Checks `reply` against the head of PLC_driver.frame_list: more than 4 bytes, the variable's station, in local mode
/// the request's function code, and the CRC over the reply's own size. Returns a CheckResult; nothing is to be stored
/// from the answer to a write. `len` is not used. The length that the request expects, and with it an exception reply's
/// length, is the caller's to check. A null reply or an empty frame list give 0. Takes no lock.
int CheckGetData(QByteArray *reply, int len);

#endif

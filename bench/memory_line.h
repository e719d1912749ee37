/// \file
/// A line in memory: each request is answered at once by a reply that was prepared before.
///
/// libmodbus reaches it through the system's read, write and select, which this program answers itself for the one file
/// descriptor below; a host of the driver calls the same functions directly.
#pragma once

#include <QtCore/QByteArray>

namespace bench {

/// The file descriptor that means the line; no file has it.
constexpr int memory_line_fd = 1000;

/// The answer to all requests from now on. An exchange copies it, as it copies the request.
void answer_with(const QByteArray &reply);

/// Takes a request; its answer can be read from now on.
void send_request(const void *bytes, int size);

/// Takes up to `size` bytes of the answer out of the line and returns how many.
int receive_reply(void *bytes, int size);

}  // namespace bench

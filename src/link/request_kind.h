/// \file
/// Which queue the frame in flight came from.
#ifndef LINK_REQUEST_KIND_H
#define LINK_REQUEST_KIND_H

/// Values of Communication_Protocol::last_op. Before the first request it is 100, which advances no queue.
enum RequestKind { CyclicRead = 0, WriteRequest = 1, OnceRead = 2 };

#endif

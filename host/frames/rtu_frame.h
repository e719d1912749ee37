#pragma once

#include "host/frames/trace_record.h"

#include <cstddef>
#include <cstdint>

namespace kelpo {

/// The CRC that belongs after the frame's other bytes. The frame must have room for one.
std::uint16_t crc_of(const FrameBytes &frame);

/// True for four bytes or more, if the last two are the CRC of the others.
bool crc_right(const FrameBytes &frame);

/// Two bytes, high byte first. They must be there.
int u16_at(const FrameBytes &bytes, std::size_t at);

/// `size` bytes from `from` on. They must be there.
FrameBytes part_of(const FrameBytes &bytes, std::size_t from, std::size_t size);

/// What the bytes of a Modbus RTU request say; its CRC is not checked.
struct RtuRequest {
    bool known = false;  ///< function and length are understood, so that all below the function is filled in
    int station = -1;    ///< -1: there is none
    int function = -1;
    int address = 0;
    int count = 0;             ///< 1 for a single write
    int value = 0;             ///< of a single write
    FrameBytes data;           ///< of a multiple write
    bool counts_agree = true;  ///< byte count, quantity and length of a multiple write
    std::size_t reply_size = 0;
};

RtuRequest parse_request(const FrameBytes &frame);

/// True for a frame of the remote-station format (docs/remote-format.md): its length and its sum are right. It has at
/// least 22 bytes.
bool is_remote_request(const FrameBytes &frame);

/// Bytes of a remote-station frame that come before its values.
constexpr std::size_t remote_header = 21;

/// What a good reply to a request has. -1 and 0 mean "any".
struct DueReply {
    bool known = false;  ///< there is a request
    int station = -1;
    int function = -1;
    std::size_t size = 0;
};

/// What is expected after `request`, Modbus RTU or remote-station; without bytes nothing is known.
DueReply due_after(const FrameBytes &request);

/// The size that the reply at `at` has by its own header; 0 when that is not known.
std::size_t reply_size_at(const FrameBytes &bytes, std::size_t at);

/// A whole reply with a right CRC somewhere among other bytes.
struct FoundReply {
    std::size_t at;
    std::size_t size;  ///< 0: there is none
};

/// The first reply in `bytes` that has the expected station and function, or is an exception for that function.
FoundReply find_reply(const FrameBytes &bytes, const DueReply &due);

}  // namespace kelpo

#pragma once

#include "host/frames/trace_record.h"

#include <string>

namespace kelpo {

/// A capture in the pcap format that a protocol analyser opens without further settings: each frame comes after tags
/// that name the analyser's own Modbus RTU dissector (link type 252). docs/trace.md says how to look at it.
std::string pcap_file_head();

/// The record as one packet. Requests go from 127.0.0.254 to 127.0.0.STATION, replies come back from there: the
/// station is the first byte of the frame. Notes, and replies that did not come, are packets of text; bytes thrown
/// away, and frames too short to be taken apart, packets of data.
std::string pcap_packet(const TraceRecord &record);

/// True when `file` begins as a capture does, of this or another program, in the pcap or the pcapng format.
bool is_capture_file(const std::string &file);

}  // namespace kelpo

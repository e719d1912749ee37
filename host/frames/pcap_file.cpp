// Made by hand: a file head, and a few tags for each packet. libpcap would add a dependency and save little.

#include "host/frames/pcap_file.h"

#include "common/regular_file.h"
#include "host/frames/rtu_frame.h"
#include "host/line/modbus.h"
#include "host/text/words.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

namespace kelpo {
namespace {

using Direction = TraceRecord::Direction;

// The file's own numbers are low byte first on every machine.
void put_u32(std::string &to, std::uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8)
        to += static_cast<char>(value >> shift & 0xFF);
}

void put_u16(std::string &to, unsigned value) {
    to += static_cast<char>(value & 0xFF);
    to += static_cast<char>(value >> 8 & 0xFF);
}

// The numbers of tags are high byte first, and every tag is filled up to a multiple of four bytes.
enum Tag : unsigned {
    end_of_tags = 0,
    dissector_name = 12,
    ipv4_source = 20,
    ipv4_destination = 21,
    port_type = 24,
    source_port = 25,
    destination_port = 26,
    protocol_column = 33
};

std::string high_first(std::uint32_t value) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>(value >> shift & 0xFF);
    return bytes;
}

void put_tag(std::string &to, Tag tag, std::string value) {
    value.resize((value.size() + 3) / 4 * 4, '\0');
    const auto code = static_cast<unsigned>(tag), length = static_cast<unsigned>(value.size());
    for (const unsigned number : {code, length}) {
        to += static_cast<char>(number >> 8 & 0xFF);
        to += static_cast<char>(number & 0xFF);
    }
    to += value;
}

constexpr std::uint32_t host_address = 0x7F0000FE;  // 127.0.0.254
constexpr std::uint32_t station_0_address = 0x7F000000;
constexpr std::uint32_t host_port = 40000;
constexpr std::uint32_t modbus_port = 502;
constexpr std::uint32_t tcp = 2;

// With addresses and ports the analyser can distinguish requests from replies and find the request of each reply.
std::string modbus_tags(std::uint8_t station, bool sent) {
    const std::uint32_t station_address = station_0_address + station;
    std::string tags;
    put_tag(tags, dissector_name, "mbrtu");
    put_tag(tags, ipv4_source, high_first(sent ? host_address : station_address));
    put_tag(tags, ipv4_destination, high_first(sent ? station_address : host_address));
    put_tag(tags, port_type, high_first(tcp));
    put_tag(tags, source_port, high_first(sent ? host_port : modbus_port));
    put_tag(tags, destination_port, high_first(sent ? modbus_port : host_port));
    put_tag(tags, end_of_tags, {});
    return tags;
}

std::string plain_tags(const char *dissector, const char *protocol) {
    std::string tags;
    put_tag(tags, dissector_name, dissector);
    put_tag(tags, protocol_column, protocol);
    put_tag(tags, end_of_tags, {});
    return tags;
}

std::string text_of(const FrameBytes &bytes) {
    return {bytes.begin(), bytes.end()};
}

std::string content(const TraceRecord &record) {
    constexpr const char *text = "data-text-lines", *data = "data";
    if (record.direction == Direction::note)
        return plain_tags(text, "note") + printable(record.text) + '\n';
    if (record.direction == Direction::received && record.bytes.empty())
        return plain_tags(text, "no reply") + "no reply\n";
    if (record.direction == Direction::discarded)
        return plain_tags(data, "thrown away") + text_of(record.bytes);
    if (record.direction == Direction::sent && !crc_right(record.bytes) && is_remote_request(record.bytes))
        return plain_tags(data, "remote station") + text_of(record.bytes);
    if (record.bytes.size() < modbus::shortest_frame)
        return plain_tags(data, "piece") + text_of(record.bytes);
    return modbus_tags(record.bytes.front(), record.direction == Direction::sent) + text_of(record.bytes);
}

}  // namespace

std::string pcap_file_head() {
    std::string head;
    put_u32(head, 0xA1B2C3D4);  // times in microseconds
    put_u16(head, 2);           // version 2.4
    put_u16(head, 4);
    put_u32(head, 0);      // times are UTC
    put_u32(head, 0);      // of unknown accuracy
    put_u32(head, 65535);  // longest packet
    put_u32(head, 252);    // link type: tags and a protocol's data
    return head;
}

std::string pcap_packet(const TraceRecord &record) {
    constexpr std::size_t longest = 65535;
    const std::string whole = content(record);
    const std::string kept = whole.substr(0, longest);
    const std::int64_t time = std::max<std::int64_t>(0, record.time.time_since_epoch().count());
    std::string packet;
    put_u32(packet, static_cast<std::uint32_t>(time / 1000000));
    put_u32(packet, static_cast<std::uint32_t>(time % 1000000));
    put_u32(packet, static_cast<std::uint32_t>(kept.size()));
    put_u32(packet, static_cast<std::uint32_t>(whole.size()));
    return packet + kept;
}

bool is_capture_file(const std::string &file) {
    using namespace std::string_view_literals;
    // In either order of bytes, with times in microseconds or nanoseconds.
    constexpr std::array<std::string_view, 5> heads = {"\xA1\xB2\xC3\xD4"sv, "\xD4\xC3\xB2\xA1"sv, "\xA1\xB2\x3C\x4D"sv,
                                                       "\x4D\x3C\xB2\xA1"sv, "\x0A\x0D\x0D\x0A"sv};
    return std::any_of(heads.begin(), heads.end(),
                       [&file](std::string_view head) { return common::file_starts_with(file, head); });
}

}  // namespace kelpo

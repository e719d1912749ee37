#include "host/frames/pcap_file.h"

#include <gtest/gtest.h>

namespace kelpo {
namespace {

using Direction = TraceRecord::Direction;

std::string bytes(const std::string &hex) {
    std::string result;
    for (std::size_t at = 0; at + 1 < hex.size(); at += 3)
        result += static_cast<char>(std::stoi(hex.substr(at, 2), nullptr, 16));
    return result;
}

std::string packet(Direction direction, const FrameBytes &frame, const std::string &text = {}) {
    // 1 second and 2 microseconds after the epoch.
    return pcap_packet({TraceTime(std::chrono::microseconds(1000002)), direction, frame, {}, text});
}

TEST(TracePcapFileTest, HeadOfTheFile) {
    EXPECT_EQ(pcap_file_head(), bytes("D4 C3 B2 A1 02 00 04 00 00 00 00 00 00 00 00 00 FF FF 00 00 FC 00 00 00"));
}

TEST(TracePcapFileTest, ARequestGoesFromTheHostToTheStation) {
    EXPECT_EQ(packet(Direction::sent, {0x05, 0x03, 0x23, 0x30, 0x00, 0x02, 0xCE, 0x04}),
              bytes("01 00 00 00 02 00 00 00 40 00 00 00 40 00 00 00 "
                    "00 0C 00 08 6D 62 72 74 75 00 00 00 "  // mbrtu
                    "00 14 00 04 7F 00 00 FE "              // from 127.0.0.254
                    "00 15 00 04 7F 00 00 05 "              // to 127.0.0.5
                    "00 18 00 04 00 00 00 02 "              // TCP
                    "00 19 00 04 00 00 9C 40 "              // from port 40000
                    "00 1A 00 04 00 00 01 F6 "              // to port 502
                    "00 00 00 00 05 03 23 30 00 02 CE 04"));
}

TEST(TracePcapFileTest, AReplyComesBackFromThere) {
    EXPECT_EQ(packet(Direction::received, {0x05, 0x83, 0x02, 0x81, 0x30}),
              bytes("01 00 00 00 02 00 00 00 3D 00 00 00 3D 00 00 00 "
                    "00 0C 00 08 6D 62 72 74 75 00 00 00 "
                    "00 14 00 04 7F 00 00 05 "
                    "00 15 00 04 7F 00 00 FE "
                    "00 18 00 04 00 00 00 02 "
                    "00 19 00 04 00 00 01 F6 "
                    "00 1A 00 04 00 00 9C 40 "
                    "00 00 00 00 05 83 02 81 30"));
}

TEST(TracePcapFileTest, NotesAreText) {
    EXPECT_EQ(packet(Direction::note, {}, "hm\n"),
              bytes("01 00 00 00 02 00 00 00 27 00 00 00 27 00 00 00 "
                    "00 0C 00 10 64 61 74 61 2D 74 65 78 74 2D 6C 69 6E 65 73 00 "  // data-text-lines
                    "00 21 00 04 6E 6F 74 65 "                                      // note
                    "00 00 00 00") +
                  "hm\\x0A\n");
}

TEST(TracePcapFileTest, WhatIsNoFrameIsTextOrData) {
    EXPECT_NE(packet(Direction::received, {}).find("data-text-lines"), std::string::npos);
    EXPECT_NE(packet(Direction::received, {}).find("no reply\n"), std::string::npos);
    EXPECT_NE(packet(Direction::received, {1, 2, 3}).find("piece"), std::string::npos);
    EXPECT_NE(packet(Direction::discarded, {1, 2, 3, 4, 5}).find("thrown away"), std::string::npos);
    const FrameBytes remote = {0x16, 0x03, 0x00, 0x02, 0x01, 0x00, 0x08, 0x00, 0x00, 0x00, 0x64,
                               0x00, 0x0A, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x00, 0x8E};
    EXPECT_NE(packet(Direction::sent, remote).find("remote station"), std::string::npos);
}

TEST(TracePcapFileTest, APacketIsNeverLongerThanTheHeadSays) {
    const std::string long_packet = packet(Direction::discarded, FrameBytes(70000, 0xAA));
    EXPECT_EQ(long_packet.size(), 16U + 65535U);
    EXPECT_EQ(long_packet.substr(8, 4), bytes("FF FF 00 00"));
}

}  // namespace
}  // namespace kelpo

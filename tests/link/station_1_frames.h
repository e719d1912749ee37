#ifndef STATION_1_FRAMES_H
#define STATION_1_FRAMES_H

#include <string>

/// Requests to station 1 and its replies, as they are on the line.
namespace station_1 {

inline const std::string read_100("\x01\x03\x00\x64\x00\x01\xC5\xD5", 8);
inline const std::string read_200("\x01\x03\x00\xC8\x00\x01\x05\xF4", 8);
inline const std::string read_1000("\x01\x03\x03\xE8\x00\x01\x04\x7A", 8);

/// One register, which holds 111, 222 or 333.
inline const std::string reply_111("\x01\x03\x02\x00\x6F\xF8\x68", 7);
inline const std::string reply_222("\x01\x03\x02\x00\xDE\x38\x1C", 7);
inline const std::string reply_333("\x01\x03\x02\x01\x4D\x79\xE1", 7);

/// Exception 2 to a read, and the special reply that asks to wait.
inline const std::string refusal("\x01\x83\x02\xC0\xF1", 5);
inline const std::string wait_please("\x01\x6A\x8B\x4E\xC7", 5);

}  // namespace station_1

#endif

#pragma once

#include "plc/protocol/frame.h"

#include <cstdlib>
#include <string>

/// Bytes from text such as "01 03 00 00": two hexadecimal digits for each byte, a blank between.
inline plc::Bytes hex(const std::string &text) {
    plc::Bytes bytes;
    for (std::size_t position = 0; position < text.size(); position += 3)
        bytes.push_back(static_cast<std::uint8_t>(std::strtoul(text.substr(position, 2).c_str(), nullptr, 16)));
    return bytes;
}

inline plc::Bytes joined(plc::Bytes first, const plc::Bytes &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

#include "hex_text.h"

#include <cctype>
#include <stdexcept>

namespace support {

QByteArray bytes(const std::string &text) {
    QByteArray result;
    for (std::size_t at = 0; at < text.size(); at += 3) {
        const bool digits = at + 1 < text.size() && std::isxdigit(static_cast<unsigned char>(text[at])) != 0 &&
                            std::isxdigit(static_cast<unsigned char>(text[at + 1])) != 0;
        const bool last = at + 2 == text.size();
        if (!digits || (!last && (at + 2 > text.size() || text[at + 2] != ' ')))
            throw std::invalid_argument("not hexadecimal pairs: " + text);
        result.append(static_cast<char>(std::stoi(text.substr(at, 2), nullptr, 16)));
    }
    return result;
}

std::string hex(const QByteArray &data) {
    static const char digits[] = "0123456789ABCDEF";
    std::string text;
    for (int i = 0; i < static_cast<int>(data.size()); ++i) {
        const unsigned byte = static_cast<unsigned char>(data.at(i));
        if (i > 0)
            text += ' ';
        text += digits[byte / 16];
        text += digits[byte % 16];
    }
    return text;
}

TightBytes::TightBytes(const QByteArray &data) : block(data.constBegin(), data.constEnd()) {
    block.shrink_to_fit();
}

QByteArray TightBytes::borrowed() const {
    return QByteArray::fromRawData(block.data(), static_cast<int>(block.size()));
}

}  // namespace support

/// \file
/// Bytes as tests write and read them.
#ifndef SUPPORT_HEX_TEXT_H
#define SUPPORT_HEX_TEXT_H

#include "crc.h"

#include <QtCore/QByteArray>

#include <string>
#include <vector>

namespace support {

/// The bytes of hexadecimal pairs with one blank between them ("01 03 00 64"). Anything else throws
/// std::invalid_argument: a typing mistake in a test must not be taken for a short frame.
QByteArray bytes(const std::string &text);

/// The bytes as upper-case hexadecimal pairs with one blank between them.
std::string hex(const QByteArray &data);

/// Bytes in a block of exactly their size. What `borrowed` gives has no spare byte at its end, so that a sanitizer
/// sees a read past it.
class TightBytes {
public:
    explicit TightBytes(const QByteArray &data);

    /// A byte array over the block; valid while this object exists.
    QByteArray borrowed() const;

private:
    std::vector<char> block;
};

}  // namespace support

#endif

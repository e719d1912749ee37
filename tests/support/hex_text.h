/// \file
/// Bytes as tests write and read them.
#ifndef SUPPORT_HEX_TEXT_H
#define SUPPORT_HEX_TEXT_H

#include <QtCore/QByteArray>

#include <string>
#include <vector>

namespace support {

/// The bytes of hexadecimal pairs with one blank between them ("01 03 00 64"). Anything else throws
/// std::invalid_argument: a slip of the pen in a test must not pass for a short frame.
QByteArray bytes(const std::string &text);

/// The bytes as upper-case hexadecimal pairs with one blank between them.
std::string hex(const QByteArray &data);

/// CRC-16 of Modbus RTU, bit by bit. The tests' own: it shares nothing with the driver's.
unsigned crc16(const QByteArray &data);

/// `body` with its CRC appended, low byte first. For frames made in loops; a frame that a test is about stands there
/// in full.
QByteArray with_crc(const QByteArray &body);

/// Bytes in a block of exactly their size. What `borrowed` gives has no spare byte at its end, so that a sanitizer
/// sees a read past it.
class TightBytes {
public:
    explicit TightBytes(const QByteArray &data);

    /// A byte array over the block; valid while this object lives.
    QByteArray borrowed() const;

private:
    std::vector<char> block;
};

}  // namespace support

#endif

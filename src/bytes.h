/// \file
/// Bytes put into and taken from frames and value buffers, with their order and width in the name of the verb.
#ifndef BYTES_H
#define BYTES_H

#include <QtCore/QtGlobal>

#include <QtCore/QByteArray>

/// The low 8 bits of `value` at `to`.
inline void put_u8(unsigned char *to, int value) {
    *to = static_cast<unsigned char>(static_cast<quint32>(value));
}

/// The low 16 bits of `value` at `to`, high byte first.
inline void put_u16_high_first(unsigned char *to, int value) {
    const quint32 bits = static_cast<quint32>(value);
    to[0] = static_cast<unsigned char>(bits >> 8);
    to[1] = static_cast<unsigned char>(bits);
}

/// The 32 bits of `value` at `to`, high byte first.
inline void put_u32_high_first(unsigned char *to, int value) {
    put_u16_high_first(to, static_cast<int>(static_cast<quint32>(value) >> 16));
    put_u16_high_first(to + 2, value);
}

/// The low 16 bits of `value` at `to`, low byte first.
inline void put_u16_low_first(unsigned char *to, int value) {
    const quint32 bits = static_cast<quint32>(value);
    to[0] = static_cast<unsigned char>(bits);
    to[1] = static_cast<unsigned char>(bits >> 8);
}

/// The 32 bits of `value` at `to`, low byte first.
inline void put_u32_low_first(unsigned char *to, quint32 value) {
    put_u16_low_first(to, static_cast<int>(value));
    put_u16_low_first(to + 2, static_cast<int>(value >> 16));
}

/// The two bytes at `from`, high byte first.
inline unsigned short get_u16_high_first(const unsigned char *from) {
    return static_cast<unsigned short>((from[0] << 8) | from[1]);
}

/// The two bytes at `from`, low byte first.
inline unsigned short get_u16_low_first(const unsigned char *from) {
    return static_cast<unsigned short>((from[1] << 8) | from[0]);
}

/// The four bytes at `from`, high byte first.
inline quint32 get_u32_high_first(const unsigned char *from) {
    return (static_cast<quint32>(get_u16_high_first(from)) << 16) | get_u16_high_first(from + 2);
}

/// The four bytes at `from`, low byte first.
inline quint32 get_u32_low_first(const unsigned char *from) {
    return (static_cast<quint32>(get_u16_low_first(from + 2)) << 16) | get_u16_low_first(from);
}

/// The bytes of `array` as unsigned; valid until it changes.
inline const unsigned char *unsigned_bytes(const QByteArray &array) {
    return reinterpret_cast<const unsigned char *>(array.constData());
}

/// The bytes of `array` as unsigned and writable, its own copy if it shared them; valid until it changes.
inline unsigned char *writable_bytes(QByteArray &array) {
    return reinterpret_cast<unsigned char *>(array.data());
}

#endif

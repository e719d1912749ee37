/// \file
/// Integer arithmetic that is defined for every value that a host or a line can pass.
///
/// Record fields are 32 bits wide. Sums and products of them are calculated and compared in 64 bits, and only cut to 32
/// bits where they are stored in a field; no sum overflows and no negative number is shifted.
#ifndef ARITHMETIC_H
#define ARITHMETIC_H

#include <QtCore/QtGlobal>

/// The low 32 bits of `value` as a two's complement number.
inline int low_32_bits(qint64 value) {
    return static_cast<int>(static_cast<quint32>(value));
}

/// `value` divided by 2^`bits`, rounded down even when it is negative (an arithmetic shift).
inline int shifted_right(qint64 value, int bits) {
    const qint64 divisor = qint64(1) << bits;
    return low_32_bits((value - (value & (divisor - 1))) / divisor);
}

#endif

#ifndef SUPPORT_INT_LIMITS_H
#define SUPPORT_INT_LIMITS_H

#include <limits>

namespace support {

/// The ends of the range of a record's fields.
const int int_max = std::numeric_limits<int>::max();
const int int_min = std::numeric_limits<int>::min();

}  // namespace support

#endif

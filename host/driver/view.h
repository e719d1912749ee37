#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kelpo {

/// The values of a variable, in the order of their addresses. A real number is kept as the bits of its float.
using Values = std::vector<std::int64_t>;

/// How the value bytes of a variable are read. The register type decides which fit: bits for types 0 to 6 and 15 to 17,
/// words and word pairs for 7 to 11, longs for 12 to 14.
struct View {
    enum class Unit {
        bit,                 ///< one byte, 0 or 1
        word,                ///< two bytes
        long_value,          ///< four bytes
        word_pair,           ///< two words, the high one first
        word_pair_low_first  ///< two words, the low one first
    };
    enum class Reading { unsigned_number, signed_number, hexadecimal, binary, real };

    Unit unit;
    Reading reading;

    static const View bits;
    static const View unsigned_words;
    static const View signed_words;
    static const View unsigned_longs;
    static const View signed_longs;

    bool operator==(const View &other) const {
        return unit == other.unit && reading == other.reading;
    }
    bool operator!=(const View &other) const {
        return !(*this == other);
    }
};

inline constexpr View View::bits{View::Unit::bit, View::Reading::unsigned_number};
inline constexpr View View::unsigned_words{View::Unit::word, View::Reading::unsigned_number};
inline constexpr View View::signed_words{View::Unit::word, View::Reading::signed_number};
inline constexpr View View::unsigned_longs{View::Unit::long_value, View::Reading::unsigned_number};
inline constexpr View View::signed_longs{View::Unit::long_value, View::Reading::signed_number};

/// The view that a user has not chosen: bits, or unsigned numbers of the type's own width.
View default_view(int type);

/// The view that `name` means for register type `type`; nothing when the type has no such view. Names: "bits" for bit
/// types; "unsigned", "signed", "hex", "binary" for registers of 16 and of 32 bits, "float" for those of 32 bits; and
/// for 16-bit registers, two of them taken together with the high word first, "unsigned32", "signed32", "hex32",
/// "binary32", "float", or with the low word first the same followed by "-swapped".
std::optional<View> view_named(const std::string &name, int type);

/// The names that view_named takes for `type`, with ", " between.
std::string view_names(int type);

/// Number of 16-bit registers (or bits) that one value takes: 1 or 2.
int units_per_value(const View &view);

/// The values in `bytes` (low byte first, as the driver returns them). A rest too short for a value is left out.
Values values_in(const View &view, std::string_view bytes);

/// The bytes of the values, as the driver expects them: the reverse of values_in.
std::string bytes_of(const View &view, const Values &values);

/// The values as a screen shows them: bits in a row, first bit leftmost; others with blanks between: decimal numbers,
/// 0x with all digits, 0b with all digits, or the shortest decimal text that gives the same float.
std::string text_of(const View &view, const Values &values);

/// The least and the greatest value that the view shows; nothing for real numbers.
struct ValueLimits {
    std::int64_t least, greatest;
};
std::optional<ValueLimits> limits_of(const View &view);

/// One value from what a user `typed`, as values_in would give it back: decimal, 0x or 0b in every view; real numbers
/// for floats, where 0x and 0b are the float's bits; 0, 1, on, off, true, false for bits. Nothing when the text is not
/// a number or does not fit the width (a word takes -32768 to 65535).
std::optional<std::int64_t> value_from(const View &view, const std::string &typed);

}  // namespace kelpo

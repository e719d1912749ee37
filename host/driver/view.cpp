#include "host/driver/view.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <system_error>

namespace kelpo {
namespace {

using Unit = View::Unit;
using Reading = View::Reading;

enum class Width { bit, word, long_value };

Width width_of_type(int type) {
    if (type >= 7 && type <= 11)
        return Width::word;
    return type >= 12 && type <= 14 ? Width::long_value : Width::bit;
}

struct NamedView {
    const char *name;
    Width width;
    View view;
};

constexpr NamedView named_views[] = {
    {"bits", Width::bit, View::bits},
    {"unsigned", Width::word, View::unsigned_words},
    {"signed", Width::word, View::signed_words},
    {"hex", Width::word, {Unit::word, Reading::hexadecimal}},
    {"binary", Width::word, {Unit::word, Reading::binary}},
    {"unsigned32", Width::word, {Unit::word_pair, Reading::unsigned_number}},
    {"signed32", Width::word, {Unit::word_pair, Reading::signed_number}},
    {"hex32", Width::word, {Unit::word_pair, Reading::hexadecimal}},
    {"binary32", Width::word, {Unit::word_pair, Reading::binary}},
    {"float", Width::word, {Unit::word_pair, Reading::real}},
    {"unsigned32-swapped", Width::word, {Unit::word_pair_low_first, Reading::unsigned_number}},
    {"signed32-swapped", Width::word, {Unit::word_pair_low_first, Reading::signed_number}},
    {"hex32-swapped", Width::word, {Unit::word_pair_low_first, Reading::hexadecimal}},
    {"binary32-swapped", Width::word, {Unit::word_pair_low_first, Reading::binary}},
    {"float-swapped", Width::word, {Unit::word_pair_low_first, Reading::real}},
    {"unsigned", Width::long_value, View::unsigned_longs},
    {"signed", Width::long_value, View::signed_longs},
    {"hex", Width::long_value, {Unit::long_value, Reading::hexadecimal}},
    {"binary", Width::long_value, {Unit::long_value, Reading::binary}},
    {"float", Width::long_value, {Unit::long_value, Reading::real}},
};

int bytes_per_value(const View &view) {
    switch (view.unit) {
    case Unit::bit:
        return 1;
    case Unit::word:
        return 2;
    case Unit::long_value:
    case Unit::word_pair:
    case Unit::word_pair_low_first:
        break;
    }
    return 4;
}

// Of the driver's bytes, which is the lowest, the second lowest... of the value. Two words with the low one first lie
// as a 32-bit value does. Each order is its own reverse.
constexpr std::array<int, 4> low_first{0, 1, 2, 3}, high_word_first{2, 3, 0, 1};

const std::array<int, 4> &byte_order(const View &view) {
    return view.unit == Unit::word_pair ? high_word_first : low_first;
}

std::int64_t as_read(const View &view, std::uint32_t value) {
    if (view.reading != Reading::signed_number)
        return value;
    if (view.unit == Unit::word)
        return static_cast<std::int16_t>(value);
    return static_cast<std::int32_t>(value);
}

std::string decimal_text(float number) {
    std::array<char, 64> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), number);
    return std::string(text.data(), end.ptr);
}

std::string digits(const char *prefix, std::uint32_t value, int bits_per_digit, int bits) {
    std::string text = prefix;
    for (int shift = bits - bits_per_digit; shift >= 0; shift -= bits_per_digit)
        text += "0123456789ABCDEF"[value >> shift & ((1U << bits_per_digit) - 1)];
    return text;
}

std::string text_of_one(const View &view, std::int64_t value) {
    const auto raw = static_cast<std::uint32_t>(value);
    const int bits = 8 * bytes_per_value(view);
    switch (view.reading) {
    case Reading::unsigned_number:
    case Reading::signed_number:
        break;
    case Reading::hexadecimal:
        return digits("0x", raw, 4, bits);
    case Reading::binary:
        return digits("0b", raw, 1, bits);
    case Reading::real:
        float number = 0;
        static_assert(sizeof number == sizeof raw);
        std::memcpy(&number, &raw, sizeof number);
        return decimal_text(number);
    }
    return std::to_string(value);
}

std::string lower_case(std::string_view text) {
    std::string lower(text);
    for (char &letter : lower)
        if (letter >= 'A' && letter <= 'Z')
            letter = static_cast<char>(letter - 'A' + 'a');
    return lower;
}

std::optional<std::uint32_t> bits_of_float(std::string_view text) {
    if (!text.empty() && text.front() == '+')
        text.remove_prefix(1);
    float number = 0;
    const char *end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, number);
    if (parsed.ec != std::errc() || parsed.ptr != end)
        return std::nullopt;
    std::uint32_t raw = 0;
    std::memcpy(&raw, &number, sizeof raw);
    return raw;
}

struct WholeNumber {
    std::int64_t value;
    bool has_base;  // 0x or 0b stands before the digits
};

std::optional<WholeNumber> whole_number(std::string_view text) {
    const bool negative = !text.empty() && text.front() == '-';
    if (negative || (!text.empty() && text.front() == '+'))
        text.remove_prefix(1);
    int base = 10;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'b')) {
        base = text[1] == 'x' ? 16 : 2;
        text.remove_prefix(2);
    }
    std::uint32_t size = 0;
    const char *end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, size, base);
    if (parsed.ec != std::errc() || parsed.ptr != end)
        return std::nullopt;
    return WholeNumber{negative ? -std::int64_t{size} : std::int64_t{size}, base != 10};
}

std::optional<std::int64_t> bit_from(const std::string &text) {
    if (text == "on" || text == "true")
        return 1;
    if (text == "off" || text == "false")
        return 0;
    const auto number = whole_number(text);
    if (!number || number->value < 0 || number->value > 1)
        return std::nullopt;
    return number->value;
}

}  // namespace

View default_view(int type) {
    switch (width_of_type(type)) {
    case Width::word:
        return View::unsigned_words;
    case Width::long_value:
        return View::unsigned_longs;
    case Width::bit:
        break;
    }
    return View::bits;
}

std::optional<View> view_named(const std::string &name, int type) {
    for (const NamedView &candidate : named_views)
        if (candidate.width == width_of_type(type) && name == candidate.name)
            return candidate.view;
    return std::nullopt;
}

std::string view_names(int type) {
    std::string names;
    for (const NamedView &candidate : named_views)
        if (candidate.width == width_of_type(type))
            names += (names.empty() ? "" : ", ") + std::string(candidate.name);
    return names;
}

int units_per_value(const View &view) {
    return view.unit == Unit::bit || view.unit == Unit::word ? 1 : 2;
}

Values values_in(const View &view, const QByteArray &bytes) {
    const int width = bytes_per_value(view);
    const std::array<int, 4> &order = byte_order(view);
    Values values;
    for (int first = 0; first + width <= bytes.size(); first += width) {
        std::uint32_t value = 0;
        for (int i = 0; i < width; ++i)
            value |= static_cast<std::uint32_t>(
                         static_cast<unsigned char>(bytes.at(first + order[static_cast<std::size_t>(i)])))
                     << (8 * i);
        values.push_back(as_read(view, value));
    }
    return values;
}

QByteArray bytes_of(const View &view, const Values &values) {
    const int width = bytes_per_value(view);
    const std::array<int, 4> &order = byte_order(view);
    QByteArray bytes;
    for (const std::int64_t value : values)
        for (int i = 0; i < width; ++i)
            bytes.append(static_cast<char>(value >> (8 * order[static_cast<std::size_t>(i)]) & 0xFF));
    return bytes;
}

std::string text_of(const View &view, const Values &values) {
    std::string text;
    for (const std::int64_t value : values) {
        if (view.unit != Unit::bit && !text.empty())
            text += ' ';
        text += text_of_one(view, value);
    }
    return text;
}

std::optional<std::int64_t> value_from(const View &view, const std::string &typed) {
    const std::string text = lower_case(typed);
    if (view.unit == Unit::bit)
        return bit_from(text);
    const auto number = whole_number(text);
    if (view.reading == Reading::real && (!number || !number->has_base)) {
        const auto raw = bits_of_float(text);
        return raw ? std::optional<std::int64_t>(*raw) : std::nullopt;
    }
    if (!number)
        return std::nullopt;
    const std::int64_t beyond = std::int64_t{1} << (8 * bytes_per_value(view));
    if (number->value < -beyond / 2 || number->value >= beyond)
        return std::nullopt;
    return as_read(view, static_cast<std::uint32_t>(number->value & (beyond - 1)));
}

}  // namespace kelpo

#include "host/driver/view.h"

#include "host/driver/register_types.h"
#include "host/text/words.h"

#include <fmt/format.h>

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

using TypeUnit = RegisterType::Unit;

struct NamedView {
    const char *name;
    TypeUnit unit;  // of the types that have the view
    View view;
};

constexpr NamedView named_views[] = {
    {"bits", TypeUnit::bit, View::bits},
    {"unsigned", TypeUnit::word, View::unsigned_words},
    {"signed", TypeUnit::word, View::signed_words},
    {"hex", TypeUnit::word, {Unit::word, Reading::hexadecimal}},
    {"binary", TypeUnit::word, {Unit::word, Reading::binary}},
    {"unsigned32", TypeUnit::word, {Unit::word_pair, Reading::unsigned_number}},
    {"signed32", TypeUnit::word, {Unit::word_pair, Reading::signed_number}},
    {"hex32", TypeUnit::word, {Unit::word_pair, Reading::hexadecimal}},
    {"binary32", TypeUnit::word, {Unit::word_pair, Reading::binary}},
    {"float", TypeUnit::word, {Unit::word_pair, Reading::real}},
    {"unsigned32-swapped", TypeUnit::word, {Unit::word_pair_low_first, Reading::unsigned_number}},
    {"signed32-swapped", TypeUnit::word, {Unit::word_pair_low_first, Reading::signed_number}},
    {"hex32-swapped", TypeUnit::word, {Unit::word_pair_low_first, Reading::hexadecimal}},
    {"binary32-swapped", TypeUnit::word, {Unit::word_pair_low_first, Reading::binary}},
    {"float-swapped", TypeUnit::word, {Unit::word_pair_low_first, Reading::real}},
    {"unsigned", TypeUnit::double_word, View::unsigned_longs},
    {"signed", TypeUnit::double_word, View::signed_longs},
    {"hex", TypeUnit::double_word, {Unit::long_value, Reading::hexadecimal}},
    {"binary", TypeUnit::double_word, {Unit::long_value, Reading::binary}},
    {"float", TypeUnit::double_word, {Unit::long_value, Reading::real}},
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

// Which of the driver's bytes is the lowest of the value, the second lowest, and so on. Two words with the low one
// first are ordered like a 32-bit value. Each order is its own reverse.
constexpr std::array<std::size_t, 4> low_first{0, 1, 2, 3}, high_word_first{2, 3, 0, 1};

const std::array<std::size_t, 4> &byte_order(const View &view) {
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

std::string text_of_one(const View &view, std::int64_t value) {
    const auto raw = static_cast<std::uint32_t>(value);
    const int bits = 8 * bytes_per_value(view);
    switch (view.reading) {
    case Reading::unsigned_number:
    case Reading::signed_number:
        break;
    case Reading::hexadecimal:
        return fmt::format("0x{:0{}X}", raw, bits / 4);
    case Reading::binary:
        return fmt::format("0b{:0{}b}", raw, bits);
    case Reading::real:
        float number = 0;
        static_assert(sizeof number == sizeof raw);
        std::memcpy(&number, &raw, sizeof number);
        return decimal_text(number);
    }
    return std::to_string(value);
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
    bool has_base;  // 0x or 0b comes before the digits
};

std::optional<WholeNumber> number_with_base(std::string_view text) {
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
    const auto number = number_with_base(text);
    if (!number || number->value < 0 || number->value > 1)
        return std::nullopt;
    return number->value;
}

}  // namespace

View default_view(int type) {
    switch (register_type(type).unit) {
    case TypeUnit::word:
        return View::unsigned_words;
    case TypeUnit::double_word:
        return View::unsigned_longs;
    case TypeUnit::bit:
        break;
    }
    return View::bits;
}

std::optional<View> view_named(const std::string &name, int type) {
    for (const NamedView &candidate : named_views)
        if (candidate.unit == register_type(type).unit && name == candidate.name)
            return candidate.view;
    return std::nullopt;
}

std::string view_names(int type) {
    std::string names;
    for (const NamedView &candidate : named_views)
        if (candidate.unit == register_type(type).unit)
            names += (names.empty() ? "" : ", ") + std::string(candidate.name);
    return names;
}

int units_per_value(const View &view) {
    return view.unit == Unit::bit || view.unit == Unit::word ? 1 : 2;
}

Values values_in(const View &view, std::string_view bytes) {
    const auto width = static_cast<std::size_t>(bytes_per_value(view));
    const std::array<std::size_t, 4> &order = byte_order(view);
    Values values;
    for (std::size_t first = 0; first + width <= bytes.size(); first += width) {
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < width; ++i)
            value |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[first + order[i]])) << (8 * i);
        values.push_back(as_read(view, value));
    }
    return values;
}

std::string bytes_of(const View &view, const Values &values) {
    const auto width = static_cast<std::size_t>(bytes_per_value(view));
    const std::array<std::size_t, 4> &order = byte_order(view);
    std::string bytes;
    for (const std::int64_t value : values)
        for (std::size_t i = 0; i < width; ++i)
            bytes += static_cast<char>(value >> (8 * order[i]) & 0xFF);
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

std::optional<ValueLimits> limits_of(const View &view) {
    if (view.reading == Reading::real)
        return std::nullopt;
    if (view.unit == Unit::bit)
        return ValueLimits{0, 1};
    const std::int64_t beyond = std::int64_t{1} << (8 * bytes_per_value(view));
    if (view.reading == Reading::signed_number)
        return ValueLimits{-beyond / 2, beyond / 2 - 1};
    return ValueLimits{0, beyond - 1};
}

std::optional<std::int64_t> value_from(const View &view, const std::string &typed) {
    const std::string text = lowered(typed);
    if (view.unit == Unit::bit)
        return bit_from(text);
    const auto number = number_with_base(text);
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

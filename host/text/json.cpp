#include "host/text/json.h"

#include "common/utf8_text.h"
#include "host/text/words.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <string_view>
#include <utility>

namespace kelpo {

struct Json::Value {
    nlohmann::ordered_json json;
};

namespace {

std::string dumped(const nlohmann::ordered_json &json, int indent, bool ascii_only) {
    return json.dump(indent, ' ', ascii_only, nlohmann::ordered_json::error_handler_t::replace);
}

// The library escapes the controls of ASCII. What else a terminal might obey is in strings only, and JSON has an escape
// for it as well.
std::string text_of(const nlohmann::ordered_json &json, int indent) {
    const std::string text = dumped(json, indent, false);
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0, length = 0; i < text.size(); i += length) {
        length = common::character_length(static_cast<unsigned char>(text[i]));
        const std::string_view character = std::string_view(text).substr(i, length);
        if (character == "\n" || is_printable(character)) {
            result += character;
        } else {
            const std::string in_quotation_marks = dumped(character, -1, true);
            result.append(in_quotation_marks, 1, in_quotation_marks.size() - 2);
        }
    }
    return result;
}

}  // namespace

Json Json::object() {
    return Json(std::make_unique<Value>(Value{nlohmann::ordered_json::object()}));
}

Json Json::array() {
    return Json(std::make_unique<Value>(Value{nlohmann::ordered_json::array()}));
}

Json Json::text(const std::string &text) {
    return Json(std::make_unique<Value>(Value{text}));
}

Json Json::null() {
    return Json(std::make_unique<Value>(Value{nullptr}));
}

Json::Json(std::unique_ptr<Value> value) : value_(std::move(value)) {}
Json::Json(const Json &other) : value_(std::make_unique<Value>(*other.value_)) {}
Json::Json(Json &&other) noexcept = default;
Json &Json::operator=(Json &&other) noexcept = default;
Json::~Json() = default;

Json &Json::operator=(const Json &other) {
    if (this != &other)
        value_ = std::make_unique<Value>(*other.value_);
    return *this;
}

void Json::set(const char *key, bool value) {
    value_->json[key] = value;
}

void Json::set(const char *key, int value) {
    value_->json[key] = value;
}

void Json::set(const char *key, unsigned value) {
    value_->json[key] = value;
}

void Json::set(const char *key, std::int64_t value) {
    value_->json[key] = value;
}

void Json::set(const char *key, double value) {
    value_->json[key] = value;
}

void Json::set(const char *key, const char *value) {
    value_->json[key] = value;
}

void Json::set(const char *key, const std::string &value) {
    value_->json[key] = value;
}

void Json::set(const char *key, const Json &value) {
    value_->json[key] = value.value_->json;
}

void Json::set_null(const char *key) {
    value_->json[key] = nullptr;
}

void Json::add(std::int64_t value) {
    value_->json.push_back(value);
}

void Json::add(double value) {
    value_->json.push_back(value);
}

void Json::add(const std::string &value) {
    value_->json.push_back(value);
}

void Json::add(const Json &value) {
    value_->json.push_back(value.value_->json);
}

void Json::add_null() {
    value_->json.push_back(nullptr);
}

Json Json::first() const {
    return Json(std::make_unique<Value>(Value{value_->json.front()}));
}

std::string Json::in_one_line() const {
    return text_of(value_->json, -1);
}

std::string Json::in_lines() const {
    return text_of(value_->json, 2);
}

std::optional<ReadJson> ReadJson::parsed(std::string_view text) {
    auto json = nlohmann::ordered_json::parse(text, nullptr, false);
    if (json.is_discarded())
        return std::nullopt;
    return ReadJson(Json(std::make_unique<Json::Value>(Json::Value{std::move(json)})));
}

bool ReadJson::is_object() const {
    return json_.value_->json.is_object();
}

bool ReadJson::is_array() const {
    return json_.value_->json.is_array();
}

bool ReadJson::is_text() const {
    return json_.value_->json.is_string();
}

std::vector<std::string> ReadJson::keys() const {
    std::vector<std::string> found;
    for (const auto &[key, value] : json_.value_->json.items())
        found.push_back(key);
    return found;
}

std::optional<ReadJson> ReadJson::member(const std::string &key) const {
    const auto found = json_.value_->json.find(key);
    if (found == json_.value_->json.end())
        return std::nullopt;
    return ReadJson(Json(std::make_unique<Json::Value>(Json::Value{*found})));
}

std::vector<ReadJson> ReadJson::elements() const {
    std::vector<ReadJson> found;
    for (const auto &element : json_.value_->json)
        found.push_back(ReadJson(Json(std::make_unique<Json::Value>(Json::Value{element}))));
    return found;
}

std::optional<std::string> ReadJson::word() const {
    const auto &json = json_.value_->json;
    if (json.is_string())
        return json.get<std::string>();
    if (const auto whole = whole_number())
        return std::to_string(*whole);
    if (json.is_number() || json.is_boolean())
        return json.dump();
    return std::nullopt;
}

std::optional<std::int64_t> ReadJson::whole_number() const {
    constexpr double exact = 9007199254740992;  // 2^53: every whole number up to it is a double
    const auto &json = json_.value_->json;
    if (json.is_number_integer() && !json.is_number_unsigned())
        return json.get<std::int64_t>();
    if (json.is_number_unsigned() && json.get<std::uint64_t>() <= std::uint64_t{INT64_MAX})
        return json.get<std::int64_t>();
    if (!json.is_number_float())
        return std::nullopt;
    const double number = json.get<double>();
    if (!(std::abs(number) <= exact) || std::trunc(number) != number)
        return std::nullopt;
    return static_cast<std::int64_t>(number);
}

}  // namespace kelpo

#include "host/text/json.h"

#include "common/utf8_text.h"
#include "host/text/words.h"

#include <nlohmann/json.hpp>

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

Json::Json(std::unique_ptr<Value> value) : value_(std::move(value)) {}
Json::Json(const Json &other) : value_(std::make_unique<Value>(*other.value_)) {}
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

std::string Json::in_one_line() const {
    return text_of(value_->json, -1);
}

std::string Json::in_lines() const {
    return text_of(value_->json, 2);
}

}  // namespace kelpo

#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kelpo {

/// JSON that is built for other programs: an object, an array, or what is in these. The only place that includes the
/// JSON library, which takes long to compile. Text that is not UTF-8 is written with replacement characters, and what a
/// terminal might obey as \uHHHH.
class Json {
public:
    static Json object();
    static Json array();
    static Json text(const std::string &text);
    static Json null();

    Json(const Json &other);
    Json(Json &&other) noexcept;
    Json &operator=(const Json &other);
    Json &operator=(Json &&other) noexcept;
    ~Json();

    /// Adds a member after the others; for an object only.
    void set(const char *key, bool value);
    void set(const char *key, int value);
    void set(const char *key, unsigned value);
    void set(const char *key, std::int64_t value);
    void set(const char *key, double value);
    void set(const char *key, const char *value);
    void set(const char *key, const std::string &value);
    void set(const char *key, const Json &value);
    void set_null(const char *key);

    /// Adds an element after the others; for an array only.
    void add(std::int64_t value);
    void add(double value);
    void add(const std::string &value);
    void add(const Json &value);
    void add_null();

    /// The first element; only of an array that has one.
    Json first() const;

    /// In one line, without a line end.
    std::string in_one_line() const;

    /// In lines, indented by two blanks, without a last line end.
    std::string in_lines() const;

private:
    friend class ReadJson;
    struct Value;

    explicit Json(std::unique_ptr<Value> value);

    std::unique_ptr<Value> value_;
};

/// JSON that others have written.
class ReadJson {
public:
    /// Nothing when `text` as a whole is not JSON.
    static std::optional<ReadJson> parsed(std::string_view text);

    bool is_object() const;
    bool is_array() const;
    bool is_text() const;

    /// The names of an object's members, in their order.
    std::vector<std::string> keys() const;

    /// The member of an object, if it has it.
    std::optional<ReadJson> member(const std::string &key) const;

    /// The elements of an array.
    std::vector<ReadJson> elements() const;

    /// A text as it is; a number with all of its digits, a whole one without a point; "true" or "false". Nothing for
    /// all else.
    std::optional<std::string> word() const;

    /// The number, if it is a whole one.
    std::optional<std::int64_t> whole_number() const;

private:
    explicit ReadJson(Json json) : json_(std::move(json)) {}

    Json json_;
};

}  // namespace kelpo

#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace kelpo {

/// A JSON object or array that is built for other programs. The only place that includes the JSON library, which takes
/// long to compile. Text that is not UTF-8 is written with replacement characters, and what a terminal might obey as
/// \uHHHH.
class Json {
public:
    static Json object();
    static Json array();

    Json(const Json &other);
    Json &operator=(const Json &other);
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

    /// Adds an element after the others; for an array only.
    void add(std::int64_t value);
    void add(double value);
    void add(const std::string &value);
    void add(const Json &value);
    void add_null();

    /// In one line, without a line end.
    std::string in_one_line() const;

    /// In lines, indented by two blanks, without a last line end.
    std::string in_lines() const;

private:
    struct Value;

    explicit Json(std::unique_ptr<Value> value);

    std::unique_ptr<Value> value_;
};

}  // namespace kelpo

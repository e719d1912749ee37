#pragma once

#include "host/list/poll_list.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kelpo {

class ListBuilder;

/// A table of a list file, read by its keys. What does not fit is noted, and left out.
class ListTable {
public:
    virtual ~ListTable() = default;

    /// Notes all keys but these.
    virtual void allow(const std::vector<std::string> &keys) = 0;
    virtual bool has(const char *key) const = 0;

    /// Notes what is wrong with the key, or with the whole table if it has no such key.
    virtual void refuse_key(const char *key, const std::string &what) = 0;
    virtual std::optional<std::string> text(const char *key, const std::string &example) = 0;
    virtual std::optional<std::int64_t> number(const char *key, std::int64_t low, std::int64_t high) = 0;

    /// An array of texts.
    virtual std::vector<std::string> texts(const char *key, const std::string &example) = 0;
};

/// Reads the table [site] of a list.
SiteSettings site_settings_in(ListTable &table);

/// Reads the table [mqtt]. Names of files are as they are written.
MqttSettings mqtt_settings_in(ListTable &table);

/// Notes a mistake for each variable whose name makes the same level of a topic as one before it.
void note_same_topics(const PollList &list, ListBuilder &builder);

}  // namespace kelpo

#pragma once

#include "host/driver/driver.h"
#include "host/list/list_file.h"

#include <map>
#include <string>
#include <vector>

/// Reads lists with the real driver and with files that exist in memory only.
class ListMaterial {
public:
    ListMaterial() : driver_(DRIVER_FILE) {}

    /// Files that a list may name.
    std::map<std::string, std::string> files;

    kelpo::ListReading read(const std::string &text, const std::string &file = "list.toml") const {
        const auto address_of = [this](int type, const std::string &address) {
            return driver_.number_of(type, address);
        };
        const auto content_of = [this](const std::string &path) -> kelpo::FileContent {
            const auto found = files.find(path);
            if (found == files.end())
                return {std::nullopt, "No such file or directory"};
            return {found->second, ""};
        };
        return kelpo::parse_list(text, file, kelpo::LinkSettings(), {address_of, content_of});
    }

    const kelpo::Driver &driver() const {
        return driver_;
    }

private:
    kelpo::Driver driver_;
};

inline std::vector<std::string> texts_of(const kelpo::Remarks &remarks) {
    std::vector<std::string> texts;
    for (const kelpo::Remark &remark : remarks)
        texts.push_back(kelpo::text_of(remark));
    return texts;
}

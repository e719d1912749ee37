#include "plc/text/list_file.h"

#include "common/regular_file.h"
#include "common/utf8_text.h"

#include <cstddef>
#include <stdexcept>
#include <string_view>

namespace plc {
namespace {

constexpr const char *blanks = " \t\r";
constexpr std::size_t most_mistakes = 100;

std::string without_comment(std::string_view line) {
    const std::string_view text = line.substr(0, line.find('#'));
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos)
        return std::string();
    return std::string(text.substr(first, text.find_last_not_of(blanks) - first + 1));
}

}  // namespace

void read_list(const std::string &path, const std::function<void(const std::string &)> &take, Mistakes &mistakes) {
    const common::FileContent content = common::content_of_file(path);
    if (!content.text) {
        mistakes.push_back(path + ": cannot be read: " + content.error);
        return;
    }
    const std::string_view all = *content.text;
    std::size_t found = 0;
    for (std::size_t start = 0, number = 1; start < all.size(); ++number) {
        const std::string_view line = all.substr(start, all.find('\n', start) - start);
        start += line.size() + 1;
        const std::string text = without_comment(line);
        if (text.empty())
            continue;
        try {
            take(text);
        } catch (const std::invalid_argument &refused) {
            if (++found <= most_mistakes)
                mistakes.push_back(path + ":" + std::to_string(number) + ": " + refused.what());
        }
    }
    if (found > most_mistakes)
        mistakes.push_back(path + ": and " + std::to_string(found - most_mistakes) + " more mistakes");
}

std::string shown(const std::string &text) {
    return text.empty() ? "nothing" : common::shown(text);
}

}  // namespace plc

#include "plc/text/list_file.h"

#include <cerrno>
#include <fstream>
#include <system_error>

namespace plc {
namespace {

constexpr const char *blanks = " \t\r";

std::string without_comment(const std::string &line) {
    const std::string text = line.substr(0, line.find('#'));
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos)
        return std::string();
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

[[noreturn]] void fail() {
    throw std::runtime_error("cannot be read: " + std::generic_category().message(errno));
}

}  // namespace

std::vector<ListLine> lines_of_list(const std::string &path) {
    std::ifstream file(path);
    if (!file)
        fail();
    std::vector<ListLine> lines;
    std::string line;
    for (unsigned number = 1; std::getline(file, line); ++number) {
        const std::string text = without_comment(line);
        if (!text.empty())
            lines.push_back({number, text});
    }
    if (file.bad())  // a folder can be opened, but not read
        fail();
    return lines;
}

}  // namespace plc

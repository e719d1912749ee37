#include "host/list/list_file.h"

#include "host/list/csv_list.h"
#include "host/list/toml_list.h"
#include "host/list/words.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

namespace kelpo {
namespace {

constexpr std::size_t largest_file = std::size_t{16} << 20U;

constexpr std::string_view utf8_mark = "\xEF\xBB\xBF";

bool is_utf16(std::string_view text) {
    return text.substr(0, 2) == "\xFF\xFE" || text.substr(0, 2) == "\xFE\xFF";
}

int first_line_not_utf8(std::string_view text) {
    int number = 1;
    for (std::size_t at = 0; at < text.size(); ++number) {
        const std::string_view line = text.substr(at, text.find('\n', at) - at);
        if (!is_utf8(line))
            break;
        at += line.size() + 1;
    }
    return number;
}

// The text without the mark that some programs put in front; nothing, and a mistake noted, when it is not UTF-8.
std::optional<std::string_view> as_utf8(std::string_view text, const std::string &file, ListBuilder &builder) {
    if (is_utf16(text)) {
        builder.mistake({file, 1}, "the file is in UTF-16; save it as UTF-8");
        return std::nullopt;
    }
    if (!is_utf8(text)) {
        builder.mistake({file, first_line_not_utf8(text)}, "characters that are not UTF-8; save the file as UTF-8");
        return std::nullopt;
    }
    return text.substr(0, utf8_mark.size()) == utf8_mark ? text.substr(utf8_mark.size()) : text;
}

bool ends_in_csv(const std::string &file) {
    constexpr std::string_view ending = ".csv";
    return file.size() > ending.size() && lowered(file.substr(file.size() - ending.size())) == ending;
}

std::string beside(const std::string &file, const std::string &name) {
    const std::size_t slash = file.rfind('/');
    return name.front() == '/' || slash == std::string::npos ? name : file.substr(0, slash + 1) + name;
}

void add_named_csv(const Field &name, const std::string &file, const ListSurroundings &surroundings,
                   ListBuilder &builder) {
    const std::string path = beside(file, name.text);
    const FileContent content = surroundings.content_of(path);
    if (!content.text) {
        builder.mistake({file, name.line}, "variables " + in_quotes(name.text) + " cannot be read: " + content.error +
                                               "; a CSV file beside this one");
        return;
    }
    if (const auto text = as_utf8(*content.text, path, builder))
        add_csv_variables(*text, path, builder);
}

// Of one file by line, and files in the order in which they were met: those that name others come first.
void sort_by_place(Remarks &remarks, const std::string &first_file) {
    std::stable_sort(remarks.begin(), remarks.end(), [&first_file](const Remark &one, const Remark &other) {
        const auto order = [&first_file](const Remark &remark) {
            return std::make_pair(remark.place.file != first_file, remark.place.line);
        };
        return order(one) < order(other);
    });
}

FileContent content_of(const std::string &path) {
    struct Close {
        void operator()(std::FILE *file) const {
            std::fclose(file);
        }
    };
    const std::unique_ptr<std::FILE, Close> file(std::fopen(path.c_str(), "rb"));
    if (file == nullptr)
        return {std::nullopt, std::strerror(errno)};
    std::string text;
    std::array<char, 65536> piece;
    for (std::size_t size = 1; size > 0 && text.size() <= largest_file;) {
        size = std::fread(piece.data(), 1, piece.size(), file.get());
        text.append(piece.data(), size);
    }
    if (std::ferror(file.get()) != 0)
        return {std::nullopt, std::strerror(errno)};
    if (text.size() > largest_file)
        return {std::nullopt, "it is larger than 16 MiB"};
    return {text, ""};
}

}  // namespace

bool ListReading::usable() const {
    return std::none_of(remarks.begin(), remarks.end(),
                        [](const Remark &remark) { return remark.kind == Remark::Kind::mistake; });
}

ListReading parse_list(const std::string &text, const std::string &file, const LinkSettings &defaults,
                       const ListSurroundings &surroundings) {
    ListReading reading;
    reading.list.link = defaults;
    ListBuilder builder(reading.list, reading.remarks, surroundings.address_of);
    if (const auto words = as_utf8(text, file, builder)) {
        if (ends_in_csv(file) || looks_like_csv(*words))
            add_csv_variables(*words, file, builder);
        else if (const auto csv = add_toml_list(*words, file, reading.list, builder))
            add_named_csv(*csv, file, surroundings, builder);
    }
    builder.finish();
    if (reading.list.variables.empty() && reading.usable())
        builder.mistake({file, 1},
                        "no variables; add a [[variable]] with type and address, or variables = \"FILE.csv\"");
    sort_by_place(reading.remarks, file);
    return reading;
}

ListReading load_list(const std::string &file, const LinkSettings &defaults, const DriverEntryPoints &driver) {
    const FileContent content = content_of(file);
    if (!content.text) {
        ListReading unread;
        unread.remarks.push_back(
            {Remark::Kind::mistake, {file, 0}, "cannot be read: " + content.error + "; a TOML or CSV file"});
        return unread;
    }
    const auto address_of = [&driver](int type, const std::string &text) {
        return driver.PLCAddressChangeIntef(type, QString::fromLatin1(text.data(), static_cast<int>(text.size())));
    };
    return parse_list(*content.text, file, defaults, {address_of, content_of});
}

}  // namespace kelpo

#include "host/list/list_file.h"

#include "host/list/csv_list.h"
#include "host/list/remark_text.h"
#include "host/list/service_tables.h"
#include "host/list/toml_list.h"
#include "host/text/text_encoding.h"
#include "host/text/words.h"

#include <algorithm>
#include <utility>

namespace kelpo {
namespace {

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

// Nothing, and a mistake noted, when the encoding is not known.
std::optional<std::string> as_utf8(std::string bytes, const std::string &file, ListBuilder &builder) {
    const int first_other_line = first_line_not_utf8(bytes);
    DecodedText found = decoded(std::move(bytes));
    switch (found.encoding) {
    case TextEncoding::unknown:
        builder.mistake({file, first_other_line}, "characters that are not UTF-8; save the file as UTF-8");
        return std::nullopt;
    case TextEncoding::windows_1252:
        builder.warning({file, first_other_line},
                        "characters that are not UTF-8 are taken as Windows-1252; save the file as UTF-8 to be sure");
        break;
    case TextEncoding::utf8:
    case TextEncoding::utf16:
        break;
    }
    return std::move(found.text);
}

bool ends_in_csv(const std::string &file) {
    constexpr std::string_view ending = ".csv";
    return file.size() > ending.size() && lowered(file.substr(file.size() - ending.size())) == ending;
}

std::string beside(const std::string &file, const std::string &name) {
    const std::size_t slash = file.rfind('/');
    return name.front() == '/' || slash == std::string::npos ? name : file.substr(0, slash + 1) + name;
}

void find_beside(const std::string &file, MqttSettings &mqtt) {
    for (std::string *const name : {&mqtt.password_file, &mqtt.ca, &mqtt.certificate, &mqtt.key})
        if (!name->empty())
            *name = beside(file, *name);
}

void add_named_csv(const Field &name, const std::string &file, const ListSurroundings &surroundings,
                   ListBuilder &builder) {
    const std::string path = beside(file, name.text);
    FileContent content = surroundings.content_of(path);
    if (!content.text) {
        builder.mistake({file, name.line}, "variables " + in_quotes(name.text) + " cannot be read: " + content.error +
                                               "; a CSV file beside this one");
        return;
    }
    if (const auto text = as_utf8(std::move(*content.text), path, builder))
        add_csv_variables(*text, path, builder);
}

}  // namespace

bool ListReading::usable() const {
    return std::none_of(remarks.begin(), remarks.end(),
                        [](const Remark &remark) { return remark.kind == Remark::Kind::mistake; });
}

ListReading parse_list(std::string text, const std::string &file, const LinkSettings &defaults,
                       const ListSurroundings &surroundings) {
    ListReading reading;
    reading.list.link = defaults;
    ListBuilder builder(reading.list, reading.remarks, surroundings.address_of);
    if (const auto words = as_utf8(std::move(text), file, builder)) {
        if (ends_in_csv(file) || looks_like_csv(*words))
            add_csv_variables(*words, file, builder);
        else if (const auto csv = add_toml_list(*words, file, reading.list, builder))
            add_named_csv(*csv, file, surroundings, builder);
    }
    builder.finish();
    if (reading.list.site || reading.list.mqtt)
        note_same_topics(reading.list, builder);
    if (reading.list.mqtt)
        find_beside(file, *reading.list.mqtt);
    if (reading.list.variables.empty() && reading.usable())
        builder.mistake({file, 1},
                        "no variables; add a [[variable]] with type and address, or variables = \"FILE.csv\"");
    sort_by_place(reading.remarks, file);
    return reading;
}

ListReading load_list(const std::string &file, const LinkSettings &defaults, const DriverQueries &driver) {
    FileContent content = common::content_of_file(file);
    if (!content.text) {
        ListReading unread;
        unread.remarks.push_back(
            {Remark::Kind::mistake, {file, 0}, "cannot be read: " + content.error + "; a TOML or CSV file"});
        return unread;
    }
    const auto address_of = [&driver](int type, const std::string &text) {
        return driver.number_of(type, text);
    };
    return parse_list(std::move(*content.text), file, defaults, {address_of, common::content_of_file});
}

}  // namespace kelpo

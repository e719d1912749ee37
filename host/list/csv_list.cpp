#include "host/list/csv_list.h"

#include "host/list/csv_table.h"
#include "host/text/words.h"

#include <algorithm>

namespace kelpo {
namespace {

struct Column {
    const char *name;
    std::optional<Field> VariableRow::*field;
};

const Column columns[] = {
    {"name", &VariableRow::name},       {"station", &VariableRow::station}, {"type", &VariableRow::type},
    {"address", &VariableRow::address}, {"count", &VariableRow::count},     {"view", &VariableRow::view},
    {"every-ms", &VariableRow::every},
};

std::vector<std::string> column_names() {
    std::vector<std::string> names;
    for (const Column &column : columns)
        names.emplace_back(column.name);
    return names;
}

const Column *column_named(const std::string &name) {
    const Column *const found = std::find_if(std::begin(columns), std::end(columns),
                                             [&name](const Column &column) { return name == column.name; });
    return found == std::end(columns) ? nullptr : found;
}

// What each field of a record is; null for columns that are ignored.
std::vector<const Column *> columns_of(const CsvRow &header, const std::string &file, ListBuilder &builder) {
    std::vector<const Column *> found;
    const FilePlace place{file, header.line};
    for (const std::string &title : header.fields) {
        const std::string name = lowered(title);
        const Column *column = column_named(name);
        if (column != nullptr && std::find(found.begin(), found.end(), column) != found.end()) {
            builder.mistake(place, "column " + in_quotes(name) + " is there twice; leave one of them out");
            column = nullptr;
        } else if (column == nullptr && !name.empty()) {
            const std::optional<std::string> meant = nearest(name, column_names());
            if (meant)
                builder.mistake(place, "unknown column " + in_quotes(title) + "; " + in_quotes(*meant) + " was meant");
            else
                builder.warning(place,
                                "column " + in_quotes(title) + " is ignored; known are " + listed(column_names()));
        }
        found.push_back(column);
    }
    return found;
}

bool has_needed_columns(const std::vector<const Column *> &found, const FilePlace &place, ListBuilder &builder) {
    bool complete = true;
    for (const char *const needed : {"type", "address"}) {
        if (std::find(found.begin(), found.end(), column_named(needed)) != found.end())
            continue;
        builder.mistake(place, "no column " + in_quotes(needed) +
                                   "; the first line names the columns: " + listed(column_names()));
        complete = false;
    }
    return complete;
}

}  // namespace

bool looks_like_csv(std::string_view text) {
    CsvReader reader(text.substr(0, std::min<std::size_t>(text.size(), 4096)), [](const CsvMistake &) {});
    const CsvRow *const header = reader.next();
    if (header == nullptr)
        return false;
    const auto names = [header](const char *name) {
        return std::any_of(header->fields.begin(), header->fields.end(),
                           [name](const std::string &title) { return lowered(title) == name; });
    };
    return names("type") || names("address");
}

void add_csv_variables(std::string_view text, const std::string &file, ListBuilder &builder) {
    CsvReader reader(text, [&](const CsvMistake &mistake) { builder.mistake({file, mistake.line}, mistake.text); });
    const CsvRow *const header = reader.next();
    if (header == nullptr) {
        builder.mistake({file, 1}, "nothing in it; a first line such as name,station,type,address,count,view, and a "
                                   "variable in each line below");
        return;
    }
    if (header->count > most_csv_fields) {
        builder.mistake({file, header->line}, std::to_string(header->count) + " columns; a list has at most " +
                                                  std::to_string(most_csv_fields));
        return;
    }
    const std::vector<const Column *> found = columns_of(*header, file, builder);
    if (!has_needed_columns(found, {file, header->line}, builder))
        return;
    while (const CsvRow *const record = reader.next()) {
        if (record->count > found.size()) {
            builder.mistake({file, record->line}, std::to_string(record->count) +
                                                      " fields where the first line names " +
                                                      std::to_string(found.size()) +
                                                      "; put a field with a separator in it between double quotes");
            continue;
        }
        VariableRow row{record->line, {}, {}, {}, {}, {}, {}};
        for (std::size_t field = 0; field < record->fields.size(); ++field)
            if (found[field] != nullptr && !record->fields[field].empty())
                row.*(found[field]->field) = Field{record->fields[field], record->line};
        builder.add_variable(file, row);
    }
}

}  // namespace kelpo

// Made by hand, so that each mistake is reported with its line, in any file.

#include "host/list/csv_table.h"

#include "host/text/words.h"

#include <algorithm>
#include <array>
#include <utility>

namespace kelpo {
namespace {

constexpr std::array<char, 3> separators = {',', ';', '\t'};

std::string_view line_at(std::string_view text, std::size_t from) {
    return text.substr(from, text.find_first_of("\r\n", from) - from);
}

bool is_content(std::string_view line) {
    const std::string_view words = trimmed(line);
    return !words.empty() && words.front() != '#';
}

char most_frequent_separator(std::string_view header) {
    std::array<std::size_t, separators.size()> found{};
    bool in_quotes = false;
    for (const char character : header) {
        if (character == '"')
            in_quotes = !in_quotes;
        for (std::size_t i = 0; i < separators.size() && !in_quotes; ++i)
            found[i] += character == separators[i] ? 1 : 0;
    }
    return separators[static_cast<std::size_t>(std::max_element(found.begin(), found.end()) - found.begin())];
}

char separator_of(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        const std::string_view line = line_at(text, at);
        if (is_content(line))
            return most_frequent_separator(line);
        at += line.size() + 1;
    }
    return separators[0];
}

}  // namespace

CsvReader::CsvReader(std::string_view text, OnMistake on_mistake)
    : text_(text), on_mistake_(std::move(on_mistake)), separator_(separator_of(text)) {
    const std::string first = lowered(line_at(text, 0));
    if (first.size() == 5 && first.compare(0, 4, "sep=") == 0) {
        separator_ = first[4];
        at_ = first.size();
        pass_line_end();
    }
}

const CsvRow *CsvReader::next() {
    while (at_ < text_.size())
        if (read_row())
            return &row_;
    return nullptr;
}

bool CsvReader::at_line_end() const {
    return at_ >= text_.size() || text_[at_] == '\n' || text_[at_] == '\r';
}

bool CsvReader::at_blank() const {
    return at_ < text_.size() && (text_[at_] == ' ' || (text_[at_] == '\t' && separator_ != '\t'));
}

// CRLF is one line end.
void CsvReader::pass_line_end() {
    if (at_ >= text_.size())
        return;
    at_ += text_.substr(at_, 2) == "\r\n" ? 2 : 1;
    ++line_;
}

// False when there is nothing in it.
bool CsvReader::read_row() {
    if (!is_content(line_at(text_, at_))) {
        at_ += line_at(text_, at_).size();
        pass_line_end();
        return false;
    }
    row_.line = line_;
    row_.fields.clear();
    row_.count = 0;
    read_next_field();
    while (!at_line_end()) {
        ++at_;
        read_next_field();
    }
    pass_line_end();
    return std::any_of(row_.fields.begin(), row_.fields.end(), [](const std::string &field) { return !field.empty(); });
}

void CsvReader::read_next_field() {
    std::string field = read_field();
    if (++row_.count <= most_csv_fields)
        row_.fields.push_back(std::move(field));
}

// Ends at a separator or a line end.
std::string CsvReader::read_field() {
    while (at_blank())
        ++at_;
    if (at_ < text_.size() && text_[at_] == '"')
        return read_quoted();
    return std::string(trimmed(read_plain()));
}

std::string_view CsvReader::read_plain() {
    const std::size_t begin = at_;
    while (!at_line_end() && text_[at_] != separator_)
        ++at_;
    return text_.substr(begin, at_ - begin);
}

std::string CsvReader::read_quoted() {
    const int opened = line_;
    std::string field;
    for (++at_; at_ < text_.size();) {
        if (text_[at_] == '"' && text_.substr(at_, 2) != "\"\"") {
            ++at_;
            if (!trimmed(read_plain()).empty())
                on_mistake_({line_, "text after a closing quote; a quote inside a field is doubled"});
            return field;
        }
        if (text_[at_] == '"')
            ++at_;
        if (text_[at_] == '\n')
            ++line_;
        field += text_[at_++];
    }
    on_mistake_({opened, "a quote is never closed; put \" after the field"});
    return field;
}

}  // namespace kelpo

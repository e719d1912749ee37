/// \file
/// Fuzz target: any text on its way to a terminal, a JSON object and a CSV record.
///
/// Input: the text. What must not be obeyed is decided here once more, letter by letter.
#include "common/utf8_text.h"
#include "host/engine/records.h"
#include "host/list/csv_table.h"
#include "host/poll/poll_view.h"
#include "host/text/json.h"
#include "host/text/words.h"
#include "input.h"
#include "require.h"

#include <cstdint>
#include <string>
#include <vector>

namespace {

using fuzz::require;
using namespace kelpo;

// Bytes of the letter at `at`, with its code; 0 when there is none in UTF-8.
std::size_t letter_at(const std::string &text, std::size_t at, std::uint32_t &code) {
    const auto byte = [&](std::size_t i) {
        return at + i < text.size() ? static_cast<unsigned char>(text[at + i]) : 0U;
    };
    const auto follows = [&](std::size_t i) {
        return (byte(i) & 0xC0U) == 0x80U;
    };
    code = byte(0);
    if (code < 0x80)
        return 1;
    if (code >> 5U == 6 && follows(1)) {
        code = (code & 0x1FU) << 6U | (byte(1) & 0x3FU);
        return code >= 0x80 ? 2 : 0;
    }
    if (code >> 4U == 14 && follows(1) && follows(2)) {
        code = (code & 0x0FU) << 12U | (byte(1) & 0x3FU) << 6U | (byte(2) & 0x3FU);
        return code >= 0x800 && (code < 0xD800 || code > 0xDFFF) ? 3 : 0;
    }
    if (code >> 3U == 30 && follows(1) && follows(2) && follows(3)) {
        code = (code & 7U) << 18U | (byte(1) & 0x3FU) << 12U | (byte(2) & 0x3FU) << 6U | (byte(3) & 0x3FU);
        return code >= 0x10000 && code <= 0x10FFFF ? 4 : 0;
    }
    return 0;
}

bool is_harmless(std::uint32_t code) {
    const bool control = code < 0x20 || (code >= 0x7F && code <= 0x9F);
    const bool separator = code == 0x2028 || code == 0x2029;
    const bool direction = code == 0x61C || code == 0x200E || code == 0x200F || (code >= 0x202A && code <= 0x202E) ||
                           (code >= 0x2066 && code <= 0x2069);
    return !control && !separator && !direction;
}

void require_harmless(const std::string &text, const char *what) {
    for (std::size_t i = 0, length = 0; i < text.size(); i += length) {
        std::uint32_t code = 0;
        length = letter_at(text, i, code);
        if (length == 0 || !is_harmless(code))
            fuzz::fail(std::string(what) + " holds what a terminal might obey at byte " + std::to_string(i));
    }
}

// Without the line ends of a text in lines.
std::string in_one_line(std::string text) {
    for (char &letter : text)
        if (letter == '\n')
            letter = ' ';
    return text;
}

bool was_harmless(const std::string &text) {
    for (std::size_t i = 0, length = 0; i < text.size(); i += length) {
        std::uint32_t code = 0;
        length = letter_at(text, i, code);
        if (length == 0 || !is_harmless(code) || (code >= 0x206A && code <= 0x206F))
            return false;
    }
    return true;
}

void judge_text(const std::string &text) {
    const std::string shown = printable(text);
    require_harmless(shown, "a printed text");
    require(printable(shown) == shown, "what is printable stays as it is");
    require(is_printable(text) == (shown == text), "a text that is printable is one that stays as it is");
    require(is_printable(text) == was_harmless(text), "a text is changed only where a terminal might obey it");
    require_harmless(in_quotes(text), "a quoted text");
    require(in_quotes(text).size() <= 80, "a quoted text is short");
}

void judge_json(const std::string &text) {
    Json object = Json::object();
    object.set("text", text);
    require_harmless(object.in_one_line(), "a JSON object in one line");
    require_harmless(in_one_line(object.in_lines()), "a JSON object in lines");
}

void judge_records(const std::string &text) {
    const Variable variable{text, 1, 7, text, 1, View::signed_words};
    VariableState state;
    state.bytes = "\xFB\xFF";
    for (const RecordFormat format : {RecordFormat::plain, RecordFormat::csv, RecordFormat::json}) {
        std::string record = value_record(format, RecordTime(), variable, state);
        require(record.back() == '\n', "a record ends its line");
        record.pop_back();
        require_harmless(record, "a record");
        if (format != RecordFormat::csv)
            continue;
        const std::string table = "a,b,c,d,e,f,g,h,i,j\n" + record;
        CsvReader reader(table, [](const CsvMistake &) { require(false, "a CSV record is well formed"); });
        require(reader.next() != nullptr, "a CSV record comes after the head");
        const CsvRow *const row = reader.next();
        require(row != nullptr, "a CSV record is a row");
        const std::vector<std::string> fields = row->fields;
        require(reader.next() == nullptr, "a CSV record is one row");
        require(fields.size() == 10 && fields[7] == "-5", "a CSV record has ten fields, and a number stays one");
        require(fields[2].empty() || std::string("=@").find(fields[2][0]) == std::string::npos,
                "no field is a formula");
    }
}

void judge_screen(const std::string &text) {
    PollModel model;
    model.title = text;
    model.message = text;
    model.prompt = PollModel::Prompt{text, text};
    model.trace = {{text, true}};
    for (const ScreenLine &line : poll_screen(model, {80, 24}).lines)
        for (const TextSpan &span : line)
            require_harmless(span.text, "the screen");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::string text = input.rest();
    judge_text(text);
    judge_json(text);
    judge_records(text);
    judge_screen(text);
    return 0;
}

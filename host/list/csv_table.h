#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace kelpo {

/// One record of a CSV file.
struct CsvRow {
    int line;                         ///< where it begins, from 1
    std::vector<std::string> fields;  ///< the first thousand of them
    std::size_t count;                ///< of its fields
};

/// More fields of a record than this are only counted.
constexpr std::size_t most_csv_fields = 1000;

/// What is wrong with the form of a CSV file.
struct CsvMistake {
    int line;
    std::string text;
};

/// Cuts CSV text into records: fields are separated by comma, semicolon or tab, whichever is most frequent in the first
/// record, or as a first line "sep=;" says; fields in double quotes may hold anything, a quote doubled; lines end with
/// LF, CRLF or CR. Blanks around fields outside quotes are dropped. Records without content, and those that begin with
/// #, are left out.
class CsvReader {
public:
    using OnMistake = std::function<void(const CsvMistake &)>;

    /// `text` must outlive the reader, which tells `on_mistake` what is wrong with a record before it returns it.
    CsvReader(std::string_view text, OnMistake on_mistake);

    /// The next record, valid until the next call; null at the end. The first is the header.
    const CsvRow *next();

private:
    bool at_line_end() const;
    bool at_blank() const;
    void pass_line_end();
    bool read_row();
    void read_next_field();
    std::string read_field();
    std::string_view read_plain();
    std::string read_quoted();

    std::string_view text_;
    OnMistake on_mistake_;
    char separator_;
    int line_ = 1;
    std::size_t at_ = 0;
    CsvRow row_{0, {}, 0};
};

}  // namespace kelpo

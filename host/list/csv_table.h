#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kelpo {

/// One record of a CSV file.
struct CsvRow {
    int line;  ///< where it begins, from 1
    std::vector<std::string> fields;
};

/// What is wrong with the form of a CSV file.
struct CsvMistake {
    int line;
    std::string text;
};

struct CsvTable {
    std::vector<CsvRow> rows;  ///< the first is the header
    std::vector<CsvMistake> mistakes;
};

/// Cuts CSV text into records: fields are separated by comma, semicolon or tab, whichever is most frequent in the first
/// record, or as a first line "sep=;" says; fields in double quotes may hold anything, a quote doubled; lines end with
/// LF, CRLF or CR. Blanks around fields outside quotes are dropped. Records without content, and those that begin with
/// #, are left out.
CsvTable csv_table(std::string_view text);

}  // namespace kelpo

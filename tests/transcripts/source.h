/// \file
/// A transcript's text as statements.
#ifndef TRANSCRIPTS_SOURCE_H
#define TRANSCRIPTS_SOURCE_H

#include <istream>
#include <string>
#include <vector>

namespace transcripts {

/// A line, without its indent, its remark and trailing blanks.
struct Line {
    int number;
    std::string text;
};

/// "verb: text" and the indented lines below it.
struct Statement {
    int line;
    std::string verb;
    std::string text;
    std::vector<Line> more;

    /// The text and the indented lines as one text.
    std::string joined() const;

    /// The text, unless it is empty, and each indented line, as the items of a list.
    std::vector<Line> items() const;
};

/// Reads all of `text`. Throws Malformed for a line that is not a statement, and for a transcript that does not begin
/// with at least two lines of prose or has no statement.
std::vector<Statement> read_statements(std::istream &text);

}  // namespace transcripts

#endif

#include "source.h"

#include "words.h"

namespace transcripts {

namespace {

const int least_prose = 2;

std::string without_remark(const std::string &line) {
    const std::size_t remark = line.find(" <- ");
    std::string text = line.substr(0, remark);
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

Statement statement_of(int number, const std::string &text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos)
        throw Malformed(number, "not a statement: a verb ends in a colon");
    if (colon + 1 < text.size() && text[colon + 1] != ' ')
        throw Malformed(number, "no blank after the colon");
    const std::size_t begin = text.find_first_not_of(' ', colon + 1);
    return {number, text.substr(0, colon), begin == std::string::npos ? std::string() : text.substr(begin), {}};
}

}  // namespace

std::string Statement::joined() const {
    std::string all = text;
    for (const Line &below : more)
        all += (all.empty() ? "" : " ") + below.text;
    return all;
}

std::vector<Line> Statement::items() const {
    std::vector<Line> all;
    if (!text.empty())
        all.push_back({line, text});
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

std::vector<Statement> read_statements(std::istream &text) {
    std::vector<Statement> statements;
    std::string raw;
    int number = 0;
    int prose = 0;
    while (std::getline(text, raw)) {
        ++number;
        if (raw.find('\t') != std::string::npos || raw.find('\r') != std::string::npos)
            throw Malformed(number, "a tab or a carriage return");
        if (!raw.empty() && raw[0] == '#') {
            if (statements.empty() && raw.size() > 2)
                ++prose;
            continue;
        }
        const std::string line = without_remark(raw);
        if (line.empty())
            continue;
        if (prose < least_prose)
            throw Malformed(number, "the transcript does not begin with prose");
        if (line[0] != ' ')
            statements.push_back(statement_of(number, line));
        else if (statements.empty())
            throw Malformed(number, "an indented line without a statement above it");
        else
            statements.back().more.push_back({number, line.substr(line.find_first_not_of(' '))});
    }
    if (statements.empty())
        throw Malformed(number, "the transcript has no statement");
    return statements;
}

}  // namespace transcripts

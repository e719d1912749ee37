/// \file
/// One line of a transcript, word by word.
#ifndef TRANSCRIPTS_WORDS_H
#define TRANSCRIPTS_WORDS_H

#include <QtCore/QByteArray>

#include <stdexcept>
#include <string>
#include <vector>

namespace transcripts {

/// A line that is not in the language. The whole transcript fails because of it.
class Malformed : public std::runtime_error {
public:
    Malformed(int line_number, const std::string &why) : std::runtime_error(why), line(line_number) {}

    const int line;
};

/// The words of a text, separated by blanks. A comma after a word is punctuation. A word in double quotes may be
/// empty and may hold blanks. Every operation that does not find what it expects throws Malformed.
class Words {
public:
    Words(int line, const std::string &text);

    bool done() const;

    /// True when the next word is `word`, without quotes.
    bool next_is(const std::string &word) const;

    /// The next word, whatever it is.
    std::string take();

    /// Skips the next word, which must be `word`.
    void take(const std::string &word);

    /// The next word as a decimal int.
    int number();

    /// The hexadecimal pairs that follow, up to the first other word; the word "none" means no bytes.
    QByteArray data();

    /// Nothing may be left.
    void end() const;

    [[noreturn]] void refuse(const std::string &why) const;

private:
    struct Word {
        std::string text;
        bool quoted;
    };

    bool next_is_pair() const;

    int line_number;
    std::vector<Word> words;
    std::size_t at;
};

/// The int that `word` is, in decimal digits with an optional minus sign and nothing else.
int decimal(int line, const std::string &word);

/// The bytes of hexadecimal pairs with one blank between them.
QByteArray hex_pairs(int line, const std::string &text);

}  // namespace transcripts

#endif

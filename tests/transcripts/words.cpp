#include "words.h"

#include "hex_text.h"

#include <cctype>
#include <charconv>

namespace transcripts {

Words::Words(int line, const std::string &text) : line_number(line), words(), at(0) {
    std::size_t i = 0;
    while (i < text.size()) {
        if (text[i] == ' ') {
            ++i;
            continue;
        }
        Word word = {std::string(), text[i] == '"'};
        if (word.quoted) {
            const std::size_t closing = text.find('"', i + 1);
            if (closing == std::string::npos)
                refuse("a quote that is not closed");
            word.text = text.substr(i + 1, closing - i - 1);
            i = closing + 1;
            if (i < text.size() && text[i] == ',')
                ++i;
            if (i < text.size() && text[i] != ' ')
                refuse("no blank after a closing quote");
        } else {
            const std::size_t blank = std::min(text.find(' ', i), text.size());
            word.text = text.substr(i, blank - i);
            i = blank;
            if (word.text.back() == ',')
                word.text.pop_back();
            if (word.text.empty())
                refuse("a comma without a word");
        }
        words.push_back(word);
    }
}

bool Words::done() const {
    return at == words.size();
}

bool Words::next_is(const std::string &word) const {
    return !done() && !words[at].quoted && words[at].text == word;
}

std::string Words::take() {
    if (done())
        refuse("the line ends too early");
    return words[at++].text;
}

void Words::take(const std::string &word) {
    if (!next_is(word))
        refuse("\"" + word + "\" should be " + (done() ? "at the end" : "before \"" + words[at].text + "\""));
    ++at;
}

int Words::number() {
    return decimal(line_number, take());
}

bool Words::next_is_pair() const {
    if (done() || words[at].quoted || words[at].text.size() != 2)
        return false;
    const std::string &text = words[at].text;
    return std::isxdigit(static_cast<unsigned char>(text[0])) != 0 &&
           std::isxdigit(static_cast<unsigned char>(text[1])) != 0;
}

QByteArray Words::data() {
    if (next_is("none")) {
        ++at;
        return QByteArray();
    }
    if (!next_is_pair())
        refuse("not bytes");
    QByteArray result;
    while (next_is_pair())
        result.append(hex_pairs(line_number, take()));
    return result;
}

void Words::end() const {
    if (!done())
        refuse("unknown: \"" + words[at].text + "\"");
}

void Words::refuse(const std::string &why) const {
    throw Malformed(line_number, why);
}

int decimal(int line, const std::string &word) {
    int value = 0;
    const char *const last = word.data() + word.size();
    const std::from_chars_result result = std::from_chars(word.data(), last, value);
    if (result.ec != std::errc() || result.ptr != last)
        throw Malformed(line, "not a number: \"" + word + "\"");
    return value;
}

QByteArray hex_pairs(int line, const std::string &text) {
    try {
        return support::bytes(text);
    } catch (const std::invalid_argument &error) {
        throw Malformed(line, error.what());
    }
}

}  // namespace transcripts

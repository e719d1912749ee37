#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <optional>
#include <string>

namespace kelpo {

/// The answers to writes with an id, so that one that comes again is not carried out again: the last `most` of them.
class AnswerBook {
public:
    explicit AnswerBook(std::size_t most = 1000) : most_(most) {}

    enum class State {
        is_new,   ///< came for the first time: it is to be answered
        waits,    ///< came before, and has no answer yet: it gets the same
        answered  ///< came before: answer() says what it was answered
    };

    /// A write with this key has come.
    State note(const std::string &key);

    /// The answer to it.
    std::string answer(const std::string &key) const;

    /// It was answered. Returns how often the answer is due: once for each time that it has come.
    int set_answer(const std::string &key, const std::string &answer);

private:
    struct Entry {
        int times = 0;  // that it has come without an answer
        std::optional<std::string> answer{};
    };

    const std::size_t most_;
    std::map<std::string, Entry> entries_;
    std::deque<std::string> order_;  // the oldest first
};

}  // namespace kelpo

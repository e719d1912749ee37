#include "host/serve/answer_book.h"

#include <utility>

namespace kelpo {

AnswerBook::State AnswerBook::note(const std::string &key) {
    const auto [found, is_new] = entries_.insert({key, {}});
    if (found->second.answer)
        return State::answered;
    ++found->second.times;
    if (!is_new)
        return State::waits;
    order_.push_back(key);
    if (order_.size() > most_) {
        entries_.erase(order_.front());
        order_.pop_front();
    }
    return State::is_new;
}

std::string AnswerBook::answer(const std::string &key) const {
    const auto found = entries_.find(key);
    return found == entries_.end() ? std::string() : found->second.answer.value_or("");
}

int AnswerBook::set_answer(const std::string &key, const std::string &answer) {
    const auto found = entries_.find(key);
    if (found == entries_.end())
        return 1;
    found->second.answer = answer;
    return std::exchange(found->second.times, 0);
}

}  // namespace kelpo

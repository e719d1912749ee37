#include "host/board/board.h"

#include <algorithm>
#include <utility>

namespace kelpo {

Board::Board(const Limits &limits) : events_{limits.events}, answers_{limits.answers} {}

void Board::put(const std::string &topic, std::string payload) {
    const std::lock_guard<std::mutex> locked(mutex_);
    const auto [found, is_new] = topics_.insert({topic, {}});
    if (!is_new)
        for (Follower *follower : followers_)
            if (found->second.number > follower->taken_newest_)
                ++follower->left_out_;
    found->second.payload = std::move(payload);
    renumber(found);
    notify_followers();
}

void Board::put_last(const std::string &topic) {
    const std::lock_guard<std::mutex> locked(mutex_);
    const auto found = topics_.find(topic);
    if (found == topics_.end())
        return;
    renumber(found);
    notify_followers();
}

void Board::renumber(Topics::iterator topic) {
    order_.erase(topic->second.number);
    topic->second.number = ++last_number_;
    order_[topic->second.number] = topic;
}

void Board::add_event(const std::string &topic, std::string payload) {
    add(events_, &Follower::seen_events_, {topic, std::move(payload), BoardMessage::Kind::event});
}

void Board::add_removal(const std::string &topic) {
    add(events_, &Follower::seen_events_, {topic, {}, BoardMessage::Kind::removal});
}

void Board::add_answer(const std::string &topic, std::string payload) {
    add(answers_, &Follower::seen_answers_, {topic, std::move(payload), BoardMessage::Kind::answer});
}

void Board::add(Ring &ring, std::uint64_t Follower::*seen, BoardMessage message) {
    const std::lock_guard<std::mutex> locked(mutex_);
    ring.messages.push_back({++last_number_, std::move(message)});
    if (ring.messages.size() > ring.most) {
        for (Follower *follower : followers_)
            if (ring.messages.front().number > follower->*seen)
                ++follower->left_out_;
        ring.messages.pop_front();
    }
    notify_followers();
}

void Board::notify_followers() {
    for (const Follower *follower : followers_)
        follower->on_news_();
}

const Board::Numbered *Board::next_of(const Ring &ring, std::uint64_t seen) {
    const auto next = std::upper_bound(ring.messages.begin(), ring.messages.end(), seen,
                                       [](std::uint64_t number, const Numbered &one) { return number < one.number; });
    return next == ring.messages.end() ? nullptr : &*next;
}

Board::Follower::Follower(Board &board, std::function<void()> on_news) : board_(board), on_news_(std::move(on_news)) {
    const std::lock_guard<std::mutex> locked(board_.mutex_);
    board_.followers_.insert(this);
}

Board::Follower::~Follower() {
    const std::lock_guard<std::mutex> locked(board_.mutex_);
    board_.followers_.erase(this);
}

std::vector<BoardMessage> Board::Follower::take(std::size_t most) {
    const std::lock_guard<std::mutex> locked(board_.mutex_);
    std::vector<BoardMessage> taken;
    while (taken.size() < most) {
        const auto newest = board_.order_.upper_bound(seen_newest_);
        const Numbered *const event = next_of(board_.events_, seen_events_);
        const Numbered *const answer = next_of(board_.answers_, seen_answers_);
        // What is less than all others was put first.
        const std::uint64_t none = board_.last_number_ + 1;
        const std::uint64_t of_newest = newest == board_.order_.end() ? none : newest->first;
        const std::uint64_t of_event = event == nullptr ? none : event->number;
        const std::uint64_t of_answer = answer == nullptr ? none : answer->number;
        const std::uint64_t first = std::min({of_newest, of_event, of_answer});
        if (first == none)
            break;
        if (first == of_newest) {
            seen_newest_ = first;
            taken_newest_ = std::max(taken_newest_, first);
            taken.push_back({newest->second->first, newest->second->second.payload, BoardMessage::Kind::newest});
        } else if (first == of_event) {
            seen_events_ = first;
            taken.push_back(event->message);
        } else {
            seen_answers_ = first;
            taken.push_back(answer->message);
        }
    }
    return taken;
}

void Board::Follower::begin_again() {
    const std::lock_guard<std::mutex> locked(board_.mutex_);
    seen_newest_ = 0;
}

bool Board::Follower::has_all() const {
    const std::lock_guard<std::mutex> locked(board_.mutex_);
    return board_.order_.upper_bound(seen_newest_) == board_.order_.end() &&
           next_of(board_.events_, seen_events_) == nullptr && next_of(board_.answers_, seen_answers_) == nullptr;
}

std::uint64_t Board::Follower::left_out() const {
    const std::lock_guard<std::mutex> locked(board_.mutex_);
    return left_out_;
}

}  // namespace kelpo

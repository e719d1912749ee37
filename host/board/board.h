#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace kelpo {

/// A message for everyone who wants to know about a line.
struct BoardMessage {
    enum class Kind {
        newest,   ///< what is true of its topic until the next message
        removal,  ///< the topic is no longer there; without a payload
        event,    ///< something that happened
        answer    ///< the same, and somebody waits for it
    };

    std::string topic;
    std::string payload;
    Kind kind;
};

/// The newest message of each topic, and the last events and answers. Whoever has something to say puts it here; any
/// number of followers, each in a thread of its own, carry it on. One that is slow or away gets the newest message of
/// each topic when it is back, so that what waits is bounded, and nothing old comes after something new.
class Board {
public:
    /// How many events and answers are kept for followers that are slow. The oldest fall out.
    struct Limits {
        std::size_t events = 1000;
        std::size_t answers = 10000;
    };

    explicit Board(const Limits &limits);
    Board() : Board(Limits()) {}

    /// The newest message of the topic from now on.
    void put(const std::string &topic, std::string payload);

    /// The topic's message comes after all others for those who have not taken it, or begin again.
    void put_last(const std::string &topic);

    void add_event(const std::string &topic, std::string payload);

    /// A topic that is not on the board, but may be where its messages are carried to, is to be removed there. Kept as
    /// an event is.
    void add_removal(const std::string &topic);
    void add_answer(const std::string &topic, std::string payload);

    /// Reads a board. For one thread.
    class Follower {
    public:
        /// `on_news` is called from any thread, must be quick, and must not use the board. The board must outlive the
        /// follower.
        Follower(Board &board, std::function<void()> on_news);
        ~Follower();
        Follower(const Follower &) = delete;
        Follower &operator=(const Follower &) = delete;

        /// The messages that were not taken yet, oldest first, `most` of them at most.
        std::vector<BoardMessage> take(std::size_t most);

        /// From now on take() gives the newest message of every topic once more. Events and answers are not repeated.
        void begin_again();

        /// True when take() has nothing to give.
        bool has_all() const;

        /// Messages that this follower never took, since there was a newer one of the topic, or too many of them.
        std::uint64_t left_out() const;

    private:
        friend class Board;

        Board &board_;
        const std::function<void()> on_news_;
        std::uint64_t seen_newest_ = 0, seen_events_ = 0, seen_answers_ = 0;
        std::uint64_t taken_newest_ = 0;  // as seen_newest_, but not reset
        std::uint64_t left_out_ = 0;
    };

private:
    struct Entry {
        std::string payload;
        std::uint64_t number;
    };
    using Topics = std::map<std::string, Entry>;
    struct Numbered {
        std::uint64_t number;
        BoardMessage message;
    };
    struct Ring {
        std::size_t most;
        std::deque<Numbered> messages{};
    };

    void renumber(Topics::iterator topic);
    void add(Ring &ring, std::uint64_t Follower::*seen, BoardMessage message);
    void notify_followers();
    static const Numbered *next_of(const Ring &ring, std::uint64_t seen);

    mutable std::mutex mutex_;  // guards all below, and what followers have seen
    std::uint64_t last_number_ = 0;
    Topics topics_;
    std::map<std::uint64_t, Topics::iterator> order_;  // by the number of the newest message
    Ring events_, answers_;
    std::set<Follower *> followers_;
};

}  // namespace kelpo

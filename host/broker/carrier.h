#pragma once

#include "host/board/board.h"
#include "host/broker/broker_connection.h"
#include "host/link/growing_pause.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace kelpo {

/// How a board is carried to a broker.
struct CarrierSettings {
    std::vector<BrokerAddress> brokers;  ///< at least one
    int window = 100;                    ///< most messages that are not acknowledged
    std::string status_topic;            ///< of the board: comes after all else when a connection begins
    std::chrono::milliseconds first_pause{250}, longest_pause{10000};
    std::chrono::milliseconds patience{10000};  ///< with a broker that does not connect, or acknowledges nothing
};

/// How it goes.
struct CarrierState {
    bool is_connected = false;
    std::string broker;           ///< the one that is connected, or was tried last
    std::string why;              ///< it is not connected
    std::uint64_t published = 0;  ///< messages that a broker has acknowledged
    std::uint64_t left_out = 0;   ///< as Board::Follower says, and what was too large for a broker
    std::uint64_t connects = 0;   ///< how often a broker has let it in
};

/// Carries a board to the first of several brokers that works. After each connect the whole board is published again,
/// each topic retained, and what happens after that as it comes. While there is no broker, the board keeps the newest
/// message of each topic. Events and answers are published until a broker has acknowledged them.
class Carrier : private BrokerConnection::Listener {
public:
    /// What others have published. From a thread of its own; must be quick.
    using Receive = std::function<void(ReceivedMessage)>;
    /// A change of the connection, in words.
    using Report = std::function<void(const std::string &text)>;

    /// Begins at once. The board must outlive the carrier.
    Carrier(Board &board, CarrierSettings settings, ConnectToBroker connect, Receive receive, Report report);
    ~Carrier() override;
    Carrier(const Carrier &) = delete;
    Carrier &operator=(const Carrier &) = delete;

    CarrierState state() const;

    /// How often the carrier's thread has looked around: it moves while this grows, about once a second.
    std::uint64_t pulse() const {
        return pulse_;
    }

    /// Publishes what is on the board, says goodbye to the broker, and ends; after `patience` without all of it. True
    /// when all was acknowledged.
    bool finish(std::chrono::milliseconds patience);

private:
    using Clock = std::chrono::steady_clock;
    using Lock = std::unique_lock<std::mutex>;
    enum class Link { none, connecting, connected, ended };

    void connected() override;
    void disconnected(const std::string &why, bool is_replaced) override;
    void acknowledged(int number) override;
    void received(ReceivedMessage message) override;
    void remark(const std::string &text) override;

    void run();
    void try_broker(const BrokerAddress &broker);
    bool wait_for_connection(Lock &lock);
    void follow(Lock &lock);
    void publish_waiting();
    bool is_late(Clock::time_point now) const;
    void end_connection(Lock &lock);
    void pause(std::chrono::milliseconds time);
    bool take_from_board();
    void wake();

    const CarrierSettings settings_;
    const ConnectToBroker connect_;
    const Receive receive_;
    const Report report_;
    Board &board_;
    Board::Follower follower_;
    std::atomic<std::uint64_t> pulse_{0};
    GrowingPause pauses_;
    std::chrono::milliseconds last_pause_{0};
    std::unique_ptr<BrokerConnection> connection_;  // of the carrier's thread
    std::deque<BoardMessage> waiting_;              // taken from the board, of the carrier's thread

    mutable std::mutex mutex_;  // guards all below; never held while the board is used
    std::condition_variable changed_;
    bool has_news_ = false, stops_ = false, drains_ = false, is_drained_ = false;
    Link link_ = Link::none;
    bool is_replaced_ = false;
    std::map<int, BoardMessage> in_flight_;  // by number
    Clock::time_point last_sign_{};          // of the broker, while something is in flight
    CarrierState state_;
    std::thread thread_;
};

}  // namespace kelpo

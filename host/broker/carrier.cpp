#include "host/broker/carrier.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace kelpo {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds longest_wait{1000};  // until the carrier looks around
constexpr std::size_t most_at_once = 64;

}  // namespace

Carrier::Carrier(Board &board, CarrierSettings settings, ConnectToBroker connect, Receive receive, Report report)
    : settings_(std::move(settings)), connect_(std::move(connect)), receive_(std::move(receive)),
      report_(std::move(report)), board_(board), follower_(board, [this] { wake(); }),
      pauses_(settings_.first_pause, settings_.longest_pause), thread_([this] { run(); }) {}

Carrier::~Carrier() {
    {
        const Lock lock(mutex_);
        stops_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

CarrierState Carrier::state() const {
    const std::uint64_t left_out = follower_.left_out();
    const Lock lock(mutex_);
    CarrierState state = state_;
    state.left_out += left_out;
    return state;
}

bool Carrier::finish(milliseconds patience) {
    Lock lock(mutex_);
    drains_ = true;
    changed_.notify_all();
    changed_.wait_for(lock, patience, [this] { return is_drained_ || link_ != Link::connected; });
    stops_ = true;
    changed_.notify_all();
    return is_drained_;
}

void Carrier::wake() {
    const Lock lock(mutex_);
    has_news_ = true;
    changed_.notify_all();
}

void Carrier::connected() {
    const Lock lock(mutex_);
    link_ = Link::connected;
    changed_.notify_all();
}

void Carrier::disconnected(const std::string &why, bool is_replaced) {
    const Lock lock(mutex_);
    link_ = Link::ended;
    is_replaced_ = is_replaced;
    state_.why = why;
    changed_.notify_all();
}

void Carrier::acknowledged(int number) {
    const Lock lock(mutex_);
    if (in_flight_.erase(number) == 0)
        return;
    ++state_.published;
    last_sign_ = Clock::now();
    changed_.notify_all();
}

void Carrier::received(ReceivedMessage message) {
    receive_(std::move(message));
}

void Carrier::remark(const std::string &text) {
    report_(text);
}

void Carrier::run() {
    for (std::size_t next = 0;; next = (next + 1) % settings_.brokers.size()) {
        try_broker(settings_.brokers[next]);
        {
            const Lock lock(mutex_);
            if (stops_)
                return;
        }
        pause(pauses_.by_chance(last_pause_));
    }
}

void Carrier::try_broker(const BrokerAddress &broker) {
    Lock lock(mutex_);
    state_.broker = broker.text();
    link_ = Link::connecting;
    is_replaced_ = false;
    lock.unlock();
    try {
        connection_ = connect_(broker, *this);
    } catch (const std::exception &error) {
        disconnected(error.what(), false);
    }
    lock.lock();
    const std::uint64_t published_before = state_.published;
    const bool was_in = wait_for_connection(lock);
    if (was_in) {
        state_.is_connected = true;
        ++state_.connects;
        lock.unlock();
        report_("connected to " + broker.text());
        follower_.begin_again();
        board_.put_last(settings_.status_topic);
        lock.lock();
        last_sign_ = Clock::now();
        follow(lock);
    }
    // A broker that takes nothing is no better than one that is away.
    const bool first_loss = state_.published > published_before || last_pause_ == milliseconds(0);
    const std::string text = "broker " + broker.text() + (was_in ? " lost: " : " not reached: ") + state_.why;
    const bool is_said = !stops_;
    last_pause_ = is_replaced_ ? settings_.longest_pause : first_loss ? pauses_.first() : pauses_.after(last_pause_);
    end_connection(lock);
    lock.unlock();
    if (is_said)
        report_(text);
}

// True when the broker has let the client in.
bool Carrier::wait_for_connection(Lock &lock) {
    const auto end = Clock::now() + settings_.patience;
    while (link_ == Link::connecting && !stops_ && Clock::now() < end) {
        ++pulse_;
        changed_.wait_for(lock, std::min(longest_wait, settings_.patience));
    }
    if (link_ == Link::connecting && !stops_)
        state_.why = "no answer";
    return link_ == Link::connected && !stops_;
}

void Carrier::follow(Lock &lock) {
    while (link_ == Link::connected && !stops_) {
        ++pulse_;
        if (is_late(Clock::now())) {
            state_.why = "it does not acknowledge what is published";
            return;
        }
        has_news_ = false;
        lock.unlock();
        const bool has_more = take_from_board();
        lock.lock();
        has_news_ = has_news_ || has_more;
        publish_waiting();
        const bool is_full = in_flight_.size() >= static_cast<std::size_t>(settings_.window);
        if (drains_ && !has_news_ && waiting_.empty() && in_flight_.empty() && !is_drained_) {
            is_drained_ = true;
            changed_.notify_all();
        }
        if ((!has_news_ || is_full) && !stops_ && link_ == Link::connected)
            changed_.wait_for(lock, std::min(longest_wait, settings_.patience));
    }
}

// True when the board may have more.
bool Carrier::take_from_board() {
    if (waiting_.size() < most_at_once)
        for (BoardMessage &message : follower_.take(most_at_once - waiting_.size()))
            waiting_.push_back(std::move(message));
    return waiting_.size() >= most_at_once;
}

// With the lock held, so that what is acknowledged at once has its place in in_flight_ before.
void Carrier::publish_waiting() {
    while (!waiting_.empty() && link_ == Link::connected &&
           in_flight_.size() < static_cast<std::size_t>(settings_.window)) {
        const BoardMessage &message = waiting_.front();
        // A broker forgets what it keeps when it is given nothing to keep.
        const bool is_retained =
            message.kind == BoardMessage::Kind::newest || message.kind == BoardMessage::Kind::removal;
        const auto number = connection_->publish(message.topic, message.payload, is_retained);
        if (!number)
            return;
        if (*number == BrokerConnection::never_taken) {
            ++state_.left_out;
            waiting_.pop_front();
            continue;
        }
        if (in_flight_.empty())
            last_sign_ = Clock::now();
        in_flight_[*number] = std::move(waiting_.front());
        waiting_.pop_front();
    }
}

bool Carrier::is_late(Clock::time_point now) const {
    return !in_flight_.empty() && now - last_sign_ > settings_.patience;
}

// What was not acknowledged and is no newest message comes again with the next connection.
void Carrier::end_connection(Lock &lock) {
    const bool goodbye = link_ == Link::connected && stops_;
    state_.is_connected = false;
    lock.unlock();
    if (connection_ && goodbye)
        connection_->say_goodbye();
    connection_.reset();
    lock.lock();
    link_ = Link::none;
    std::deque<BoardMessage> again;
    for (auto &[number, message] : in_flight_)
        if (message.kind != BoardMessage::Kind::newest)
            again.push_back(std::move(message));
    in_flight_.clear();
    for (BoardMessage &message : waiting_)
        if (message.kind != BoardMessage::Kind::newest)
            again.push_back(std::move(message));
    waiting_ = std::move(again);
    changed_.notify_all();
}

void Carrier::pause(milliseconds time) {
    const auto end = Clock::now() + time;
    Lock lock(mutex_);
    while (!stops_ && Clock::now() < end) {
        ++pulse_;
        changed_.wait_until(lock, std::min(end, Clock::now() + longest_wait));
    }
}

}  // namespace kelpo

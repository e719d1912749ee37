#include "host/broker/carrier.h"

#include <gmock/gmock.h>

#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace kelpo;
using namespace std::chrono_literals;
using testing::ElementsAre;

/// Brokers that do what a test says. Outlives its connections.
class FakeBrokers {
public:
    class Connection : public BrokerConnection {
    public:
        Connection(FakeBrokers &brokers, Listener &reports) : listener(reports), brokers_(brokers) {}
        ~Connection() override {
            brokers_.note_end(*this);
        }

        std::optional<int> publish(const std::string &topic, const std::string &payload, bool is_retained) override {
            return brokers_.take(topic + "=" + payload + (is_retained ? " kept" : ""));
        }

        void say_goodbye() override {
            brokers_.note("goodbye");
        }

        Listener &listener;

    private:
        FakeBrokers &brokers_;
    };

    std::unique_ptr<BrokerConnection> connect(const BrokerAddress &broker, BrokerConnection::Listener &listener) {
        auto connection = std::make_unique<Connection>(*this, listener);
        {
            const std::lock_guard<std::mutex> locked(mutex_);
            tried_.push_back(broker.host);
            live_ = connection.get();
            number_ = 0;
            changed_.notify_all();
            if (broker.host == "broken")
                throw std::runtime_error("no such file");
        }
        if (broker.host == "refuses")
            listener.disconnected("not authorized", false);
        else if (broker.host != "silent")
            listener.connected();
        return connection;
    }

    /// Waits until this was published, or noted, since the last call.
    void wait_for(const std::string &what) {
        std::unique_lock<std::mutex> lock(mutex_);
        const bool came = changed_.wait_for(lock, 60s, [&] {
            for (; next_ < published_.size(); ++next_)
                if (published_[next_] == what)
                    return true;
            return false;
        });
        EXPECT_TRUE(came) << what;
        ++next_;
    }

    void wait_for_tries(std::size_t count) {
        std::unique_lock<std::mutex> lock(mutex_);
        EXPECT_TRUE(changed_.wait_for(lock, 60s, [&] { return tried_.size() >= count; }));
    }

    std::vector<std::string> published() {
        const std::lock_guard<std::mutex> locked(mutex_);
        return published_;
    }
    std::vector<std::string> tried() {
        const std::lock_guard<std::mutex> locked(mutex_);
        return tried_;
    }

    /// What the broker does now. Only while it is connected.
    void lose(const std::string &why = "gone", bool is_replaced = false) {
        listener().disconnected(why, is_replaced);
    }
    void acknowledge(int number) {
        listener().acknowledged(number);
    }

    bool acknowledges = true;

private:
    BrokerConnection::Listener &listener() {
        const std::lock_guard<std::mutex> locked(mutex_);
        return live_->listener;
    }
    std::optional<int> take(const std::string &message) {
        const std::lock_guard<std::mutex> locked(mutex_);
        if (message.find("huge") != std::string::npos)
            return BrokerConnection::never_taken;
        published_.push_back(message);
        changed_.notify_all();
        ++number_;
        if (acknowledges)
            acknowledgers_.emplace_back(
                [connection = live_, number = number_] { connection->listener.acknowledged(number); });
        return number_;
    }
    void note(const std::string &what) {
        const std::lock_guard<std::mutex> locked(mutex_);
        published_.push_back(what);
        changed_.notify_all();
    }
    void note_end(const Connection &connection) {
        std::vector<std::thread> threads;
        {
            const std::lock_guard<std::mutex> locked(mutex_);
            if (live_ == &connection)
                live_ = nullptr;
            threads.swap(acknowledgers_);
        }
        for (std::thread &thread : threads)
            thread.join();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> published_, tried_;
    std::vector<std::thread> acknowledgers_;  // a broker answers from another thread
    std::size_t next_ = 0;
    Connection *live_ = nullptr;
    int number_ = 0;
};

class CarrierTest : public testing::Test {
protected:
    CarrierSettings settings(const std::vector<std::string> &hosts) const {
        CarrierSettings chosen;
        for (const std::string &host : hosts)
            chosen.brokers.push_back({host, 1883, false});
        chosen.status_topic = "status";
        chosen.first_pause = 1ms;
        chosen.longest_pause = 4ms;
        return chosen;
    }

    void begin(const CarrierSettings &chosen) {
        carrier.emplace(
            board, chosen,
            [this](const BrokerAddress &broker, BrokerConnection::Listener &listener) {
                return brokers.connect(broker, listener);
            },
            [](const ReceivedMessage &) {}, [](const std::string &) {});
    }

    Board board;
    FakeBrokers brokers;
    std::optional<Carrier> carrier;
};

TEST_F(CarrierTest, PublishesTheBoardAndTheStatusLast) {
    board.put("status", "online");
    board.put("a", "1");
    board.add_event("e", "x");
    begin(settings({"one"}));
    brokers.wait_for("status=online kept");
    EXPECT_THAT(brokers.published(), ElementsAre("a=1 kept", "e=x", "status=online kept"));
    board.put("a", "2");
    brokers.wait_for("a=2 kept");
    EXPECT_TRUE(carrier->finish(60s));
    EXPECT_EQ(carrier->state().published, 4U);
    carrier.reset();
    EXPECT_EQ(brokers.published().back(), "goodbye");
}

TEST_F(CarrierTest, PublishesEverythingAgainAfterEachConnectButEventsOnce) {
    board.put("status", "online");
    board.put("a", "1");
    board.add_event("e", "x");
    begin(settings({"one", "two"}));
    brokers.wait_for("status=online kept");
    while (carrier->state().published < 3)
        std::this_thread::yield();
    brokers.lose();
    brokers.wait_for("a=1 kept");
    brokers.wait_for("status=online kept");
    EXPECT_THAT(brokers.tried(), ElementsAre("one", "two"));
    EXPECT_EQ(carrier->state().connects, 2U);
    carrier->finish(60s);
    carrier.reset();
    EXPECT_THAT(brokers.published(),
                ElementsAre("a=1 kept", "e=x", "status=online kept", "a=1 kept", "status=online kept", "goodbye"));
}

TEST_F(CarrierTest, PublishesAnswersUntilABrokerHasAcknowledgedThem) {
    brokers.acknowledges = false;
    board.put("status", "online");
    begin(settings({"one"}));
    brokers.wait_for("status=online kept");
    board.add_answer("r", "1");
    board.add_answer("r", "2");
    brokers.wait_for("r=1");
    brokers.wait_for("r=2");
    brokers.acknowledge(2);
    brokers.lose();
    brokers.wait_for("r=2");
    brokers.wait_for("status=online kept");
    EXPECT_FALSE(carrier->finish(0ms)) << "nothing was acknowledged";
    carrier.reset();
    EXPECT_THAT(brokers.published(),
                ElementsAre("status=online kept", "r=1", "r=2", "r=2", "status=online kept", "goodbye"));
}

TEST_F(CarrierTest, HasNoMoreInFlightThanTheWindow) {
    brokers.acknowledges = false;
    for (const char *topic : {"a", "b", "c", "d"})
        board.put(topic, "1");
    CarrierSettings chosen = settings({"one"});
    chosen.window = 2;
    begin(chosen);
    brokers.wait_for("b=1 kept");
    brokers.acknowledge(1);
    brokers.wait_for("c=1 kept");
    EXPECT_EQ(brokers.published().size(), 3U);
    brokers.acknowledge(2);
    brokers.wait_for("d=1 kept");
}

TEST_F(CarrierTest, TriesTheBrokersInTurn) {
    board.put("status", "online");
    begin(settings({"refuses", "broken", "good"}));
    brokers.wait_for("status=online kept");
    EXPECT_THAT(brokers.tried(), ElementsAre("refuses", "broken", "good"));
    EXPECT_TRUE(carrier->state().is_connected);
}

TEST_F(CarrierTest, GivesUpABrokerThatDoesNotAnswerOrAcknowledge) {
    brokers.acknowledges = false;
    board.put("status", "online");
    CarrierSettings chosen = settings({"silent", "deaf"});
    chosen.patience = 1ms;
    begin(chosen);
    brokers.wait_for_tries(4);
    EXPECT_THAT(brokers.tried(), testing::Contains("deaf").Times(testing::Ge(1)));
    brokers.wait_for("status=online kept");
}

TEST_F(CarrierTest, LeavesOutWhatABrokerNeverTakes) {
    board.put("a", "huge");
    board.put("b", "1");
    begin(settings({"one"}));
    brokers.wait_for("b=1 kept");
    EXPECT_TRUE(carrier->finish(60s));
    EXPECT_EQ(carrier->state().left_out, 1U);
}

TEST_F(CarrierTest, EndsWithoutABroker) {
    begin(settings({"refuses"}));
    brokers.wait_for_tries(2);
    EXPECT_FALSE(carrier->finish(60s));
    carrier.reset();
    EXPECT_THAT(brokers.published(), testing::IsEmpty());
}

}  // namespace

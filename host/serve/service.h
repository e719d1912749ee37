#pragma once

#include "host/board/board.h"
#include "host/engine/poll_engine.h"
#include "host/serve/answer_book.h"
#include "host/serve/payloads.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace kelpo {

/// Something that somebody wants of the service.
struct ServiceOrder {
    std::string topic;    ///< below the line's own: "set/ID", "control/station/N"; what others say in "value/ID"
    std::string payload;  ///< as far as it is kept
    std::size_t size;     ///< of the payload as it was sent
    bool is_retained;     ///< it may be old
    std::chrono::steady_clock::time_point came_at;
};

/// How a service is known.
struct ServiceName {
    std::string prefix;  ///< of its topics, with a slash at the end
    std::string version;
    std::string instance;
};

/// Puts on a board what is true of a line that is polled, and carries out what it is ordered. Knows no carrier. For one
/// thread.
class Service {
public:
    /// Engine and board must outlive the service.
    Service(PollEngine &engine, Board &board, ServiceName name);

    /// Puts all topics on the board. Nothing was read yet, and so everything is bad.
    void begin();

    /// Takes in what has happened, and puts it on the board. Returns what is to be logged, in the order in which it
    /// happened.
    std::vector<PollEvent> refresh();

    /// Carries out an order, or answers why not.
    void carry_out(const ServiceOrder &order);

    /// To be called when the engine has finished: the writes that are left are answered, and the service is offline.
    void end();

    const std::string &prefix() const {
        return name_.prefix;
    }

    /// The topic of the service's own state, and what it is when the service is lost.
    std::string status_topic() const;
    std::string lost_payload() const;

    /// What is to be said of the line in one sentence.
    std::string line_words() const;

    /// How many writes were answered, by the state of the result.
    const std::map<std::string, std::uint64_t> &results() const {
        return results_;
    }

private:
    using Time = std::chrono::steady_clock::time_point;

    // A write that has no result yet.
    struct Waiting {
        std::string level;  // of the variable's topics
        std::string id, key;
        std::size_t variable;
    };
    // One that was done, and is to be read back.
    struct ReadBack {
        Waiting write;
        std::string text;
        Time done_at, until;
    };
    struct StationReport {
        ConditionReport condition;
        std::optional<Time> next_try{};
        std::optional<TraceTime> next_try_date{};
        std::string payload{};
    };

    const std::vector<Variable> &variables() const;
    void put_values(const std::vector<std::size_t> &changed);
    void put_bundles(const std::vector<std::size_t> &changed);
    void put_value(std::size_t index);
    void put_line();
    void put_stations();
    ConditionReport line_condition() const;
    ConditionReport station_condition(int number) const;
    void put_station(const Station &station);
    void take_write_event(const PollEvent &event);
    void look_at_read_backs(Time now);
    void give_up_read_backs(std::size_t variable);
    std::optional<std::string> cannot_be_read_back(const ReadBack &waiting, Time now) const;
    void set(const std::string &level, const ServiceOrder &order);
    void control(const std::string &number, const ServiceOrder &order);
    void look_at_topic(const ServiceOrder &order);
    void answer(const Waiting &write, const char *state, const std::string &why,
                const VariableState *read_back = nullptr);
    void publish_result(const std::string &level, const std::string &payload, const char *state);

    PollEngine &engine_;
    Board &board_;
    const ServiceName name_;
    std::string list_;  // its fingerprint
    TraceTime since_;
    std::map<std::string, std::size_t> levels_;  // variables, by their topics
    const bool bundles_;
    std::vector<Quality> put_;            // of each variable, as it is on the board
    std::set<std::size_t> only_bundled_;  // variables whose value is in a bundle, and not on the board
    Time caught_up_at_{};                 // no value was in a bundle only then
    std::map<int, std::int64_t> sent_;    // bundles, by station
    std::optional<ConditionReport> line_;
    std::optional<std::int64_t> cycle_ms_;
    Time cycle_put_at_{};
    std::map<int, StationReport> stations_;
    std::map<int, Waiting> writes_;  // by WriteAnswer::id
    std::vector<ReadBack> read_backs_;
    AnswerBook book_;
    std::map<std::string, std::uint64_t> results_;
};

}  // namespace kelpo

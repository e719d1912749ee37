#pragma once

#include "host/driver/block_plan.h"
#include "host/driver/driver_error.h"
#include "host/driver/driver_queries.h"
#include "host/driver/request_name.h"
#include "host/driver/request_parts.h"
#include "host/driver/variable.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct ComInfo;

namespace kelpo {

class DriverLibrary;

/// Settings of the driver.
struct DriverSettings {
    int max_count = 100;                    ///< most units in one request, 1 to 100
    int retries = 2;                        ///< failed replies that are tolerated before a request is given up
    std::map<int, BlockLimits> stations{};  ///< those whose blocks have other limits

    PollRules rules() const {
        return {{max_count, std::nullopt}, stations};
    }
};

/// The driver, loaded by file name while the host runs, as a panel loads it. Everything specific to the driver stays
/// inside this class: its records and texts, its lists and locks, its status numbers. There is one driver in a process.
///
/// The functions take the driver's list lock, which its callbacks hold: they must not be called from
/// LinkWatcher::request_ended and communication_failed. Otherwise they can be called from any thread.
class Driver : public DriverQueries {
public:
    /// Loads `file`: see DriverLibrary. Throws DriverLibraryError.
    explicit Driver(const std::string &file);

    /// Unloads the driver. No other thread may still be inside it.
    ~Driver() override;
    Driver(const Driver &) = delete;
    Driver &operator=(const Driver &) = delete;

    /// The loaded library itself: for the link loop, and for tests.
    const DriverLibrary &library() const {
        return *library_;
    }

    /// Configures the driver: every variable has its own station, and writes go to the controllers. Returns the
    /// driver's configuration block, which it uses as long as it is loaded. Only while no link runs.
    ComInfo &configure(const DriverSettings &settings);

    /// Changes DriverSettings::retries. For the thread that runs the link, or while none runs.
    void set_retries(int retries);

    std::optional<int> number_of(int type, const std::string &address) const override;
    std::string held_bytes(const Variable &variable) const override;

    /// The same as values.
    Values held_values(const Variable &variable) const;

    /// Makes the driver poll these variables, and no others, in blocks of the size that each station allows. Those with
    /// a rate of their own are not in its cycle, but in slow_blocks(). Returns the number of all blocks. Only while no
    /// link runs.
    int poll(const std::vector<Variable> &variables) const;

    /// The block reads that the driver cycles through, in their present order.
    std::vector<PolledBlock> blocks() const;

    /// The blocks that are to be read at a rate of their own.
    std::vector<SlowBlock> slow_blocks() const;

    /// All of both.
    std::vector<PolledBlock> all_blocks() const;

    /// The block that the driver reads next in its cycle; nothing when all of its stations are off or rest.
    std::optional<PolledBlock> next_block() const;

    /// Queues a read of the block, named RequestName::slow_read().
    void queue_slow_read(const PolledBlock &block) const;

    /// What the variables that are polled cover of a register class, each by itself, in the order of the first numbers.
    std::vector<PolledBlock> polled_places(int station, int register_class) const;

    /// Makes the driver cycle through these blocks instead. For the thread that runs the link, or while none runs; not
    /// while a request is in flight.
    void set_blocks(const std::vector<PolledBlock> &blocks) const;

    /// True while the reply to a request is due, or it is to be sent again. For the thread that runs the link.
    bool is_request_in_flight() const;

    /// Off: what waits for the station is dropped, and no more requests are sent to it. A request in flight is not
    /// affected. On or off, this ends a rest.
    void switch_station(int station, bool on);

    /// How often switch_station() was called.
    int times_switched() const;

    /// Switches the station off in the same way, until it is woken or switched. False, and nothing is done, when it is
    /// switched off already.
    bool rest_station(int station);

    /// Ends the rest of the station, if it rests.
    void wake_station(int station);

    /// True unless the station is switched off or rests.
    bool is_asked(int station) const;

    /// True from rest_station() until it is woken or switched.
    bool rests(int station) const;

    /// Queues a read of `place`, which comes from place_to_read. There must be room for its requests.
    RequestName queue_read(const Variable &place);

    /// Queues a write. There must be room for it.
    RequestName queue_write(const WritePart &part);

    /// True when `requests` more fit into either queue.
    bool has_room_for(int requests) const;

    /// True when nothing that was queued waits or is in flight any more.
    bool all_served() const;

    /// How a request has ended; nothing while a part of it waits or is in flight. The outcome is forgotten with this
    /// call: the next one says `dropped`.
    std::optional<RequestOutcome> take_outcome(const RequestName &name);

    /// The link calls this when the driver's callback reports a request, with the list lock held.
    void note_end(const RequestName &name, RequestOutcome outcome);

    /// True when a write that is queued now, before any other, is what the driver asks for next, unless its station is
    /// switched off. For the thread that runs the link.
    bool serves_a_write_next() const;

    /// Gives up the request if it is in flight, as when no reply comes to any try. For the same thread, while no link
    /// loop runs.
    void give_up(const RequestName &name) const;

private:
    struct State;

    RequestName new_name();

    std::unique_ptr<DriverLibrary> library_;
    std::unique_ptr<State> state_;
};

}  // namespace kelpo

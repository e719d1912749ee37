#pragma once

#include "host/driver/driver.h"
#include "host/driver/register_types.h"
#include "host/driver/variable.h"
#include "host/frames/verdict.h"
#include "host/link/link_watcher.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace kelpo {

/// What replies have brought for one variable.
struct ReadValue {
    using Time = std::chrono::steady_clock::time_point;
    using WallTime = std::chrono::system_clock::time_point;

    std::string bytes;                       ///< as the driver returns them; empty until all of the value was read
    Time read_at{};                          ///< when the oldest part of the value was read
    Time newest_at{};                        ///< when the newest part was
    WallTime wall_time{};                    ///< read_at as wall-clock time
    std::shared_ptr<const Failure> failure;  ///< why it, or a part, was not read when it was last asked for
};

/// Keeps the values of variables as replies to polls have brought them, and nothing else: the driver's own cache holds
/// a written value from the moment its request is built, long before a controller has it. So the values are taken from
/// the driver by the link's own thread, right after each good reply, and only those parts of each variable that are in
/// that reply. For this no other thread may write (see Writer): the driver puts a write into its cache at once while
/// the link is failing. Any thread may read it.
class ReadValues : public LinkWatcher {
public:
    using Clock = std::function<ReadValue::Time()>;

    explicit ReadValues(Clock clock = std::chrono::steady_clock::now) : clock_(std::move(clock)) {}

    /// To be called before the link starts: the variables, and the driver's block reads for them. `driver`
    /// and `variables` must outlive the link.
    void use(const DriverQueries &driver, const std::vector<Variable> &variables,
             const std::vector<PolledBlock> &blocks);

    /// The variables that replies or failures have touched since the last call, by their place in the list.
    std::vector<std::pair<std::size_t, ReadValue>> take();

    /// To be called when a station was switched off or on: the reason why it was not read is not true any more.
    void forget_failures(int station);

    void exchanged(const Exchange &exchange) override;
    void blocks_replaced(const std::vector<PolledBlock> &gone, const std::vector<PolledBlock> &come) override;

private:
    /// Numbers of one register class of one station.
    struct Place {
        int station, register_class;

        bool operator<(const Place &other) const {
            return std::tie(station, register_class) < std::tie(other.station, other.register_class);
        }
    };
    /// The part of a variable that one request asks for.
    struct Part {
        int first;  // number that the request begins with
        int count;
        ReadValue::Time read_at{};
        ReadValue::WallTime wall_time{};
        std::shared_ptr<const Failure> failure{};
        bool read = false;
        bool outdated = false;  // no request asks for it as it is any more

        std::int64_t end() const {
            return std::int64_t{first} + count;
        }
    };
    struct Source {
        const Variable *variable;
        int number;                                 // of the address
        std::int64_t read_until;                    // all numbers of the variable below this were read
        std::string bytes{};                        // as far as they were read
        std::vector<Part> parts{};                  // by their first numbers
        std::shared_ptr<const Failure> not_sent{};  // why the request for it was not sent after another
        int longest_part = 0;
        bool has_outdated = false, touched = false;

        NumberRange range() const;  // in the register class
        bool is_complete() const;
        void reach(const Part &part);
    };
    struct Area {
        std::vector<std::size_t> sources{};  // in the order of their first numbers
        std::int64_t longest = 0;
    };

    void note_blocks(const std::vector<PolledBlock> &gone, const std::vector<PolledBlock> &come);
    template <typename Action> void for_each_in(const Place &place, int first, int count, const Action &action);
    void take_bytes(Source &source, const Exchange &exchange) const;
    void note_read(Source &source, const Exchange &exchange) const;
    void touch(std::size_t index);
    static std::vector<Part>::iterator begins_at(std::vector<Part> &parts, std::int64_t first);
    static Part &part_of(Source &source, int first, int count);
    static void drop_outdated(Source &source);
    static ReadValue value_of(const Source &source);

    const Clock clock_;
    const DriverQueries *driver_ = nullptr;
    std::map<Place, Area> areas_;
    std::map<std::pair<Place, int>, int> blocks_;  // counts, by where a block begins

    std::mutex mutex_;  // guards the sources' content and what is below
    std::vector<Source> sources_;
    std::vector<std::size_t> touched_;
};

}  // namespace kelpo

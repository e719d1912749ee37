#include "host/driver/driver.h"

#include "host/driver/driver_library.h"
#include "host/driver/raw_calls.h"

#include <atomic>
#include <map>
#include <mutex>
#include <set>

namespace kelpo {
namespace {

// Outside the groups that the driver's return codes distinguish.
constexpr int group_of_host = ozna_kelpo::groups_told_apart;

void enable(const DriverEntryPoints &driver, int station, bool on) {
    driver.EnableEthernet(station, on ? ozna_kelpo::station_on : ozna_kelpo::station_off);
}

}  // namespace

struct Driver::State {
    ComInfo info{};
    PollRules rules;
    PlacesByGroup polled;
    std::vector<SlowBlock> slow;
    std::mutex blocks_mutex;  // taken before the driver's list lock: nobody sees a list that is being replaced
    std::mutex mutex;  // guards all below; the driver's list lock may be held when it is taken, and not the reverse
    int next_id = 0;
    std::map<RequestName, RequestOutcome> ended;
    std::atomic<int> times_switched{0};
    std::set<int> off;      // stations that the user has switched off
    std::set<int> resting;  // stations that are off for a while, and none of those
};

Driver::Driver(const std::string &file)
    : library_(std::make_unique<DriverLibrary>(file)), state_(std::make_unique<State>()) {}

Driver::~Driver() = default;

ComInfo &Driver::configure(const DriverSettings &settings) {
    ComInfo &info = state_->info;
    info = {};
    state_->rules = settings.rules();
    // Only what is longer than any station allows is cut by the driver: the rest by the host.
    info.max_count = state_->rules.greatest_max_count();
    info.default_station = 1;
    info.retry_times = settings.retries;
    info.multi_station = 1;
    info.write_mode = ozna_kelpo::write_to_controller;
    library_->entry().SetComInfo(&info);
    return info;
}

void Driver::set_retries(int retries) {
    state_->info.retry_times = retries;
}

std::optional<int> Driver::number_of(int type, const std::string &address) const {
    const int number = library_->entry().PLCAddressChangeIntef(type, driver_text(address));
    return number < 0 ? std::nullopt : std::optional<int>(number);
}

std::string Driver::held_bytes(const Variable &variable) const {
    return cached_bytes(library_->entry(), variable);
}

Values Driver::held_values(const Variable &variable) const {
    return shown_by(library_->entry(), variable);
}

int Driver::poll(const std::vector<Variable> &variables) const {
    const BlockPlan plan = planned(*library_, variables, state_->rules);
    state_->polled = places_of(*library_, variables);
    state_->slow = plan.slow;
    set_blocks(plan.cycle);
    return static_cast<int>(plan.cycle.size() + plan.slow.size());
}

std::vector<PolledBlock> Driver::blocks() const {
    const std::lock_guard<std::mutex> locked(state_->blocks_mutex);
    return library_->polled_blocks();
}

std::vector<SlowBlock> Driver::slow_blocks() const {
    return state_->slow;
}

std::vector<PolledBlock> Driver::all_blocks() const {
    std::vector<PolledBlock> all = blocks();
    for (const SlowBlock &slow : state_->slow)
        all.push_back(slow.block);
    return all;
}

std::optional<PolledBlock> Driver::next_block() const {
    for (const PolledBlock &block : library_->polled_blocks())
        if (is_asked(block.station))
            return block;
    return std::nullopt;
}

void Driver::queue_slow_read(const PolledBlock &block) const {
    const RequestName name = RequestName::slow_read();
    RW_VAR record = polled_record(*library_, block);
    record.var_group = name.group;
    record.var_id = name.id;
    library_->entry().AddListOnceReadVar(&record, ozna_kelpo::queue_as_it_is);
}

bool Driver::is_asked(int station) const {
    const std::lock_guard<std::mutex> locked(state_->mutex);
    return state_->off.count(station) == 0 && state_->resting.count(station) == 0;
}

std::vector<PolledBlock> Driver::polled_places(int station, int register_class) const {
    const auto found = state_->polled.find({station, register_class});
    return found == state_->polled.end() ? std::vector<PolledBlock>() : found->second;
}

void Driver::set_blocks(const std::vector<PolledBlock> &blocks) const {
    const std::lock_guard<std::mutex> locked(state_->blocks_mutex);
    put_in_place(*library_, blocks);
}

bool Driver::is_request_in_flight() const {
    return library_->is_request_in_flight();
}

void Driver::switch_station(int station, bool on) {
    const std::lock_guard<std::mutex> locked(state_->mutex);
    ++state_->times_switched;
    state_->resting.erase(station);
    if (on)
        state_->off.erase(station);
    else
        state_->off.insert(station);
    enable(library_->entry(), station, on);
}

int Driver::times_switched() const {
    return state_->times_switched;
}

bool Driver::rest_station(int station) {
    const std::lock_guard<std::mutex> locked(state_->mutex);
    if (state_->off.count(station) > 0)
        return false;
    state_->resting.insert(station);
    enable(library_->entry(), station, false);
    return true;
}

void Driver::wake_station(int station) {
    const std::lock_guard<std::mutex> locked(state_->mutex);
    if (state_->resting.erase(station) > 0)
        enable(library_->entry(), station, true);
}

bool Driver::rests(int station) const {
    const std::lock_guard<std::mutex> locked(state_->mutex);
    return state_->resting.count(station) > 0;
}

RequestName Driver::new_name() {
    const std::lock_guard<std::mutex> locked(state_->mutex);
    return {group_of_host, state_->next_id++};
}

RequestName Driver::queue_read(const Variable &place) {
    const RequestName name = new_name();
    for (const Variable &part : parts_to_read(*this, place, state_->rules.of(place.station).max_count)) {
        RW_VAR record = once_read_record(part, name.group, name.id);
        library_->entry().AddListOnceReadVar(&record, ozna_kelpo::parse_and_cut);
    }
    return name;
}

RequestName Driver::queue_write(const WritePart &part) {
    const RequestName name = new_name();
    library_->entry().SetRegisterData(QString(), part.type, driver_text(part.address), part.station,
                                      driver_bytes(part.bytes), part.count, name.group, name.id);
    return name;
}

bool Driver::has_room_for(int requests) const {
    return library_->requests_waiting() + requests <= most_queued;
}

bool Driver::all_served() const {
    return library_->requests_waiting() == 0;
}

std::optional<RequestOutcome> Driver::take_outcome(const RequestName &name) {
    if (library_->is_waiting(name.group, name.id))
        return std::nullopt;
    const std::lock_guard<std::mutex> locked(state_->mutex);
    const auto found = state_->ended.find(name);
    if (found == state_->ended.end())
        return RequestOutcome::dropped;
    const RequestOutcome outcome = found->second;
    state_->ended.erase(found);
    return outcome;
}

// The driver reports the end of each part; one that failed counts.
void Driver::note_end(const RequestName &name, RequestOutcome outcome) {
    if (name.group != group_of_host)
        return;
    const std::lock_guard<std::mutex> locked(state_->mutex);
    const auto noted = state_->ended.insert({name, outcome}).first;
    if (outcome == RequestOutcome::failed)
        noted->second = outcome;
}

bool Driver::serves_a_write_next() const {
    return library_->serves_a_write_next();
}

void Driver::give_up(const RequestName &name) const {
    library_->give_up(name.group, name.id);
}

}  // namespace kelpo

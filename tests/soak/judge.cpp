#include "judge.h"

#include "plc/faults/fault.h"

#include <algorithm>
#include <optional>
#include <sstream>
#include <thread>
#include <utility>

namespace soak {
namespace {

using std::chrono::milliseconds;

// Kept for each controller. A reply may come in many pieces.
constexpr std::size_t requests_kept = 256;
constexpr std::size_t pieces_kept = 1024;
constexpr std::size_t most_recent = 40;
constexpr std::size_t most_complaints = 10;
constexpr std::size_t short_request = 8;
constexpr std::uint64_t stations_that_stop = 3;

// Between two cyclic reads there are fewer writes and once-reads than this.
constexpr std::uint64_t alike_in_a_row = 11;

// From the moment when the controller has sent bytes to the moment when the host can read them, on a busy machine.
constexpr auto on_the_way = milliseconds(40);

std::uint32_t word_at(std::string_view frame, std::size_t at) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(frame[at])) << 8 |
           static_cast<unsigned char>(frame[at + 1]);
}

bool is_read(std::string_view request) {
    return request[1] == 1 || request[1] == 3;
}

std::string hex(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        static constexpr char digits[] = "0123456789ABCDEF";
        const auto value = static_cast<unsigned char>(byte);
        text += text.empty() ? "" : " ";
        text += digits[value >> 4];
        text += digits[value & 15];
    }
    return text.empty() ? "-" : text;
}

template <typename Kept> void trim(std::deque<Kept> &list, std::size_t kept) {
    while (list.size() > kept)
        list.pop_front();
}

bool was_reached(const Request &request) {
    return std::find(request.reached.begin(), request.reached.end(), false) == request.reached.end();
}

// Units that the driver writes one by one, each with a request of its own.
bool takes_several_requests(const kelpo::Variable &variable) {
    const bool one_by_one = variable.type == 2 || variable.type == 3 || variable.type >= 15;
    return one_by_one && variable.count > 1;
}

// The host reports the time of day.
std::chrono::steady_clock::time_point on_the_steady_clock(kelpo::Exchange::Time time) {
    const auto ago = kelpo::Exchange::Time::clock::now() - time;
    return std::chrono::steady_clock::now() - std::chrono::duration_cast<std::chrono::nanoseconds>(ago);
}

bool is_within(const kelpo::PolledBlock &part, const kelpo::PolledBlock &block) {
    return part.station == block.station && part.register_class == block.register_class && part.first >= block.first &&
           part.first + part.count <= block.first + block.count;
}

// How many of the blocks have one of the parts inside.
std::uint64_t count_with_part(const std::vector<kelpo::PolledBlock> &blocks,
                              const std::vector<kelpo::PolledBlock> &parts) {
    return static_cast<std::uint64_t>(std::count_if(blocks.begin(), blocks.end(), [&](const auto &block) {
        return std::any_of(parts.begin(), parts.end(), [&](const auto &part) { return is_within(part, block); });
    }));
}

std::uint64_t most_spoiled(const HostLimits &host_limits) {
    const auto arrivals = (host_limits.latest + host_limits.settle - milliseconds(1)) / host_limits.settle + 1;
    return static_cast<std::uint64_t>(arrivals) + alike_in_a_row;
}

}  // namespace

Judge::Judge(const std::vector<Variable> &variables)
    : variables_(variables), cells_(variables), unread_places_(variables), serials_(variables.size()) {}

void Judge::expect_controller(const std::vector<std::string> &faults, const HostLimits &host_limits) {
    const std::lock_guard<std::mutex> locked(mutex_);
    controllers_.push_back(std::make_unique<Traffic>());
    controllers_.back()->faults = faults;
    controllers_.back()->host_limits = host_limits;
    for (std::size_t i = 0; i < faults.size(); ++i) {
        const plc::Fault fault = plc::parse_fault(faults[i]);
        if (fault.touches)
            controllers_.back()->holes.push_back(
                {{static_cast<int>(*fault.station), static_cast<int>(*fault.touches)}, i, *fault.times});
    }
    // The host may not have noticed yet that the last one has ended, and still use the one before that.
    if (controllers_.size() > 3)
        controllers_[controllers_.size() - 4].reset();
}

std::string Judge::presets(const plc::MemoryReader *before) const {
    const std::lock_guard<std::mutex> locked(mutex_);
    return cells_.presets(before);
}

void Judge::controller_started(const plc::MemoryReader &memory) {
    const std::lock_guard<std::mutex> locked(mutex_);
    controllers_.back()->memory = &memory;
    memory_is_there_.notify_all();
}

void Judge::expect_end() {
    const std::lock_guard<std::mutex> locked(mutex_);
    controllers_.back()->ending = true;
}

void Judge::controller_ended(bool at_rest) {
    const std::lock_guard<std::mutex> locked(mutex_);
    Traffic &traffic = *controllers_.back();
    pull(traffic);
    if (at_rest) {
        const std::string difference = cells_.compare(*traffic.memory);
        if (!difference.empty())
            complain_locked(difference);
    }
    const auto counts = traffic.memory->fault_counts();
    for (std::size_t i = 0; i < traffic.faults.size() && i < counts.size(); ++i)
        scores_.faults[is_of_hole(traffic, static_cast<std::uint32_t>(i + 1))
                           ? "hole"
                           : traffic.faults[i].substr(0, traffic.faults[i].find(' '))] += counts[i].happened;
    last_moments_.push_back(traffic.memory->moment());
    traffic.memory = nullptr;
    ++scores_.hang_ups;
}

std::shared_ptr<Request> Judge::announce(int variable, bool is_write, bool station_is_off) {
    const std::lock_guard<std::mutex> locked(mutex_);
    auto request = std::make_shared<Request>();
    request->id = next_id_++;
    request->variable = variable;
    request->is_write = is_write;
    request->may_be_dropped = station_is_off;
    if (is_write) {
        request->serial = ++serials_[static_cast<std::size_t>(variable)];
        request->reached.resize(variables_[static_cast<std::size_t>(variable)].places.size());
        cells_.asked(variable, request->serial);
    }
    open_[request->id] = request;
    return request;
}

void Judge::queued(const std::shared_ptr<Request> &request, bool doubtful) {
    const std::lock_guard<std::mutex> locked(mutex_);
    request->doubtful = doubtful;
    request->under_way = false;
}

// What waits in the driver for the station may be dropped.
void Judge::station_rests(int station, milliseconds) {
    const std::lock_guard<std::mutex> locked(mutex_);
    if (!resting_.insert(station).second)
        return;
    ++scores_.rests;
    tries_.erase(station);
    waits_.erase(station);
    if (answers_always(station))
        unread_places_.excuse(station);
    for (auto &[id, request] : open_)
        if (variables_[static_cast<std::size_t>(request->variable)].shown.station == station)
            request->may_be_dropped = true;
}

void Judge::rest_ended(int station, bool has_answered) {
    const std::lock_guard<std::mutex> locked(mutex_);
    resting_.erase(station);
    scores_.returns += has_answered ? 1 : 0;
}

void Judge::expect_all_reported() {
    const std::lock_guard<std::mutex> locked(mutex_);
    for (const Ended &ended : std::exchange(ended_, {}))
        end_request(ended);
    for (const auto &[id, request] : open_) {
        if (request->cut_short)
            continue;
        if (request->reported_early && was_reached(*request))
            ++scores_.writes_done;
        else if (request->may_be_dropped)
            ++(request->is_write ? scores_.writes_withdrawn : scores_.once_withdrawn);
        else if (request->doubtful)
            ++scores_.writes_refused;
        else
            complain_locked((request->is_write ? "a write of " : "a once-read of ") +
                            variables_[static_cast<std::size_t>(request->variable)].shown.name + " was never reported");
    }
    open_.clear();
}

Judge::Look Judge::look(int variable) const {
    const std::lock_guard<std::mutex> locked(mutex_);
    return {cells_.floors(variable), cells_.ages(variable), scores_.exchanges};
}

void Judge::shown(int variable, const QByteArray &value, const Look &look) {
    const std::lock_guard<std::mutex> locked(mutex_);
    ++scores_.values;
    scores_.values_in_holes += touches_hole(variables_[static_cast<std::size_t>(variable)]) ? 1 : 0;
    const std::string wrong = cells_.judge(variable, value, look.floors, look.ages, now(), last_moments_);
    // The link thread may have taken a wrong reply just now, and not reported it yet.
    if (!wrong.empty())
        suspects_.push_back({variable, wrong, look.exchange, scores_.exchanges + 2});
}

void Judge::shown_at_rest(int variable, const QByteArray &value, std::uint64_t exchange) {
    const std::lock_guard<std::mutex> locked(mutex_);
    if (!cells_.read_since(variable, exchange))
        return;
    ++scores_.values;
    const std::string wrong = cells_.compare_shown(variable, value, *controllers_.back()->memory);
    if (!wrong.empty())
        suspects_.push_back({variable, wrong, scores_.exchanges, scores_.exchanges + 2});
}

std::string Judge::unread_since(std::uint64_t exchange) const {
    const std::lock_guard<std::mutex> locked(mutex_);
    for (std::size_t i = 0; i < variables_.size(); ++i)
        if (answers_always(variables_[i].shown.station) && !cells_.read_since(static_cast<int>(i), exchange))
            return variables_[i].shown.name;
    return std::string();
}

void Judge::dated(int variable, std::uint64_t exchange) {
    const std::lock_guard<std::mutex> locked(mutex_);
    ++scores_.read_times;
    if (exchange > 0 && !cells_.tainted_since(variable, exchange) && !cells_.read_since(variable, exchange - 1))
        complain_locked(variables_[static_cast<std::size_t>(variable)].shown.name + " is said to be read at exchange " +
                        std::to_string(exchange) + ", and was not");
}

void Judge::complain(const std::string &what) {
    const std::lock_guard<std::mutex> locked(mutex_);
    complain_locked(what);
}

Scores Judge::scores() const {
    const std::lock_guard<std::mutex> locked(mutex_);
    return scores_;
}

std::uint64_t Judge::exchanges() const {
    const std::lock_guard<std::mutex> locked(mutex_);
    return scores_.exchanges;
}

int Judge::lines_opened() const {
    const std::lock_guard<std::mutex> locked(mutex_);
    return opened_;
}

bool Judge::has_recovered() const {
    const std::lock_guard<std::mutex> locked(mutex_);
    return !disturbed_;
}

std::vector<std::string> Judge::complaints() const {
    const std::lock_guard<std::mutex> locked(mutex_);
    return complaints_;
}

void Judge::finish() {
    const std::lock_guard<std::mutex> locked(mutex_);
    settle_suspects(true);
}

void Judge::exchanged(const kelpo::Exchange &exchange) {
    const std::lock_guard<std::mutex> locked(mutex_);
    ++scores_.exchanges;
    scores_.sent_again += exchange.outcome == kelpo::Outcome::sent_again ? 1 : 0;
    scores_.given_up += exchange.outcome == kelpo::Outcome::given_up ? 1 : 0;

    Traffic &traffic = *controllers_[static_cast<std::size_t>(opened_ - 1)];
    Sent sent;
    traffic.bytes_sent += exchange.request.size();
    sent.ends_at = traffic.bytes_sent;
    sent.flight = flight_;
    sent.at = on_the_steady_clock(exchange.sent_at);
    sent.station = exchange.station;
    sent.type = exchange.type;
    sent.address = exchange.address;
    if (const auto found = open_.find(exchange.name.id);
        found != open_.end() && (exchange.name.group == write_group || exchange.name.group == once_group))
        sent.request = found->second;
    traffic.sent.push_back(sent);
    trim(traffic.sent, requests_kept);

    match_on_line_before(sent, exchange.request.size());
    for (Served &served : std::exchange(traffic.unmatched, {}))
        match(traffic, std::move(served));
    pull_until(traffic, exchange.received);

    const Taken taken = take_reply(traffic, exchange, sent);
    follow_waits(traffic, exchange);
    follow_holes(traffic);
    follow_unread(traffic, exchange, sent, taken);
    const std::string note = follow_recovery(traffic, exchange, sent, taken);
    recent_.push_back({scores_.exchanges, std::string(exchange.request), std::string(exchange.reply),
                       std::string(exchange.stale), note, exchange.code});
    if (recent_.size() > most_recent)
        recent_.pop_front();

    for (const Ended &ended : std::exchange(ended_, {}))
        end_request(ended);
    settle_suspects(false);
    if (exchange.outcome != kelpo::Outcome::sent_again) {
        ++flight_;
        flight_age_ = now();
    }
}

void Judge::blocks_replaced(const std::vector<kelpo::PolledBlock> &gone, const std::vector<kelpo::PolledBlock> &come) {
    const std::lock_guard<std::mutex> locked(mutex_);
    scores_.taken_apart += count_with_part(gone, come);
    scores_.put_together += count_with_part(come, gone);
}

// A read that fills no cache.
void Judge::line_probed(const kelpo::Exchange &exchange, kelpo::ProbePurpose) {
    const std::lock_guard<std::mutex> locked(mutex_);
    Traffic &traffic = *controllers_[static_cast<std::size_t>(opened_ - 1)];
    traffic.bytes_sent += static_cast<std::uint32_t>(exchange.request.size());
    Sent sent;
    sent.ends_at = traffic.bytes_sent;
    sent.at = on_the_steady_clock(exchange.sent_at);
    sent.station = exchange.station;
    traffic.sent.push_back(sent);
    trim(traffic.sent, requests_kept);
    waits_.erase(exchange.station);
    for (Served &served : std::exchange(traffic.unmatched, {}))
        match(traffic, std::move(served));
    pull_until(traffic, exchange.received);
    if (answers_always(exchange.station) && fault_of(traffic, sent) != 0) {
        disturbed_ = true;
        spoiled_ = 0;
    }
}

// The number of the fault that happened to the request; 0 when none did.
std::uint32_t Judge::fault_of(const Traffic &traffic, const Sent &sent) {
    const auto served = std::find_if(traffic.served.rbegin(), traffic.served.rend(),
                                     [&](const Served &one) { return one.log.ends_at == sent.ends_at; });
    return served == traffic.served.rend() ? 0 : served->log.fault;
}

void Judge::request_ended(const kelpo::RequestName &name, kelpo::RequestOutcome outcome) {
    const std::lock_guard<std::mutex> locked(mutex_);
    const auto found = open_.find(name.id);
    const int status = outcome == kelpo::RequestOutcome::done ? 1 : 2;
    ended_.push_back({name.id, status, found != open_.end() && found->second->under_way});
}

void Judge::line_opened() {
    std::unique_lock<std::mutex> locked(mutex_);
    const auto number = static_cast<std::size_t>(opened_);
    memory_is_there_.wait(locked,
                          [&] { return number < controllers_.size() && controllers_[number]->memory != nullptr; });
    ++opened_;
    std::vector<Hole> holes;
    for (const HoleFault &fault : controllers_[number]->holes)
        holes.push_back(fault.hole);
    unread_places_.expect(holes);
    reopened_ = true;
    since_reopening_ = 0;
}

void Judge::line_lost(const std::string &why, std::chrono::milliseconds) {
    const std::lock_guard<std::mutex> locked(mutex_);
    if (opened_ > 0 && static_cast<std::size_t>(opened_) == controllers_.size() && !controllers_.back()->ending)
        complain_locked("the line was lost although nobody hung up: " + why);
}

// Takes over what the controller has handled, written and sent since the last time.
void Judge::pull(Traffic &traffic) {
    if (traffic.memory == nullptr)
        return;
    const auto requests = traffic.memory->requests_from(traffic.next_request);
    const auto pieces = traffic.memory->pieces_from(traffic.next_piece);
    if (!requests || !pieces) {
        complain_locked("the controller's log has been overrun");
        return;
    }
    for (const plc::LoggedPiece &piece : *pieces) {
        traffic.pieces_begin.push_back(traffic.pieces.empty() ? 0 : traffic.pieces.back().ends_at);
        traffic.pieces.push_back(piece);
        ++traffic.next_piece;
    }
    trim(traffic.pieces, pieces_kept);
    trim(traffic.pieces_begin, pieces_kept);
    for (const plc::LoggedRequest &log : *requests) {
        Served served;
        served.number = traffic.next_request++;
        served.log = log;
        if (log.writes > 0) {
            const auto writes = traffic.memory->writes_from(log.first_write);
            if (!writes || writes->size() < log.writes) {
                complain_locked("the controller's log of writes has been overrun");
                return;
            }
            served.writes.assign(writes->begin(), writes->begin() + static_cast<std::ptrdiff_t>(log.writes));
        }
        match(traffic, std::move(served));
    }
}

// The controller reports what it has sent after the line has accepted it; the host may have read it before.
void Judge::pull_until(Traffic &traffic, std::uint64_t received) {
    const auto deadline = Clock::now() + std::chrono::minutes(2);
    pull(traffic);
    while (traffic.memory != nullptr && received > (traffic.pieces.empty() ? 0 : traffic.pieces.back().ends_at) &&
           Clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::microseconds(20));
        pull(traffic);
    }
}

// Finds the host's frame that it was: the one that ended at the same byte.
void Judge::match(Traffic &traffic, Served served) {
    const auto found = std::find_if(traffic.sent.rbegin(), traffic.sent.rend(),
                                    [&](const Sent &sent) { return sent.ends_at == served.log.ends_at; });
    if (found == traffic.sent.rend()) {
        traffic.unmatched.push_back(std::move(served));
        return;
    }
    carry_out(served, *found);
    traffic.served.push_back(std::move(served));
    trim(traffic.served, requests_kept);
}

// What was under way when a line broke is sent again on the next one.
void Judge::match_on_line_before(const Sent &sent, std::size_t frame_size) {
    if (opened_ < 2)
        return;
    Traffic &before = *controllers_[static_cast<std::size_t>(opened_ - 2)];
    for (Served &served : std::exchange(before.unmatched, {})) {
        // A short request of the host's own, which is not sent again.
        if (served.log.ends_at == before.bytes_sent + short_request && served.writes.empty())
            continue;
        if (served.log.ends_at != before.bytes_sent + frame_size)
            complain_locked("the controller handled a request that nobody sent");
        else
            carry_out(served, sent);
    }
}

void Judge::carry_out(Served &served, const Sent &sent) {
    served.flight = sent.flight;
    served.sent_at = sent.at;
    served.station = sent.station;
    if (served.writes.empty())
        return;
    if (sent.request == nullptr || !sent.request->is_write) {
        complain_locked("a read has written");
        return;
    }
    Request &request = *sent.request;
    std::vector<int> places;
    for (const plc::LoggedWrite &write : served.writes) {
        const std::string wrong = cells_.carried_out(request.variable, request.serial, write,
                                                     sent.type >= 15 ? sent.address : -1, request.mistaken, places);
        if (!wrong.empty())
            complain_locked(wrong);
    }
    bool repeated = false;
    for (const int place : places) {
        repeated = repeated || request.reached[static_cast<std::size_t>(place)];
        request.reached[static_cast<std::size_t>(place)] = true;
    }
    scores_.writes_repeated += repeated ? 1 : 0;
}

Judge::Taken Judge::take_reply(Traffic &traffic, const kelpo::Exchange &exchange, const Sent &sent) {
    if (exchange.outcome != kelpo::Outcome::good)
        return {false, false};
    const std::uint64_t end = exchange.received;
    const std::uint64_t begin = end - exchange.reply.size();
    bool found = false;
    std::optional<std::size_t> wrong;
    for (std::size_t i = traffic.pieces.size(); i-- > 0 && traffic.pieces[i].ends_at > begin;) {
        if (end <= traffic.pieces_begin[i])
            continue;
        found = true;
        if (traffic.pieces[i].request == plc::no_request)
            complain_locked("the line's echo was taken for a reply");
        const Served *served = served_by(traffic, traffic.pieces[i].request);
        if (served == nullptr || served->flight != sent.flight)
            wrong = i;
        else if (is_of_hole(traffic, served->log.fault))
            complain_locked("what a hole refused was taken for read or written");
    }
    if (!found)
        complain_locked("the host took a reply that the controller has not sent");
    if (is_read(exchange.request) && exchange.reply == exchange.request)
        complain_locked("the line's echo of a read request was taken for its reply");
    if (wrong) {
        note_mistaken(traffic, *wrong, exchange.reply.size());
        traffic.misled.insert(sent.flight);
        if (sent.request != nullptr)
            sent.request->mistaken = true;
    }
    // The first half of a bit's write is a read that fills no cache.
    if (is_read(exchange.request) && (sent.request == nullptr || !sent.request->is_write))
        cells_.read(exchange.request[0], exchange.request[1] == 1, static_cast<int>(word_at(exchange.request, 2)),
                    static_cast<int>(word_at(exchange.request, 4)), !wrong, flight_age_, scores_.exchanges);
    return {!wrong, wrong.has_value()};
}

const Judge::Served *Judge::served_by(const Traffic &traffic, std::uint64_t request) {
    const auto served = std::find_if(traffic.served.rbegin(), traffic.served.rend(),
                                     [request](const Served &one) { return one.number == request; });
    return served == traffic.served.rend() ? nullptr : &*served;
}

// A reply was taken for another request's, which is wrong except where listening cannot prevent it.
void Judge::note_mistaken(const Traffic &traffic, std::size_t piece, std::size_t reply_size) {
    const Served *served = served_by(traffic, traffic.pieces[piece].request);
    const bool had_another = served != nullptr && traffic.misled.count(served->flight) > 0;
    if (had_another || is_copy(traffic, piece, reply_size))
        ++scores_.copies_mistaken;
    else if (may_be_too_late(traffic, piece))
        ++scores_.late_mistaken;
    else
        complain_locked("a reply that came in time was taken for another request's");
}

// The request that the piece answers had had its whole reply before.
bool Judge::is_copy(const Traffic &traffic, std::size_t piece, std::size_t reply_size) {
    std::uint64_t sent = 0;
    for (std::size_t i = 0; i < piece; ++i)
        if (traffic.pieces[i].request == traffic.pieces[piece].request)
            sent += traffic.pieces[i].ends_at - traffic.pieces_begin[i];
    return sent >= reply_size;
}

// Counted from its request, or from the station's reply before it. A request that is no longer known is too old.
bool Judge::may_be_too_late(const Traffic &traffic, std::size_t piece) {
    const plc::LoggedPiece &late = traffic.pieces[piece];
    const Served *served = served_by(traffic, late.request);
    if (served == nullptr)
        return true;
    const auto micros = [](auto time) {
        return std::chrono::duration_cast<std::chrono::microseconds>(time);
    };
    auto since = micros(served->sent_at.time_since_epoch());
    for (std::size_t i = 0; i < piece; ++i) {
        const Served *before = served_by(traffic, traffic.pieces[i].request);
        if (before != nullptr && before->number != served->number && before->station == served->station)
            since = std::max(since, std::chrono::microseconds(traffic.pieces[i].microseconds));
    }
    return std::chrono::microseconds(late.microseconds) - since + on_the_way > traffic.host_limits.promise;
}

bool Judge::is_of_hole(const Traffic &traffic, std::uint32_t fault) {
    return std::any_of(traffic.holes.begin(), traffic.holes.end(),
                       [fault](const HoleFault &hole) { return hole.number + 1 == fault; });
}

bool Judge::touches_hole(const Variable &variable) const {
    if (opened_ == 0)
        return false;
    const std::vector<HoleFault> &holes = controllers_[static_cast<std::size_t>(opened_ - 1)]->holes;
    return std::any_of(holes.begin(), holes.end(), [&](const HoleFault &fault) {
        return fault.has_begun && !fault.is_over &&
               std::any_of(variable.places.begin(), variable.places.end(), [&](const Place &place) {
                   return place.cell.station == fault.hole.station && place.cell.address == fault.hole.address;
               });
    });
}

void Judge::follow_holes(Traffic &traffic) {
    if (traffic.memory == nullptr || traffic.holes.empty())
        return;
    const std::vector<plc::FaultCount> counts = traffic.memory->fault_counts();
    for (HoleFault &fault : traffic.holes) {
        fault.has_begun = counts[fault.number].happened > 0;
        fault.is_over = counts[fault.number].happened >= fault.times;
    }
}

// What a station has is read again and again, whatever it refuses beside it.
void Judge::follow_unread(const Traffic &traffic, const kelpo::Exchange &exchange, const Sent &sent, Taken taken) {
    const int station = exchange.station;
    if (!traffic.host_limits.most_unread || !answers_always(station))
        return;
    const std::uint64_t unread = unread_places_.count_exchange(station);
    scores_.worst_unread = std::max(scores_.worst_unread, unread);
    if (unread > *traffic.host_limits.most_unread) {
        const Cell place = unread_places_.longest_unread(station);
        complain_locked(std::string(place.coil ? "coil " : "register ") + std::to_string(place.address) +
                        " of station " + std::to_string(station) + " was not read, nor refused by a hole, for " +
                        std::to_string(unread) + " exchanges with its station");
        unread_places_.excuse(station);
    }
    if (!exchange.name.is_of_list())
        return;
    const Cell first{station, exchange.request[1] == 1, static_cast<int>(word_at(exchange.request, 2))};
    const int count = static_cast<int>(word_at(exchange.request, 4));
    if (taken.good)
        unread_places_.read(first, count);
    else if (is_of_hole(traffic, fault_of(traffic, sent)))
        unread_places_.refused(first, count);
    else
        unread_places_.disturbed(first, count);
}

// A silent station costs the others a limited number of tries before it rests, and none while it rests.
void Judge::follow_waits(const Traffic &traffic, const kelpo::Exchange &exchange) {
    const int station = exchange.station;
    waits_.erase(station);
    if (resting_.count(station) > 0)
        complain_locked("station " + std::to_string(station) + " rests, and was asked by the driver");
    // These may be from any station.
    if (!exchange.late.empty() || !exchange.stale.empty())
        tries_.clear();
    if (!exchange.reply.empty())
        tries_.erase(station);
    if (!exchange.reply.empty() || !exchange.name.is_polled())
        return;
    // Silent blocks come at growing intervals, whatever their station does.
    if (!exchange.is_silent_block)
        scores_.worst_tries = std::max(scores_.worst_tries, ++tries_[station]);
    if (tries_[station] > traffic.host_limits.most_tries)
        complain_locked("station " + std::to_string(station) + " was asked " + std::to_string(tries_[station]) +
                        " times without a reply, and does not rest");
    if (answers_always(station))
        return;
    for (const int other : answering_stations) {
        if (resting_.count(other) > 0)
            continue;
        scores_.worst_wait = std::max(scores_.worst_wait, ++waits_[other]);
        if (waits_[other] > stations_that_stop * traffic.host_limits.most_tries)
            complain_locked("station " + std::to_string(other) + " waited for " + std::to_string(waits_[other]) +
                            " tries without a reply");
    }
}

std::string Judge::follow_recovery(const Traffic &traffic, const kelpo::Exchange &exchange, const Sent &sent,
                                   Taken taken) {
    const auto served = std::find_if(traffic.served.rbegin(), traffic.served.rend(),
                                     [&](const Served &one) { return one.log.ends_at == sent.ends_at; });
    const bool was_served = served != traffic.served.rend();
    const std::uint32_t fault = was_served ? served->log.fault : 0;
    std::string note = fault != 0       ? traffic.faults[fault - 1]
                       : taken.mistaken ? "mistaken"
                       : was_served     ? ""
                                        : "not served";
    if (!answers_always(exchange.station))
        return note;
    if (fault != 0) {
        disturbed_ = true;
        spoiled_ = 0;
        return note;
    }
    if (taken.good) {
        if (disturbed_) {
            ++scores_.recoveries;
            scores_.worst_recovery = std::max(scores_.worst_recovery, spoiled_ + 1);
        }
        if (reopened_)
            scores_.worst_reopening = std::max(scores_.worst_reopening, since_reopening_ + 1);
        disturbed_ = reopened_ = false;
        spoiled_ = 0;
        return note;
    }
    const auto answered =
        std::find_if(traffic.pieces.rbegin(), traffic.pieces.rend(), [&](const plc::LoggedPiece &piece) {
            return was_served && piece.request == served->number && piece.ends_at <= exchange.received;
        });
    if (!taken.mistaken && answered == traffic.pieces.rend()) {
        // The machine was busy. The reply is as late as after a fault, and may spoil as many exchanges.
        ++scores_.slow;
        spoiled_ = 0;
        return note.empty() ? "late" : note;
    }
    ++since_reopening_;
    if (++spoiled_ > most_spoiled(traffic.host_limits)) {
        complain_locked("the link does not recover: " + std::to_string(spoiled_) +
                        " exchanges with stations that answer went wrong since the last fault");
        spoiled_ = 0;
    }
    return note.empty() ? "spoiled" : note;
}

void Judge::end_request(Ended ended) {
    constexpr int done = 1;
    const auto found = open_.find(ended.id);
    if (found == open_.end()) {
        complain_locked("request " + std::to_string(ended.id) + " was reported, but it had ended before");
        return;
    }
    const std::shared_ptr<Request> request = found->second;
    if (is_early(request, ended))
        return;
    open_.erase(found);
    if (request->cut_short)
        return;
    if (!request->is_write) {
        ++(ended.status == done ? scores_.once_done : scores_.once_failed);
        return;
    }
    ++(ended.status == done ? scores_.writes_done : scores_.writes_failed);
    if (ended.status != done || was_reached(*request))
        return;
    if (request->mistaken) {
        ++scores_.writes_mistaken;
        return;
    }
    if (request->doubtful && takes_several_requests(variables_[static_cast<std::size_t>(request->variable)].shown)) {
        ++scores_.writes_cut;
        return;
    }
    ++scores_.lost_writes;
    complain_locked("write " + std::to_string(request->serial) + " of " +
                    variables_[static_cast<std::size_t>(request->variable)].shown.name +
                    " was reported done, but the controller has not carried it out");
}

// The link may be quicker than the call that queues several requests for one write. Then the driver reports the end of
// those that are queued, and later that of the others; a failure removes only those that were queued.
bool Judge::is_early(const std::shared_ptr<Request> &request, const Ended &ended) {
    constexpr int done = 1;
    if (!ended.under_way || !request->is_write ||
        !takes_several_requests(variables_[static_cast<std::size_t>(request->variable)].shown))
        return false;
    ++scores_.early_reports;
    if (ended.status == done)
        request->reported_early = true;
    else if (!std::exchange(request->cut_short, true))
        ++scores_.writes_failed;
    return true;
}

void Judge::settle_suspects(bool all) {
    while (!suspects_.empty() && (all || suspects_.front().due <= scores_.exchanges)) {
        const Suspect suspect = suspects_.front();
        suspects_.pop_front();
        if (cells_.tainted_since(suspect.variable, suspect.since)) {
            ++scores_.values_mistaken;
            continue;
        }
        ++scores_.false_values;
        complain_locked(suspect.what + " (about exchange " + std::to_string(suspect.since) + ")");
    }
}

void Judge::complain_locked(const std::string &what) {
    if (complaints_.size() >= most_complaints)
        return;
    std::ostringstream text;
    text << "exchange " << scores_.exchanges << ": " << what;
    if (complaints_.empty())
        for (const RecentExchange &recent : recent_) {
            text << "\n  " << recent.number << "  " << hex(recent.request) << "\n      -> " << hex(recent.reply)
                 << "  code " << recent.code;
            if (!recent.stale.empty())
                text << "  discarded before: " << hex(recent.stale);
            if (!recent.note.empty())
                text << "  (" << recent.note << ")";
        }
    complaints_.push_back(text.str());
}

Age Judge::now() const {
    const int running = static_cast<int>(last_moments_.size());
    if (static_cast<std::size_t>(running) < controllers_.size() &&
        controllers_[static_cast<std::size_t>(running)]->memory != nullptr)
        return {running, controllers_[static_cast<std::size_t>(running)]->memory->moment()};
    return running == 0 ? Age{0, 0} : Age{running - 1, last_moments_.back()};
}

}  // namespace soak

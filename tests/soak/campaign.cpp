#include "campaign.h"

#include "resident_size.h"

#include "host/driver/raw_calls.h"

#include <algorithm>
#include <cstdio>
#include <iomanip>
#include <set>

#include <malloc.h>

namespace soak {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds reply_timeout(25);
constexpr milliseconds character_timeout(10);
constexpr milliseconds settle_time(25);
constexpr milliseconds gap(1);
constexpr int retries = 2;
constexpr int most_queued = 1024;

// A station rests after two reads without a reply, and one that has lost replies before after four more.
constexpr std::uint64_t most_tries = (2 + 4) * (retries + 1);

// A station's exchanges until a place that it has is read again. With writes and once-reads in between, a cycle takes
// up to about 250; a block that is refused has a pause of 88 ms at most, in which no more than 88 exchanges are
// possible, and may be asked for in several parts one after the other.
constexpr std::uint64_t most_unread = 1000;

// A link that does nothing for this long has stopped, even on a busy machine.
constexpr std::chrono::minutes standstill(3);

// The first requests of each controller, which have no faults.
constexpr unsigned requests_without_faults = 120;

constexpr const char *always[] = {"dead station=4", "dead station=5 after=30 every=60 for=25"};

// With every other seed, unless echoes are faults.
bool has_echoes(const Options &options) {
    return options.seed % 2 == 0 &&
           std::find(options.faults.begin(), options.faults.end(), "echo") == options.faults.end();
}

// With every third seed: with and without echoes, and with blocks of all lengths.
bool has_list_of_host(const Options &options) {
    return options.seed % 3 == 1;
}

// On a line that echoes, one more echo cannot be told from an acknowledgement.
std::vector<std::string> without_echo(std::vector<std::string> faults) {
    if (faults.empty())
        faults = fault_words();
    faults.erase(std::remove(faults.begin(), faults.end(), "echo"), faults.end());
    return faults;
}

kelpo::LinkSettings settings(const Options &options, const std::string &line) {
    static constexpr int max_counts[] = {100, 100, 64, 25};
    kelpo::LinkSettings settings;
    settings.driver = options.driver;
    settings.line.path = line;
    settings.line.gap = gap;
    settings.timeouts = {reply_timeout, character_timeout, settle_time};
    settings.retries = retries;
    settings.max_count = max_counts[options.seed % std::size(max_counts)];
    settings.pauses = {milliseconds(5), milliseconds(20)};
    settings.takes_off_echo = has_echoes(options);
    settings.rest.first = milliseconds(10);
    settings.rest.longest = milliseconds(80);
    return settings;
}

QByteArray bytes_of_write(const Variable &variable, int number, std::uint32_t serial) {
    QByteArray bytes;
    const int type = variable.shown.type;
    for (std::size_t i = 0; i < variable.places.size(); ++i) {
        const std::size_t place = type >= 12 && type <= 14 ? i ^ 1U : i;  // the low half of 32 bits comes first
        const std::uint16_t value = written_value(variable, number, static_cast<int>(place), serial);
        bytes.append(static_cast<char>(value & 0xFF));
        if (type >= 7 && type <= 14)
            bytes.append(static_cast<char>(value >> 8));
    }
    return bytes;
}

// Without the pages that are free but kept by the allocator: their number depends on the busiest moment so far.
long size_of_what_is_held() {
    malloc_trim(0);
    return resident_size();
}

}  // namespace

Campaign::Campaign(const Options &options)
    : options_(options), echoes_(has_echoes(options)), list_stays_(has_list_of_host(options)),
      variables_(all_variables()), random_(options.seed), judge_(variables_), read_times_(judge_),
      controller_(options.plc), driver_(options.driver),
      session_(driver_, settings(options, controller_.line()), stop_, {&judge_, &read_times_, &resting_, &pace_},
               kelpo::OnLoss::open_again) {
    std::vector<kelpo::Variable> half;
    for (std::size_t i = 0; i < variables_.size(); ++i) {
        shown_.push_back(variables_[i].shown);
        for (const Place &place : variables_[i].places)
            cells_.push_back(place.cell);
        if (i % 2 == 0)
            half.push_back(variables_[i].shown);
        if (variables_[i].written)
            written_.push_back(static_cast<int>(i));
        if (variables_[i].shown.type <= 14)
            readable_once_.push_back(static_cast<int>(i));
    }
    all_polled_ = kelpo::polled(shown_);
    half_polled_ = kelpo::polled(half);
}

Campaign::~Campaign() {
    screens_end_ = true;
    if (screens_.joinable())
        screens_.join();
    session_.finish();
}

bool Campaign::run(std::ostream &out) {
    try {
        for (unsigned number = 0; exchanges_ < options_.exchanges && judge_.complaints().empty(); ++number)
            run_controller(number);
    } catch (const LinkStopped &) {
        judge_.complain("the link has stopped");
    }
    screens_end_ = true;
    screens_.join();
    session_.finish();
    judge_.finish();
    resident_late_ = size_of_what_is_held();
    constexpr std::uint64_t enough_to_judge = 50000;
    if (options_.exchanges >= enough_to_judge && has_grown(resident_early_, resident_late_))
        judge_.complain("the resident size has grown by more than 5 %");
    print(out);
    return judge_.complaints().empty();
}

// One controller, from its start to its end.
void Campaign::run_controller(unsigned number) {
    const std::uint64_t length =
        std::min<std::uint64_t>(400 + random_() % 3000, std::max<std::uint64_t>(300, options_.exchanges / 10));
    const bool abrupt = random_() % 3 == 0;
    const FaultChoice choice = choose_faults(random_, requests_without_faults, static_cast<unsigned>(length / 2),
                                             echoes_ ? without_echo(options_.faults) : options_.faults, cells_);
    std::vector<std::string> faults(std::begin(always), std::end(always));
    faults.insert(faults.end(), choice.lines.begin(), choice.lines.end());

    judge_.expect_controller(faults, {settle_time, choice.latest, std::chrono::microseconds(reply_timeout) * 9 / 2,
                                      most_tries, list_stays_ ? std::make_optional(most_unread) : std::nullopt});
    const std::string presets = judge_.presets(number == 0 ? nullptr : &controller_.memory());
    controller_.start(faults, presets, options_.seed + number, echoes_);
    judge_.controller_started(controller_.memory());
    if (number == 0) {
        if (list_stays_) {
            driver_.poll(shown_);
            read_times_.use(driver_, shown_);
        } else {
            rebuild();
        }
        session_.start();
        screens_ = std::thread([this] { show(); });
    }
    const std::uint64_t start = exchanges_;
    while (exchanges_ < start + length) {
        pace();
        ask_at_random();
    }
    bool at_rest = false;
    if (!abrupt || exchanges_ >= options_.exchanges) {
        for (const std::uint64_t end = exchanges_ + length; exchanges_ < end && !faults_are_over(choice);) {
            pace();
            ask_at_random();
        }
        at_rest = faults_are_over(choice);
        come_to_rest(at_rest);
    }
    measure_memory();
    judge_.expect_end();
    controller_.end();
    judge_.controller_ended(at_rest);
    // Once early, so that the use of memory has been at its highest before it is measured.
    const bool fill = random_() % 16 == 0 || number == 0;
    if (fill && exchanges_ + 8 * most_queued < options_.exchanges)
        fill_queue();
}

void Campaign::ask_at_random() {
    constexpr int most_waiting = 100;
    if (random_() % 4 == 0 && driver_.library().requests_waiting() < most_waiting)
        write(written_[random_() % written_.size()]);
    if (random_() % 12 == 0 && driver_.library().requests_waiting() < most_waiting)
        read_once(readable_once_[random_() % readable_once_.size()]);
    if (!list_stays_ && random_() % 256 == 0)
        rebuild();
}

void Campaign::write(int variable) {
    const kelpo::Variable &shown = variables_[static_cast<std::size_t>(variable)].shown;
    const auto request = judge_.announce(variable, true, resting_.is_off(shown.station));
    const QByteArray bytes = bytes_of_write(variables_[static_cast<std::size_t>(variable)], variable, request->serial);
    const int waiting = set_waits_.measure([&] {
        return driver_.library().entry().SetRegisterData(QString(), shown.type,
                                                         QString::fromLatin1(shown.address.c_str()), shown.station,
                                                         bytes, shown.count, Judge::write_group, request->id);
    });
    judge_.queued(request, waiting >= most_queued);
}

void Campaign::read_once(int variable) {
    const kelpo::Variable &shown = variables_[static_cast<std::size_t>(variable)].shown;
    const auto request = judge_.announce(variable, false, resting_.is_off(shown.station));
    RW_VAR var;
    var.var_group = Judge::once_group;
    var.var_id = request->id;
    var.addr_text = QString::fromLatin1(shown.address.c_str());
    var.reg_type = shown.type;
    var.station_no = shown.station;
    var.reg_count = shown.count;
    const int waiting = once_waits_.measure([&] { return driver_.library().entry().AddListOnceReadVar(&var, 0); });
    judge_.queued(request, waiting >= most_queued);
}

// Half of the time, only half of the variables are on the screen.
void Campaign::rebuild() {
    QList<HOST_VAR> *list = random_() % 2 == 0 ? &all_polled_ : &half_polled_;
    rebuild_waits_.measure([&] { return driver_.library().entry().ReCreatReadVarList(list); });
}

// While the line is lost nothing leaves the queue: what does not fit is refused.
void Campaign::fill_queue() {
    for (int i = 0; i < most_queued + 50; ++i)
        write(written_[random_() % written_.size()]);
}

// Waits until all requests have ended and everything has been read again. Screens and controller must agree then.
void Campaign::come_to_rest(bool is_all_over) {
    while (driver_.library().requests_waiting() > 0 || resting_.is_any_live_off())
        pace();
    pace();  // the watcher has passed on the last report
    judge_.expect_all_reported();
    const std::uint64_t quiet_since = exchanges_;
    const auto blocks =
        static_cast<std::uint64_t>(list_stays_ ? static_cast<int>(driver_.all_blocks().size())
                                               : driver_.library().entry().ReCreatReadVarList(&all_polled_));
    while (exchanges_ < quiet_since + 3 * blocks)
        pace();
    if (is_all_over)
        wait_until_all_is_read(quiet_since);
    for (std::size_t i = 0; i < variables_.size(); ++i) {
        const kelpo::Variable &shown = variables_[i].shown;
        QByteArray value;
        driver_.library().entry().GetRegisterData(QString(), shown.type, QString::fromLatin1(shown.address.c_str()),
                                                  shown.station, value, shown.count);
        judge_.shown_at_rest(static_cast<int>(i), value, quiet_since);
    }
}

void Campaign::wait_until_all_is_read(std::uint64_t quiet_since) {
    const std::uint64_t end = exchanges_ + std::size(answering_stations) * most_unread;
    std::string unread = judge_.unread_since(quiet_since);
    for (; !unread.empty() && exchanges_ < end; unread = judge_.unread_since(quiet_since))
        pace();
    if (!unread.empty())
        judge_.complain(unread + " is not read again at rest");
}

// Those that end after a number of times.
bool Campaign::faults_are_over(const FaultChoice &choice) const {
    const std::vector<plc::FaultCount> counts = controller_.memory().fault_counts();
    for (std::size_t i = 0; i < choice.times.size(); ++i)
        if (counts[std::size(always) + i].happened < choice.times[i])
            return false;
    return judge_.has_recovered();
}

// Waits for the next request.
void Campaign::pace() {
    const std::uint64_t before = requests_;
    requests_ = pace_.wait_beyond(before, standstill);
    if (requests_ == before)
        throw LinkStopped();
    exchanges_ = judge_.exchanges();
    measure_memory();
}

// A screen shows some variables after each exchange.
void Campaign::show() {
    constexpr std::size_t at_once = 12;
    std::size_t next = 0;
    for (std::uint64_t seen = 0; !screens_end_;) {
        seen = pace_.wait_beyond(seen, milliseconds(20));
        for (std::size_t i = 0; i < at_once; ++i, ++next) {
            const int number = static_cast<int>(next % variables_.size());
            const kelpo::Variable &shown = variables_[static_cast<std::size_t>(number)].shown;
            const Judge::Look look = judge_.look(number);
            const QString address = QString::fromLatin1(shown.address.c_str());
            QByteArray value;
            get_waits_.measure([&] {
                return driver_.library().entry().GetRegisterData(QString(), shown.type, address, shown.station, value,
                                                                 shown.count);
            });
            judge_.shown(number, value, look);
        }
    }
}

void Campaign::measure_memory() {
    if (resident_early_ == 0 && exchanges_ >= options_.exchanges / 10)
        resident_early_ = size_of_what_is_held();
}

void Campaign::print(std::ostream &out) const {
    const Scores scores = judge_.scores();
    const auto row = [&out](const std::string &name, auto value) {
        out << std::left << std::setw(52) << name << std::right << std::setw(12) << value << "\n";
    };
    out << std::fixed << std::setprecision(1);
    row("exchanges", scores.exchanges);
    row("sent again", scores.sent_again);
    row("given up", scores.given_up);
    row("replies too late, without a fault of their own", scores.slow);
    for (const auto &[name, count] : scores.faults)
        row("fault " + name, count);
    row("writes done", scores.writes_done);
    row("writes failed", scores.writes_failed);
    row("writes refused by the full queue", scores.writes_refused);
    row("writes of which the full queue refused a part", scores.writes_cut);
    row("writes dropped, their station at rest", scores.writes_withdrawn);
    row("writes carried out once more", scores.writes_repeated);
    row("writes reported before all of it was queued", scores.early_reports);
    row("once-reads done", scores.once_done);
    row("once-reads failed", scores.once_failed);
    row("once-reads dropped, their station at rest", scores.once_withdrawn);
    row("values judged", scores.values);
    row("values judged of what was in a hole", scores.values_in_holes);
    row("times of reading judged", scores.read_times);
    row("false values", scores.false_values);
    row("lost writes", scores.lost_writes);
    row("second replies taken for another request's", scores.copies_mistaken);
    row("replies later than promised taken for another's", scores.late_mistaken);
    row("values shown in between", scores.values_mistaken);
    row("writes taken for done in between", scores.writes_mistaken);
    row("blocks taken apart", scores.taken_apart);
    row("blocks put together again", scores.put_together);
    row("worst time until a place was read again, exchanges", scores.worst_unread);
    row("stations at rest", scores.rests);
    row("stations that answered again", scores.returns);
    row("worst tries in a row without a reply", scores.worst_tries);
    row("worst wait of an answering station, tries without a reply", scores.worst_wait);
    row("hang-ups", scores.hang_ups);
    row("recoveries", scores.recoveries);
    row("worst recovery, exchanges", scores.worst_recovery);
    row("worst recovery of a hang-up, exchanges", scores.worst_reopening);
    row("worst resident size after a tenth, KiB", resident_early_);
    row("worst resident size at the end, KiB", resident_late_);
    const auto waits = [&](const std::string &name, const Waits &measured) {
        row(name + ", calls", measured.count());
        row("worst " + name + ", us", measured.longest_microseconds());
        row("worst " + name + ", us, 99.9 %", measured.microseconds_of_all_but_one_in_a_thousand());
    };
    waits("GetRegisterData", get_waits_);
    waits("SetRegisterData", set_waits_);
    waits("AddListOnceReadVar", once_waits_);
    waits("ReCreatReadVarList", rebuild_waits_);
    for (const std::string &complaint : judge_.complaints())
        out << "WRONG (seed " << options_.seed << ") " << complaint << "\n";
    out << std::flush;
}

}  // namespace soak

#include "host/plan/learn_run.h"

#include "host/driver/register_types.h"
#include "host/driver/request_parts.h"
#include "host/link/session.h"
#include "host/plan/plan_words.h"
#include "host/text/quantities.h"
#include "host/text/words.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <ostream>
#include <set>
#include <vector>

namespace kelpo {
namespace {

constexpr auto look_time = std::chrono::milliseconds(20);

bool holds(const PolledBlock &block, int station, int register_class, std::int64_t first) {
    return block.station == station && block.register_class == register_class && first >= block.first &&
           first < std::int64_t{block.first} + block.count;
}

/// Waits until each block that is polled was read or refused.
class Verdicts : public LinkWatcher {
public:
    /// Before the link starts. `holes` must outlive the link.
    void expect(std::vector<PolledBlock> blocks, const HoleFinder &holes) {
        open_ = std::move(blocks);
        holes_ = &holes;
    }

    /// From any thread.
    bool are_complete() const {
        return complete_;
    }

    /// The blocks that were neither read nor refused so far. While no link runs.
    const std::vector<PolledBlock> &open() const {
        return open_;
    }

    /// The stations that gave no reply. While no link runs.
    const std::set<int> &silent() const {
        return silent_;
    }

    void about_to_ask() override {
        complete_ = open_.empty() && holes_->open() == 0;
    }
    void exchanged(const Exchange &exchange) override {
        if (!exchange.name.is_of_list() || exchange.outcome == Outcome::sent_again)
            return;
        remove([&exchange](const PolledBlock &block) {
            return holds(block, exchange.station, exchange.type, exchange.address);
        });
    }
    void blocks_replaced(const std::vector<PolledBlock> &gone, const std::vector<PolledBlock> &come) override {
        for (const PolledBlock &old : gone)
            remove([&old](const PolledBlock &block) {
                return holds(old, block.station, block.register_class, block.first);
            });
        open_.insert(open_.end(), come.begin(), come.end());
    }
    void station_rests(int station, std::chrono::milliseconds) override {
        silent_.insert(station);
        remove([station](const PolledBlock &block) { return block.station == station; });
    }
    void rest_ended(int station, bool has_answered) override {
        if (has_answered)
            silent_.erase(station);
    }

private:
    template <typename Condition> void remove(const Condition &condition) {
        open_.erase(std::remove_if(open_.begin(), open_.end(), condition), open_.end());
    }

    const HoleFinder *holes_ = nullptr;
    std::vector<PolledBlock> open_;
    std::set<int> silent_;
    std::atomic<bool> complete_{false};
};

std::vector<const Variable *> missing_variables(const Driver &driver, const PollList &list, const Holes &holes) {
    std::vector<const Variable *> missing;
    for (const Variable &variable : list.variables) {
        const RegisterType &type = register_type(variable.type);
        const int number = driver.number_of(variable.type, variable.address).value_or(0);
        const NumberRange range = range_in_class(type, number, variable.count);
        if (std::any_of(holes.missing.begin(), holes.missing.end(), [&](const PolledBlock &hole) {
                return hole.station == variable.station && hole.register_class == type.register_class &&
                       hole.first <= range.last && std::int64_t{hole.first} + hole.count > range.first;
            }))
            missing.push_back(&variable);
    }
    return missing;
}

// What stations are to get in the list, each with the reason.
std::map<int, std::vector<std::string>> keys_of(const Holes &holes) {
    std::map<int, const PolledBlock *> shortest;
    for (const PolledBlock &gap : holes.unread) {
        const PolledBlock *&known = shortest[gap.station];
        if (known == nullptr || gap.count < known->count)
            known = &gap;
    }
    std::map<int, std::vector<std::string>> keys;
    for (const auto &[station, gap] : shortest)
        keys[station].push_back("max-gap = " + std::to_string(gap->count - 1) + "    # class " +
                                std::to_string(gap->register_class) + ": " + range_text(gap->first, gap->count) +
                                " cannot be read together with what is around");
    for (const auto &[station, longest] : holes.longest)
        keys[station].push_back("max-count = " + std::to_string(longest) + "    # it refuses more");
    return keys;
}

void print_learned(const Driver &driver, const PollList &list, const std::string &title, const Holes &holes,
                   std::ostream &out) {
    const std::vector<const Variable *> missing = missing_variables(driver, list, holes);
    const auto keys = keys_of(holes);
    if (missing.empty() && keys.empty()) {
        out << "# " << title << ": nothing that was asked for was refused\n";
        return;
    }
    if (!missing.empty())
        out << "# " << title << ": the controller refuses these variables; correct them or take them out\n";
    for (const Variable *const variable : missing)
        out << "#   " << in_quotes(variable->name) << " (" << place_of(*variable) << ")\n";
    for (const auto &[station, lines] : keys) {
        out << "\n[[station]]\nnumber = " << station << "\n";
        for (const std::string &line : lines)
            out << line << "\n";
    }
}

// Parts of a block that is being taken apart are not named: the block is.
void print_open(std::vector<PolledBlock> blocks, const std::vector<PolledBlock> &taken_apart, std::ostream &out) {
    blocks.erase(std::remove_if(blocks.begin(), blocks.end(),
                                [&taken_apart](const PolledBlock &part) {
                                    return std::any_of(
                                        taken_apart.begin(), taken_apart.end(), [&part](const PolledBlock &block) {
                                            return holds(block, part.station, part.register_class, part.first);
                                        });
                                }),
                 blocks.end());
    out << "# ended before everything was found out\n";
    const auto print = [&out](const PolledBlock &block, const char *what) {
        out << "#   station " << block.station << ", class " << block.register_class << ", "
            << range_text(block.first, block.count) << ": " << what << "\n";
    };
    for (const PolledBlock &block : blocks)
        print(block, "not asked for");
    for (const PolledBlock &block : taken_apart)
        print(block, "refused, and not taken apart completely");
}

}  // namespace

ExitCode run_learn(Driver &driver, const PollList &list, const std::string &title, std::chrono::seconds most_time,
                   StopSignal &stop, std::ostream &out) {
    Verdicts verdicts;
    LinkSettings settings = list.link;
    settings.rest.enabled = true;
    Session session(driver, settings, stop, {&verdicts}, OnLoss::end);
    driver.poll(places_to_read(driver, list.variables));
    std::vector<PolledBlock> blocks = driver.all_blocks();
    for (const Station &station : list.stations)
        if (!station.enabled) {
            driver.switch_station(station.number, false);
            blocks.erase(std::remove_if(blocks.begin(), blocks.end(),
                                        [&](const PolledBlock &block) { return block.station == station.number; }),
                         blocks.end());
        }
    verdicts.expect(blocks, *session.holes());
    session.start();
    const auto end = std::chrono::steady_clock::now() + most_time;
    while (!verdicts.are_complete() && !stop.raised() && std::chrono::steady_clock::now() < end)
        stop.wait_for(look_time);
    session.finish();
    if (!session.line_error().empty()) {
        out << "# " << title << ": the line was lost: " << session.line_error() << "\n";
        return ExitCode::no_line;
    }
    print_learned(driver, list, title, session.holes()->holes(), out);
    for (const int station : verdicts.silent())
        out << "# station " << station << " gave no reply: nothing was learned about it\n";
    if (!verdicts.are_complete())
        print_open(verdicts.open(), session.holes()->open_blocks(), out);
    return !verdicts.silent().empty() ? ExitCode::no_reply
           : verdicts.are_complete()  ? ExitCode::all_well
                                      : ExitCode::not_right;
}

}  // namespace kelpo

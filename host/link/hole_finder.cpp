#include "host/link/hole_finder.h"

#include "host/link/rtu_shape.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <utility>

namespace kelpo {
namespace {

// As long as nothing of a block was read, the search pauses after this number of refusals in a row: the station may
// refuse all.
constexpr int most_refusals = 8;
// How much of it is tried each time that the whole block was refused again.
constexpr std::size_t tried_again = 3;

bool is_in(const std::vector<PolledBlock> &blocks, const PolledBlock &wanted) {
    return std::find(blocks.begin(), blocks.end(), wanted) != blocks.end();
}

void add_those_not_in(const std::vector<PolledBlock> &known, const std::vector<PolledBlock> &blocks,
                      std::vector<PolledBlock> &added) {
    std::copy_if(blocks.begin(), blocks.end(), std::back_inserter(added),
                 [&known](const PolledBlock &block) { return !is_in(known, block); });
}

bool holds(const PolledBlock &block, const Exchange &exchange) {
    return block.station == exchange.station && block.register_class == exchange.type &&
           exchange.address >= block.first && exchange.address < std::int64_t{block.first} + block.count;
}

constexpr unsigned illegal_address = 2, illegal_value = 3;

// Another part of the same block may be answered.
bool is_of_its_place(const Exchange &exchange) {
    const auto code = rtu::exception_code(exchange.reply, exchange.request);
    return code && (*code == illegal_address || *code == illegal_value);
}

}  // namespace

void HoleFinder::about_to_ask() {
    if (driver_.is_request_in_flight())
        return;
    if (std::exchange(switched_, driver_.times_switched()) != driver_.times_switched())
        forget_all();
    if (std::exchange(changed_, false))
        put_in_place();
}

void HoleFinder::exchanged(const Exchange &exchange) {
    if (!exchange.name.is_of_list())
        return;
    if (exchange.outcome == Outcome::given_up && is_of_its_place(exchange)) {
        refused(exchange);
    } else if (exchange.outcome == Outcome::good) {
        const auto found = part_at(exchange);
        // Some blocks take two requests; the second one comes after a good reply to the first.
        if (found) {
            const PolledBlock block = block_of(*found->first, found->first->parts[found->second]);
            if (exchange.address + exchange.count == block.first + block.count)
                answered(*found->first, found->second);
        }
    }
}

void HoleFinder::refused(const Exchange &exchange) {
    const bool is_too_long = rtu::exception_code(exchange.reply, exchange.request) == illegal_value;
    if (const auto found = part_at(exchange)) {
        found->first->was_too_long = found->first->was_too_long || is_too_long;
        refused(*found->first, found->second);
        return;
    }
    const bool is_slow = exchange.name.is_slow();
    std::vector<PolledBlock> blocks;
    if (!is_slow)
        blocks = driver_.blocks();
    for (const SlowBlock &slow : driver_.slow_blocks())
        if (is_slow)
            blocks.push_back(slow.block);
    const auto found = std::find_if(blocks.begin(), blocks.end(),
                                    [&exchange](const PolledBlock &block) { return holds(block, exchange); });
    if (found != blocks.end())
        begin(*found, is_slow, is_too_long);
}

std::optional<std::pair<HoleFinder::Hunt *, std::size_t>> HoleFinder::part_at(const Exchange &exchange) {
    const auto hunts = hunts_.find({exchange.station, exchange.type});
    if (hunts == hunts_.end())
        return std::nullopt;
    for (Hunt &hunt : hunts->second)
        for (std::size_t i = 0; i < hunt.parts.size(); ++i)
            if (hunt.parts[i].state != State::parked && holds(block_of(hunt, hunt.parts[i]), exchange))
                return std::make_pair(&hunt, i);
    return std::nullopt;
}

void HoleFinder::begin(const PolledBlock &block, bool is_slow, bool is_too_long) {
    Hunt hunt;
    hunt.block = block;
    hunt.is_slow = is_slow;
    hunt.was_too_long = is_too_long;
    hunt.atoms = atoms_of(block);
    if (hunt.atoms.size() < 2)
        return;
    hunt.missing.resize(hunt.atoms.size());
    hunt.separate.resize(hunt.atoms.size());
    hunt.parts = {{0, hunt.atoms.size(), State::unknown}};
    hunt.in_place = {block};
    hunt.refusals_left = most_refusals;
    std::vector<Hunt> &hunts = hunts_[{block.station, block.register_class}];
    hunts.push_back(std::move(hunt));
    refused(hunts.back(), 0);
}

void HoleFinder::refused(Hunt &hunt, std::size_t index) {
    Part &part = hunt.parts[index];
    const Part was = part;
    const bool is_whole_again = was.state == State::missing && was.end - was.begin == hunt.atoms.size();
    if (was.state == State::missing && !is_whole_again)
        return;
    hunt.refused.emplace_back(was.begin, was.end);
    if (is_whole_again) {
        if (!search_again(hunt))
            return;
    } else if (was.state == State::joined) {
        part = {was.begin, was.seam, State::there};
        hunt.parts.insert(hunt.parts.begin() + static_cast<std::ptrdiff_t>(index) + 1,
                          {was.seam, was.end, State::there});
    } else if (was.end - was.begin == 1) {
        part.state = State::missing;
        hunt.missing[was.begin] = true;
        --hunt.refusals_left;
    } else {
        halve(hunt, index);
        --hunt.refusals_left;
    }
    go_on(hunt);
}

void HoleFinder::answered(Hunt &hunt, std::size_t index) {
    Part &part = hunt.parts[index];
    if (part.state == State::there)
        return;
    const std::size_t begin = part.begin, end = part.end;
    // What was refused with it before may not be refused any more.
    if (part.state == State::missing)
        hunt.refused.erase(std::remove_if(hunt.refused.begin(), hunt.refused.end(),
                                          [&](const auto &run) { return run.first < end && run.second > begin; }),
                           hunt.refused.end());
    std::fill(hunt.missing.begin() + static_cast<std::ptrdiff_t>(begin),
              hunt.missing.begin() + static_cast<std::ptrdiff_t>(end), false);
    part.state = State::there;
    hunt.any_there = true;
    part_what_must_be_refused(hunt, index + 1);
    for (Part &parked : hunt.parts)
        if (parked.state == State::parked)
            parked.state = State::unknown;
    go_on(hunt);
}

// What was refused together with a half that was read now, without a gap between them, would be refused by itself too.
void HoleFinder::part_what_must_be_refused(Hunt &hunt, std::size_t index) {
    if (index >= hunt.parts.size() || hunt.was_too_long)
        return;
    const Part before = hunt.parts[index - 1], part = hunt.parts[index];
    const bool is_second_half = std::find(hunt.refused.begin(), hunt.refused.end(),
                                          std::make_pair(before.begin, part.end)) != hunt.refused.end();
    const bool has_gap = hunt.atoms[part.begin].first > hunt.atoms[part.begin - 1].end;
    if (part.state == State::unknown && is_second_half && !has_gap && part.end - part.begin > 1)
        halve(hunt, index);
}

void HoleFinder::halve(Hunt &hunt, std::size_t index) {
    const Part whole = hunt.parts[index];
    const std::size_t middle = whole.begin + (whole.end - whole.begin) / 2;
    hunt.refused.emplace_back(whole.begin, whole.end);
    hunt.parts[index] = {whole.begin, middle, State::unknown};
    hunt.parts.insert(hunt.parts.begin() + static_cast<std::ptrdiff_t>(index) + 1, {middle, whole.end, State::unknown});
}

void HoleFinder::go_on(Hunt &hunt) {
    hunt.changed = changed_ = true;
    const bool any_unknown = std::any_of(hunt.parts.begin(), hunt.parts.end(),
                                         [](const Part &part) { return part.state == State::unknown; });
    if (!hunt.any_there && (hunt.refusals_left <= 0 || !any_unknown))
        give_back(hunt);
    else if (!any_unknown)
        finish(hunt);
    int open = 0;
    for (const auto &[group, hunts] : hunts_)
        open += static_cast<int>(std::count_if(hunts.begin(), hunts.end(), is_open));
    open_ = open;
}

// The block as it was, until it is refused again.
void HoleFinder::give_back(Hunt &hunt) {
    hunt.parts = {{0, hunt.atoms.size(), State::missing}};
}

// Nothing of the block was read yet: some places that were not tried are tried. False when there are none.
bool HoleFinder::search_again(Hunt &hunt) {
    std::vector<std::size_t> untried;
    for (std::size_t i = 0; i < hunt.atoms.size(); ++i)
        if (!hunt.missing[i])
            untried.push_back(i);
    if (untried.empty())
        return false;
    const std::size_t tries = std::min(tried_again, untried.size());
    hunt.parts.clear();
    std::size_t done = 0;
    const auto park_until = [&hunt, &done](std::size_t end) {
        if (end > done)
            hunt.parts.push_back({done, end, State::parked});
    };
    for (std::size_t i = 0; i < tries; ++i) {
        const std::size_t atom = untried[i * untried.size() / tries];
        park_until(atom);
        hunt.parts.push_back({atom, atom + 1, State::unknown});
        done = atom + 1;
    }
    park_until(hunt.atoms.size());
    hunt.refusals_left = static_cast<int>(tries);
    return true;
}

// All parts were read or refused.
void HoleFinder::finish(Hunt &hunt) {
    std::vector<Part> parts;
    for (const Part &part : hunt.parts) {
        if (!parts.empty() && part.state == State::missing && parts.back().state == State::missing)
            parts.back().end = part.end;
        else
            parts.push_back(part);
    }
    hunt.parts = std::move(parts);
    const bool joins =
        std::any_of(hunt.parts.begin(), hunt.parts.end(), [](const Part &part) { return part.state == State::joined; });
    if (!joins)
        join_two(hunt);
}

// False also when what both read together was refused.
bool HoleFinder::may_join(Hunt &hunt, std::size_t second) {
    const Part &before = hunt.parts[second - 1], &part = hunt.parts[second];
    if (before.state != State::there || part.state != State::there)
        return false;
    if (std::any_of(hunt.refused.begin(), hunt.refused.end(),
                    [&](const auto &run) { return run.first >= before.begin && run.second <= part.end; }))
        hunt.separate[part.begin] = true;
    return !hunt.separate[part.begin];
}

// The shortest two parts that may be read together.
void HoleFinder::join_two(Hunt &hunt) {
    std::vector<Part> &parts = hunt.parts;
    std::size_t best = 0;
    const auto length = [&parts](std::size_t second) {
        return parts[second].end - parts[second - 1].begin;
    };
    for (std::size_t i = 1; i < parts.size(); ++i)
        if (may_join(hunt, i) && (best == 0 || length(i) < length(best)))
            best = i;
    if (best == 0)
        return;
    parts[best - 1] = {parts[best - 1].begin, parts[best].end, State::joined, parts[best].begin};
    parts.erase(parts.begin() + static_cast<std::ptrdiff_t>(best));
}

bool HoleFinder::is_open(const Hunt &hunt) {
    return std::any_of(hunt.parts.begin(), hunt.parts.end(),
                       [](const Part &part) { return part.state == State::unknown || part.state == State::joined; });
}

PolledBlock HoleFinder::block_of(const Hunt &hunt, const Part &part) {
    // The whole block may begin or end with what no variable uses.
    if (part.end - part.begin == hunt.atoms.size())
        return hunt.block;
    const int first = hunt.atoms[part.begin].first;
    return {hunt.block.station, hunt.block.register_class, first, hunt.atoms[part.end - 1].end - first};
}

std::vector<HoleFinder::Atom> HoleFinder::atoms_of(const PolledBlock &block) const {
    std::vector<Atom> atoms;
    const int end = block.first + block.count;
    for (const PolledBlock &place : driver_.polled_places(block.station, block.register_class)) {
        const Atom atom{std::max(place.first, block.first), std::min(place.first + place.count, end)};
        if (atom.first >= atom.end)
            continue;
        if (!atoms.empty() && atom.first < atoms.back().end)
            atoms.back().end = std::max(atoms.back().end, atom.end);
        else
            atoms.push_back(atom);
    }
    return atoms;
}

// What is to be found out comes first, what is known of the same blocks last.
void HoleFinder::put_in_place() {
    Order order;
    order.others = driver_.blocks();
    const std::size_t before = order.others.size();
    for (auto &[group, hunts] : hunts_)
        for (Hunt &hunt : hunts)
            if (std::exchange(hunt.changed, false))
                put_in_place(hunt, order);
    if (order.others.size() != before) {
        order.first.insert(order.first.end(), order.others.begin(), order.others.end());
        order.first.insert(order.first.end(), order.last.begin(), order.last.end());
        driver_.set_blocks(order.first);
    }
    watcher_.blocks_replaced(order.gone, order.come);
}

void HoleFinder::put_in_place(Hunt &hunt, Order &order) {
    const std::vector<PolledBlock> before = std::exchange(hunt.in_place, {});
    std::vector<PolledBlock> gone, come;
    for (const Part &part : hunt.parts)
        if (part.state != State::parked)
            hunt.in_place.push_back(block_of(hunt, part));
    add_those_not_in(hunt.in_place, before, gone);
    add_those_not_in(before, hunt.in_place, come);
    order.gone.insert(order.gone.end(), gone.begin(), gone.end());
    order.come.insert(order.come.end(), come.begin(), come.end());
    if (hunt.is_slow) {
        slow_.replace(gone, come);
        return;
    }
    order.others.erase(std::remove_if(order.others.begin(), order.others.end(),
                                      [&before](const PolledBlock &block) { return is_in(before, block); }),
                       order.others.end());
    for (const Part &part : hunt.parts)
        if (part.state != State::parked)
            (part.state == State::unknown ? order.first : order.last).push_back(block_of(hunt, part));
}

void HoleFinder::forget_all() {
    for (auto &[group, hunts] : hunts_)
        for (Hunt &hunt : hunts) {
            give_back(hunt);
            hunt.any_there = false;
            hunt.changed = changed_ = true;
        }
    if (changed_)
        put_in_place();
    changed_ = false;
    hunts_.clear();
    open_ = 0;
}

std::vector<PolledBlock> HoleFinder::open_blocks() const {
    std::vector<PolledBlock> blocks;
    for (const auto &[group, hunts] : hunts_)
        for (const Hunt &hunt : hunts)
            if (is_open(hunt))
                blocks.push_back(hunt.block);
    return blocks;
}

Holes HoleFinder::holes() const {
    Holes holes;
    for (const auto &[group, hunts] : hunts_)
        for (const Hunt &hunt : hunts)
            add_holes(hunt, holes);
    return holes;
}

void HoleFinder::add_holes(const Hunt &hunt, Holes &holes) {
    const Part *before = nullptr;
    for (const Part &part : hunt.parts) {
        if (part.state == State::missing)
            for (std::size_t atom = part.begin; atom < part.end; ++atom)
                holes.missing.push_back(block_of(hunt, {atom, atom + 1, State::missing}));
        if (part.state != State::there)
            continue;
        const Part *const neighbour = std::exchange(before, &part);
        if (neighbour == nullptr || (neighbour->end == part.begin && !hunt.separate[part.begin]))
            continue;
        const int end = hunt.atoms[neighbour->end - 1].end, first = hunt.atoms[part.begin].first;
        if (first > end) {
            holes.unread.push_back({hunt.block.station, hunt.block.register_class, end, first - end});
        } else {
            int &longest = holes.longest[hunt.block.station];
            longest = std::max({longest, block_of(hunt, part).count, block_of(hunt, *neighbour).count});
        }
    }
}

}  // namespace kelpo

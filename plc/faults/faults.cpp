#include "plc/faults/faults.h"

namespace plc {
namespace {

constexpr std::size_t address_at = 2;
constexpr std::size_t quantity_at = 4;

bool fits(const std::optional<unsigned> &wanted, unsigned found) {
    return !wanted || *wanted == found;
}

// A request that is too short to name an address fits no fault that names one.
bool fits_address(const std::optional<unsigned> &wanted, const Bytes &request) {
    return !wanted || (is_served(request[1]) && *wanted == word_at(request.data(), address_at));
}

bool names_one_address(const Bytes &request) {
    return request[1] == write_single_coil || request[1] == write_single_register;
}

bool touches(const std::optional<unsigned> &wanted, const Bytes &request) {
    if (!wanted)
        return true;
    if (!is_served(request[1]))
        return false;
    const unsigned first = word_at(request.data(), address_at);
    const unsigned quantity = names_one_address(request) ? 1 : word_at(request.data(), quantity_at);
    return *wanted >= first && *wanted - first < quantity;
}

bool fits(const Fault &fault, const Bytes &request) {
    return fits(fault.station, request[0]) && fits(fault.function, request[1]) &&
           fits_address(fault.address, request) && touches(fault.touches, request);
}

}  // namespace

Faults::Faults(const std::vector<Fault> &faults, std::uint32_t seed)
    : faults_(faults), counts_(faults.size()), still_lasts_(faults.size()), seed_(seed) {}

std::optional<Happening> Faults::next(const Bytes &request) {
    std::optional<Happening> first;
    for (std::size_t number = 0; number < faults_.size(); ++number)
        if (const auto happening = meet(number, request, !first))
            first = happening;
    return first;
}

bool Faults::misses_broadcast(const Bytes &request) {
    bool misses = false;
    for (std::size_t number = 0; number < faults_.size(); ++number)
        if (faults_[number].kind == FaultKind::dead && meet(number, request, !misses))
            misses = true;
    return misses;
}

std::optional<Happening> Faults::meet(std::size_t number, const Bytes &request, bool may_happen) {
    const Fault &fault = faults_[number];
    if (!fits(fault, request))
        return std::nullopt;
    FaultCount &count = counts_[number];
    Random random(seed_, static_cast<std::uint32_t>(number), count.fitted);
    const bool its_turn = takes_its_turn(number, random);
    ++count.fitted;
    if (!its_turn || !may_happen || (fault.times && count.happened >= *fault.times))
        return std::nullopt;
    ++count.happened;
    return Happening{fault, random, number};
}

bool Faults::takes_its_turn(std::size_t number, Random &random) {
    const Fault &fault = faults_[number];
    const std::uint64_t fitted = counts_[number].fitted;
    const unsigned spared = fault.after.value_or(0);
    unsigned &still_lasts = still_lasts_[number];
    if (fitted < spared)
        return false;
    if (still_lasts > 0) {
        --still_lasts;
        return true;
    }
    const bool begins = fault.rate ? random.below(fault.rate->whole) < fault.rate->part
                                   : (fitted - spared) % fault.every.value_or(1) == 0;
    if (begins)
        still_lasts = fault.lasts.value_or(1) - 1;
    return begins;
}

}  // namespace plc

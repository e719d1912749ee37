#pragma once

#include "variables.h"

#include "plc/memory/memory_reader.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace soak {

/// The number of a controller, and a moment of it: each begins at moment 0. Controller -1: never.
struct Age {
    int controller;
    plc::Moment moment;
};

/// What is known of all cells that variables use: what is constant, what moves, and what was written. For one thread at
/// a time.
class Cells {
public:
    explicit Cells(const std::vector<Variable> &variables);

    /// Lines of a preset file: what a controller begins with. From the memory of the one before, if there is one.
    std::string presets(const plc::MemoryReader *before) const;

    /// Write number `serial` of the variable was asked for: from now on it may be shown.
    void asked(int variable, std::uint32_t serial);

    /// The controller carried out a write of the variable. Returns what is wrong with it, or nothing. `bit` is the bit
    /// that was to be merged, as register x 16 + bit of the request, or -1. `merged_badly` says that it was merged into
    /// a register from a wrong reply: then other bits may be lost. `places` receives the numbers of the places that
    /// were written.
    std::string carried_out(int variable, std::uint32_t serial, const plc::LoggedWrite &write, int bit,
                            bool merged_badly, std::vector<int> &places);

    /// The driver took a reply for these cells: the right one, of a time not before `age`, or (`right` false) one that
    /// was meant for another request.
    void read(int station, bool coils, int address, int count, bool right, Age age, std::uint64_t exchange);

    /// The oldest that a screen may show: called before the value is fetched.
    std::vector<std::uint32_t> floors(int variable) const;
    std::vector<Age> ages(int variable) const;

    /// Judges what was shown. Returns what is wrong, or nothing.
    std::string judge(int variable, const QByteArray &shown, const std::vector<std::uint32_t> &floors,
                      const std::vector<Age> &ages, Age now, const std::vector<plc::Moment> &last_moments) const;

    /// Whether a reply that was meant for another request may have filled any of the variable's cells since `exchange`.
    bool tainted_since(int variable, std::uint64_t exchange) const;

    /// Whether all of the variable was read, by right replies, after `exchange`.
    bool read_since(int variable, std::uint64_t exchange) const;

    /// Compares what was written, according to the log, with what the memory holds. Returns the first difference.
    std::string compare(const plc::MemoryReader &memory) const;

    /// Compares what is shown with what the memory holds, while nothing is written. Places that move are skipped.
    std::string compare_shown(int variable, const QByteArray &shown, const plc::MemoryReader &memory) const;

private:
    struct Written {
        int variable;
        int place;
        int bit;                    // -1: all of the cell
        std::uint32_t applied = 0;  // serial of the last write that the controller carried out
        std::uint32_t floor = 0;    // the last of those before the last right reply
    };
    struct State {
        Cell cell;
        bool moves = false;
        std::vector<Written> written;
        std::uint16_t holds = 0;  // according to the log; unused for moving cells
        bool tainted = false;
        bool scrambled = false;
        std::uint64_t untainted_at = 0;
        std::uint64_t read_at = 0;  // the last right reply
        Age age{-1, 0};             // what is shown is not older than this
    };

    State *find(int station, bool coil, int address);
    const State &at(const Place &place) const;
    bool may_show(const State &state, std::uint16_t value, int bit, std::uint32_t floor, Age age, Age now,
                  const std::vector<plc::Moment> &last_moments) const;

    const std::vector<Variable> &variables_;
    std::vector<std::uint32_t> asked_;
    std::vector<State> states_;
    std::vector<std::int32_t> index_;  // by station, table and address
};

}  // namespace soak

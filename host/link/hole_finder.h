#pragma once

#include "host/driver/driver.h"
#include "host/link/link_watcher.h"
#include "host/link/slow_reads.h"

#include <atomic>
#include <cstddef>
#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace kelpo {

/// What was found out about the blocks of a list that a controller refuses.
struct Holes {
    std::vector<PolledBlock> missing;  ///< what variables name, and does not exist
    std::vector<PolledBlock> unread;   ///< what is between two places that exist, and cannot be read with both
    std::map<int, int> longest;        ///< by station: the most units that it answered, where it refused more of them
};

/// Takes blocks apart that are refused because of their address or their length (exceptions 2 and 3), until what exists
/// is read: by halves, never within a variable. The parts take the place of the block in the driver's list, and what
/// was found stays until the user switches a station. Then the parts that exist are joined again as far as the
/// controller allows. What does not exist stays in the list as a part of its own, and so does a block of which nothing
/// exists.
///
/// For the link's thread alone.
class HoleFinder : public LinkWatcher {
public:
    /// `slow` reads what is not in the cycle; `watcher` is informed of blocks that have changed. All must outlive the
    /// object.
    HoleFinder(Driver &driver, SlowReads &slow, LinkWatcher &watcher)
        : driver_(driver), slow_(slow), watcher_(watcher) {}

    void about_to_ask() override;
    void exchanged(const Exchange &exchange) override;

    /// How many blocks are being taken apart or joined. From any thread.
    int open() const {
        return open_;
    }

    /// The blocks that they are parts of. While no link runs.
    std::vector<PolledBlock> open_blocks() const;

    /// What was found out so far. While no link runs.
    Holes holes() const;

private:
    // What is never parted: a variable, or several that overlap.
    struct Atom {
        int first;
        int end;
    };

    enum class State {
        unknown,  // not asked for yet
        there,    // was read
        joined,   // two that were read, and are to be read together
        missing,  // was refused
        parked    // not in the list for the moment
    };

    // Atoms that one block reads.
    struct Part {
        std::size_t begin;
        std::size_t end;
        State state;
        std::size_t seam = 0;  // of joined: where the second one begins
    };

    // A block that was refused.
    struct Hunt {
        PolledBlock block;
        bool is_slow = false;  // it is not in the cycle
        std::vector<Atom> atoms;
        std::vector<Part> parts;
        std::vector<bool> missing;   // each of the atoms
        std::vector<bool> separate;  // by atom: it cannot be read together with the one before it
        std::vector<std::pair<std::size_t, std::size_t>> refused;  // runs of atoms that were
        std::vector<PolledBlock> in_place;
        int refusals_left = 0;  // refusals until the search pauses, as long as nothing of the block exists
        bool any_there = false;
        bool was_too_long = false;  // it may be refused because of its length
        bool changed = false;
    };

    // The driver's blocks, and what has changed.
    struct Order {
        std::vector<PolledBlock> first, others, last, gone, come;
    };

    using Group = std::pair<int, int>;  // a station and a register class

    void refused(const Exchange &exchange);
    void refused(Hunt &hunt, std::size_t index);
    void answered(Hunt &hunt, std::size_t index);
    void begin(const PolledBlock &block, bool is_slow, bool is_too_long);
    static void part_what_must_be_refused(Hunt &hunt, std::size_t index);
    static void halve(Hunt &hunt, std::size_t index);
    void go_on(Hunt &hunt);
    static bool search_again(Hunt &hunt);
    static void give_back(Hunt &hunt);
    static void finish(Hunt &hunt);
    static void join_two(Hunt &hunt);
    static bool may_join(Hunt &hunt, std::size_t second);
    static void add_holes(const Hunt &hunt, Holes &holes);
    static PolledBlock block_of(const Hunt &hunt, const Part &part);
    static bool is_open(const Hunt &hunt);
    void put_in_place(Hunt &hunt, Order &order);
    std::optional<std::pair<Hunt *, std::size_t>> part_at(const Exchange &exchange);
    std::vector<Atom> atoms_of(const PolledBlock &block) const;
    void put_in_place();
    void forget_all();

    Driver &driver_;
    SlowReads &slow_;
    LinkWatcher &watcher_;
    std::map<Group, std::vector<Hunt>> hunts_;
    bool changed_ = false;
    int switched_ = 0;  // how often the user had switched stations when all of this was found
    std::atomic<int> open_{0};
};

}  // namespace kelpo

/// \file
/// Random sessions of the driver, side by side with the model.
///
/// KELPO_MODEL_SEED=<number> runs one session with that seed instead of the fixed ones; KELPO_MODEL_STEPS=<number> is
/// the number of operations of a session; KELPO_MODEL_TALLY=1 prints how often each kind of thing happened.
#include "session.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

namespace {

const unsigned fixed_sessions = 40;
const unsigned fixed_steps = 3000;

// What must happen at least once in the fixed sessions; otherwise they no longer test it.
const char *const kinds[] = {
    "max_count lowered to 100",
    "all stations enabled",
    "station disabled",
    "station enabled",
    "station mode without a meaning",
    "write dropped, queue full",
    "once-read passed through beyond the limit",
    "once-read with a bad address",
    "once-read queued already",
    "once-read dropped, queue full",
    "once-read cut into pieces",
    "empty read list",
    "polled variable with a bad address",
    "limit-1 mode",
    "limit-1 mode: larger count at the same address",
    "limit-1 mode: dropped",
    "block opened after counts of 0 in an empty list",
    "first count of 0 or less",
    "long variable cut",
    "covered by the block",
    "extends a block of another group",
    "bit merge",
    "register merge",
    "continuation piece",
    "type without a cache",
    "value of an impossible length",
    "queued write put into the cache at once",
    "write into the cache only",
    "host write with a bad address",
    "host byte spills into neighbouring bits",
    "bit write cut into chunks",
    "register write filled up with 0x30",
    "register write cut into chunks",
    "leftover bytes of a 32-bit value",
    "leftover byte after the chunk dropped",
    "32-bit write on registers cut into chunks",
    "32-bit write cut into chunks",
    "type that is not writable",
    "read without a frame refused",
    "split bit read",
    "split register read",
    "write of an unknown type refused",
    "write while failed leaves the cache alone",
    "single coil",
    "odd value bytes completed with zeros",
    "write too long for a frame refused",
    "split write too long for a frame refused",
    "split write, low byte first",
    "split write, high byte first",
    "bit-in-register write",
    "remote read",
    "remote write",
    "remote write to station 0",
    "remote write longer than its length byte",
    "request of a disabled station dropped",
    "frame in flight returned again",
    "writes skipped after five in a row",
    "write queue of disabled stations emptied",
    "once-reads skipped after five in a row",
    "once-read refused",
    "cyclic read of a disabled station skipped",
    "every cyclic read is on a disabled station",
    "cyclic read refused",
    "nothing to send",
    "bit write without a second frame",
    "bit set in a register",
    "bit cleared in a register",
    "bits stored",
    "bits stored as far as the reply reaches",
    "registers stored",
    "registers stored as far as the reply reaches",
    "32-bit values stored",
    "32-bit values stored as far as the reply reaches",
    "reply of a class that is not stored",
    "local: no reply",
    "local: wrong length",
    "reply of any length",
    "local: write answered",
    "local: failed check",
    "remote: no reply",
    "remote: wrong length",
    "remote: failed check",
    "remote: nothing stored",
    "remote: read half while success_count is 1",
    "remote: read half of a bit write",
    "queue emptied in between",
    "failure reported though a later one waits",
    "no report, a later one waits",
    "failure reported",
    "success reported",
    "once-read of a remote area ends without a report",
    "read list emptied in between",
    "purged",
    "not purged, of another station",
    "reply while nothing is in flight",
    "special short reply",
    "link works again",
    "pass over the read list done",
    "first of two replies",
    "sent again",
    "write given up",
    "once-read given up",
    "cyclic read given up",
    "second frame given up with the first",
};

unsigned number_in_environment(const char *name, unsigned otherwise) {
    const char *text = std::getenv(name);
    return text != nullptr ? static_cast<unsigned>(std::stoul(text)) : otherwise;
}

std::vector<unsigned> seeds() {
    if (std::getenv("KELPO_MODEL_SEED") != nullptr)
        return {number_in_environment("KELPO_MODEL_SEED", 0)};
    std::vector<unsigned> all;
    for (unsigned seed = 1; seed <= fixed_sessions; ++seed)
        all.push_back(seed);
    return all;
}

model::Tally happened;
unsigned sessions_ended = 0;

class RandomSession : public ::testing::TestWithParam<unsigned> {};

TEST_P(RandomSession, GivesTheSameStateInDriverAndModel) {
    const unsigned seed = GetParam();
    const unsigned steps = number_in_environment("KELPO_MODEL_STEPS", fixed_steps);
    model::SeededChoices choices(seed);
    model::Session session(choices);
    for (unsigned step = 1; step <= steps; ++step) {
        const std::string difference = session.step();
        if (!difference.empty())
            FAIL() << "seed " << seed << ", step " << step << ": " << difference
                   << "\n(expected: the model; found: the "
                   << "driver)\nThe last operations, the newest last, with the model's results:\n"
                   << session.history();
    }
    for (const auto &[kind, times] : session.happened())
        happened[kind] += times;
    ++sessions_ended;
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomSession, ::testing::ValuesIn(seeds()), ::testing::PrintToStringParamName());

// Before the first session: whether the driver is as the library's loading leaves it. After the last: whether the fixed
// sessions have tested everything; a choice of tests or another seed says nothing about that.
class BeforeAndAfter : public ::testing::Environment {
public:
    void SetUp() override {
        model::Difference difference;
        model::compare_state(difference, model::Driver());
        EXPECT_EQ(difference.text(), "") << "right after loading";
    }

    void TearDown() override {
        if (std::getenv("KELPO_MODEL_TALLY") != nullptr)
            for (const auto &[kind, times] : happened)
                std::cout << times << "\t" << kind << "\n";
        if (sessions_ended != fixed_sessions || number_in_environment("KELPO_MODEL_STEPS", fixed_steps) != fixed_steps)
            return;
        for (const char *kind : kinds)
            EXPECT_GT(happened[kind], 0u) << "never happened: " << kind;
    }
};

const ::testing::Environment *const before_and_after = ::testing::AddGlobalTestEnvironment(new BeforeAndAfter);

}  // namespace

#pragma once

#include "demo/demo_list.h"

#include <vector>

namespace kelpo {

/// A write to be tried. Nothing else in the demonstration shows or writes these addresses.
struct WriteExercise {
    DemoRow target;  ///< `moves`: the controller overwrites the place, or the word that holds the bit, every moment
    Values values;   ///< for the first round; see values_in_round

    /// What to write in the round, counted from 0: bits are inverted, numbers increased, so that a write that does not
    /// happen cannot be taken for one that does.
    Values values_in_round(int round) const;
};

/// Every writable type, single and in groups, at the ends of a range and across them, on three stations. The Modbus
/// addresses are written out by hand, so that they can disagree with the driver.
const std::vector<WriteExercise> &write_exercises();

/// A write of type 0, which the driver is to refuse.
const WriteExercise &read_only_exercise();

/// Variables that are read once, all moving and none of them polled, so that only the once-read can bring the value.
const std::vector<DemoRow> &once_read_exercises();

/// A once-read whose first reply the controller is to keep back; see docs/simulated-controller.md.
const DemoRow &dropped_reply_exercise();

/// A write that the controller is never to answer, although it carries it out.
const WriteExercise &unanswered_exercise();

/// The station that is switched off for a while.
constexpr int switched_station = 2;

}  // namespace kelpo

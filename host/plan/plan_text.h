#pragma once

#include "host/plan/plan.h"

#include <ostream>
#include <string>

namespace kelpo {

/// The plan as text: blocks with their frames, stations, the cycle, advice. At most 100 columns wide; only the names of
/// a block's variables are cut short. `title` names the list.
void print_plan(const Plan &plan, const std::string &title, std::ostream &out);

/// The plan as a JSON object, for programs; times in milliseconds.
void print_plan_json(const Plan &plan, const std::string &title, std::ostream &out);

}  // namespace kelpo

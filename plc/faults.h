#pragma once

#include <optional>
#include <string>
#include <vector>

#include "plc/frame.h"

namespace plc {

/// One thing that is to go wrong. A field that is not given fits every request.
struct Fault {
    std::optional<unsigned> station;
    std::optional<unsigned> function;
    std::optional<unsigned> address;  // the first address that the request names
    std::optional<unsigned> times;    // how often it happens; always, if not given
    unsigned every = 1;               // it happens to the first of so many requests that fit, and so on
};

/// Reads a fault from text such as "no-reply station=3 function=3 address=4990 times=1 every=2". The fields may stand
/// in any order. Throws std::invalid_argument, whose text names what it does not understand.
Fault parse_fault(const std::string &text);

/// Decides which requests stay without a reply. Counts, and so does the same in every run.
class Faults {
public:
    explicit Faults(const std::vector<Fault> &faults);

    /// To be asked once for each request that gets a reply. True when a fault keeps the reply back. Every fault that
    /// fits counts the request, also when another one keeps the reply back.
    bool keeps_back_reply_to(const Bytes &request);

private:
    struct Counted {
        Fault fault;
        unsigned long long fitted = 0;
        unsigned long long happened = 0;
    };
    std::vector<Counted> faults_;
};

}  // namespace plc

#pragma once

#include <optional>
#include <string>

namespace plc {

/// What goes wrong with a request or its reply.
enum class FaultKind {
    no_reply,        // carried out, and the reply is lost
    dead,            // neither carried out nor answered
    exception,       // refused instead of carried out
    late,            // answered late
    truncated,       // only the beginning of the reply comes
    garbled,         // a byte of the reply is changed
    wrong_station,   // the reply names another station
    wrong_function,  ///< the reply names another function
    wrong_length,    // the reply has more or less data
    pieces,          // the reply comes in pieces
    noise,           // bytes come before the reply
    noise_behind,    // bytes come after the reply
    echo,            // the request comes back before the reply
    twice,           // the reply comes twice
};

/// `part` of `whole` requests, taken at random.
struct Rate {
    unsigned part;
    unsigned whole;
};

/// One thing that goes wrong, where and how often. A field that is not given fits every request.
struct Fault {
    FaultKind kind = FaultKind::no_reply;
    std::string text;  ///< as it was written, with single blanks

    std::optional<unsigned> station;
    std::optional<unsigned> function;
    std::optional<unsigned> address;  ///< the first address that the request names
    std::optional<unsigned> touches;  ///< an address anywhere in the range that the request names

    std::optional<unsigned> after;  ///< number of fitting requests that are spared at first; 0 unless given
    std::optional<unsigned> every;  ///< it happens to the first of each `every` fitting requests; 1 unless given
    std::optional<Rate> rate;       ///< it happens to this part of the fitting requests, instead of `every`
    std::optional<unsigned> lasts;  ///< how many in a row it happens to, once it does; 1 unless given
    std::optional<unsigned> times;  ///< how often it happens; always, unless given

    std::optional<unsigned> milliseconds;  ///< how late; 100 unless given
    std::optional<unsigned> bytes;         // how many come of a truncated reply, or as noise
    std::optional<unsigned> data;          // how many bytes of data a reply of wrong length has
    std::optional<unsigned> code;          // the exception; 4 unless given
    std::optional<unsigned> size;          // bytes in each piece; 1 unless given
    std::optional<unsigned> gap;           // milliseconds between the parts of what is sent
};

/// Reads a fault from text such as "no-reply station=3 function=3 address=4990 times=1 every=2". The fields may
/// be in any order. Throws std::invalid_argument, whose text names what it does not understand and what would be right.
Fault parse_fault(const std::string &text);

/// A line for each word that a fault begins with: the word, the fields that only it has, and its meaning.
std::string help_on_faults();

}  // namespace plc

#pragma once

#include "host/driver/driver.h"
#include "host/driver/dry_run.h"

#include <optional>
#include <ostream>
#include <string>

namespace kelpo {

/// How the driver handles an address text of a register type.
struct AddressReport {
    int type;
    std::string text;
    int number;  ///< the driver's own
    AddressUse use;
    ClassMap map;  ///< of the class that it is read with
    /// For a bit in a word: the word that is written, as the register class counts, and the bit, 0 to 15.
    struct BitOfWord {
        int word;
        int bit;
    };
    std::optional<BitOfWord> bit_of_word;
};

/// Asks the driver; `text` must be an address of `type`.
AddressReport report_address(int type, const std::string &text, const Driver &driver);

/// The report in lines of "what  value".
void print_address(const AddressReport &report, std::ostream &out);

}  // namespace kelpo

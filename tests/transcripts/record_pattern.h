/// \file
/// A variable record as a transcript names it: the fields that are stated, and no others.
#ifndef TRANSCRIPTS_RECORD_PATTERN_H
#define TRANSCRIPTS_RECORD_PATTERN_H

#include "words.h"

#include "Communication_Protocol.h"

#include <string>
#include <vector>

namespace transcripts {

/// Pairs of a field's name and its value: "station 1 class 8 from 250 count 6 data 34 12".
class RecordPattern {
public:
    /// Takes all that is left of `words`; at least one field. Throws Malformed, also for a field stated twice.
    explicit RecordPattern(Words &words);

    /// The stated fields; the others are 0 or empty.
    const RW_VAR &record() const {
        return stated;
    }

    /// True when `name` is stated.
    bool names(const std::string &name) const;

    /// Throws Malformed when one of `required` is not stated, or when a field is stated that is in neither list.
    void require(const Words &words, const std::vector<std::string> &required,
                 const std::vector<std::string> &allowed) const;

    /// The stated fields as `var` has them.
    std::string as_in(const RW_VAR &var) const;

    /// The stated fields as stated.
    std::string text() const {
        return as_in(stated);
    }

private:
    RW_VAR stated;
    std::vector<std::string> fields;
};

}  // namespace transcripts

#endif

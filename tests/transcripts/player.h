/// \file
/// Plays a transcript against the driver.
#ifndef TRANSCRIPTS_PLAYER_H
#define TRANSCRIPTS_PLAYER_H

#include <istream>
#include <string>
#include <vector>

namespace transcripts {

/// Something that is not as stated, or a line that is not in the language.
struct Complaint {
    int line;
    std::string text;
};

/// Reads all of `text`, then plays it against a newly loaded driver; README.md describes the language. Returns what is
/// not as stated, in order: nothing when all is as written, a single complaint when a line is malformed.
std::vector<Complaint> play(std::istream &text);

}  // namespace transcripts

#endif

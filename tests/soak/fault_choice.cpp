#include "fault_choice.h"

#include <algorithm>

namespace soak {
namespace {

struct Kind {
    const char *word;
    std::vector<const char *> fields;
};

// Late by less than the reply time-out, by less than the settle time after it, and by more than both.
const std::vector<Kind> kinds = {
    {"no-reply", {""}},
    {"dead", {""}},
    {"exception", {" code=1", " code=2", " code=3", " code=4", " code=5", " code=6"}},
    {"late", {" ms=6", " ms=30", " ms=35", " ms=120"}},
    {"truncated", {"", " bytes=1", " bytes=4"}},
    {"garbled", {""}},
    {"wrong-station", {""}},
    {"wrong-function", {""}},
    {"wrong-length", {"", " data=0", " data=2", " data=250"}},
    {"pieces", {" size=32 gap=1", " size=5 gap=1", " size=128 gap=4"}},
    {"noise", {"", " bytes=1", " bytes=100 gap=2"}},
    {"noise-behind", {"", " bytes=8 gap=1", " bytes=60 gap=5"}},
    {"echo", {"", " gap=2"}},
    {"twice", {"", " gap=1", " gap=5"}},
};

struct Frequency {
    const char *text;
    unsigned one_in;
};

constexpr Frequency frequencies[] = {{" rate=1/1000", 1000}, {" rate=1/300", 300}, {" rate=1/100", 100},
                                     {" rate=1/30", 30},     {" rate=1/10", 10},   {" rate=1/3", 3},
                                     {" every=1", 1}};

constexpr const char *hole_word = "hole";

// With a fault in every request, each one costs a time-out: this many are enough.
constexpr unsigned most_times = 60;
constexpr std::chrono::milliseconds latest_reply(150);

std::size_t below(std::mt19937 &random, std::size_t end) {
    return random() % end;
}

// One to three places of a station that variables use. The shortest are over before the host has found them, and the
// longest stay for as long as a controller runs.
void add_holes(FaultChoice &choice, std::mt19937 &random, unsigned requests, const std::vector<Cell> &places) {
    const int station = answering_stations[below(random, std::size(answering_stations))];
    std::vector<Cell> its_own;
    std::copy_if(places.begin(), places.end(), std::back_inserter(its_own),
                 [station](const Cell &cell) { return cell.station == station; });
    const char *const code = below(random, 4) == 0 ? "3" : "2";
    for (std::size_t count = 1 + below(random, 3); count > 0; --count) {
        const unsigned times = 4 + static_cast<unsigned>(below(random, std::clamp(requests / 20, 8U, most_times)));
        choice.lines.push_back(std::string("exception code=") + code + " station=" + std::to_string(station) +
                               " touches=" + std::to_string(its_own[below(random, its_own.size())].address) +
                               " after=2 times=" + std::to_string(times));
        choice.times.push_back(times);
    }
}

bool is_wanted(const std::vector<std::string> &wanted, const std::string &word) {
    return wanted.empty() || std::find(wanted.begin(), wanted.end(), word) != wanted.end();
}

}  // namespace

FaultChoice choose_faults(std::mt19937 &random, unsigned requests_before_faults, unsigned requests,
                          const std::vector<std::string> &wanted, const std::vector<Cell> &places) {
    std::vector<Kind> open;
    for (const Kind &kind : kinds)
        if (is_wanted(wanted, kind.word))
            open.push_back(kind);
    FaultChoice choice;
    choice.latest = latest_reply;
    if (is_wanted(wanted, hole_word) && (open.empty() || below(random, 2) == 0))
        add_holes(choice, random, requests, places);
    if (open.empty())
        return choice;
    static constexpr std::size_t amounts[] = {1, 1, 2, 3, 6};
    for (std::size_t count = amounts[below(random, std::size(amounts))]; count > 0; --count) {
        const Kind &kind = open[below(random, open.size())];
        const Frequency &often = frequencies[below(random, std::size(frequencies))];
        const unsigned times = std::clamp(requests / often.one_in, 1U, std::clamp(requests / 12, 8U, most_times));
        std::string line = std::string(kind.word) + kind.fields[below(random, kind.fields.size())] + often.text +
                           " after=" + std::to_string(requests_before_faults) + " times=" + std::to_string(times);
        if (below(random, 6) == 0)
            line += " station=" + std::to_string(1 + below(random, 3));
        choice.lines.push_back(line);
        choice.times.push_back(times);
    }
    return choice;
}

std::vector<std::string> fault_words() {
    std::vector<std::string> words(kinds.size());
    std::transform(kinds.begin(), kinds.end(), words.begin(), [](const Kind &kind) { return kind.word; });
    words.emplace_back(hole_word);
    return words;
}

}  // namespace soak

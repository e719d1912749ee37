#include "host/list/poll_list.h"

#include "host/text/words.h"

#include <algorithm>

namespace kelpo {

const Station &PollList::station(int number) const {
    return *std::lower_bound(stations.begin(), stations.end(), number,
                             [](const Station &station, int wanted) { return station.number < wanted; });
}

std::string text_of(const Remark &remark) {
    std::string text = printable(remark.place.file) + ":";
    if (remark.place.line > 0)
        text += std::to_string(remark.place.line) + ":";
    return text + (remark.kind == Remark::Kind::warning ? " warning: " : " ") + remark.text;
}

}  // namespace kelpo

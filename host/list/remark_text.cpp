#include "host/list/remark_text.h"

#include <algorithm>
#include <ostream>
#include <utility>

namespace kelpo {

void sort_by_place(Remarks &remarks, const std::string &first_file) {
    std::stable_sort(remarks.begin(), remarks.end(), [&first_file](const Remark &one, const Remark &other) {
        const auto order = [&first_file](const Remark &remark) {
            return std::make_pair(remark.place.file != first_file, remark.place.line);
        };
        return order(one) < order(other);
    });
}

void print_remarks(const Remarks &remarks, const std::string &prefix, std::ostream &out) {
    constexpr std::size_t most = 100;
    struct Counts {
        std::size_t printed = 0, all = 0;
    } mistakes, warnings;
    for (const Remark &remark : remarks) {
        Counts &counts = remark.kind == Remark::Kind::mistake ? mistakes : warnings;
        counts.all += 1 + remark.more;
        if (counts.printed == most)
            continue;
        ++counts.printed;
        out << prefix << text_of(remark) << '\n';
    }
    const auto print_rest = [&](const Counts &counts, const char *what) {
        const std::size_t rest = counts.all - counts.printed;
        if (rest > 0)
            out << prefix << "and " << rest << " more " << what << (rest == 1 ? "" : "s") << '\n';
    };
    print_rest(mistakes, "mistake");
    print_rest(warnings, "warning");
}

}  // namespace kelpo

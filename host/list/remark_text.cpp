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
    std::size_t mistakes = 0, warnings = 0;
    for (const Remark &remark : remarks)
        if (++(remark.kind == Remark::Kind::mistake ? mistakes : warnings) <= most)
            out << prefix << text_of(remark) << '\n';
    const auto print_rest = [&](std::size_t count, const char *what) {
        if (count > most)
            out << prefix << "and " << count - most << " more " << what << (count - most == 1 ? "" : "s") << '\n';
    };
    print_rest(mistakes, "mistake");
    print_rest(warnings, "warning");
}

}  // namespace kelpo

#include "common/nearest.h"

#include <algorithm>
#include <numeric>

namespace common {
namespace {

// Insertions, removals, replacements and swaps of neighbours that turn one word into the other.
std::size_t distance(std::string_view one, std::string_view other) {
    std::vector<std::vector<std::size_t>> least(one.size() + 1, std::vector<std::size_t>(other.size() + 1));
    std::iota(least[0].begin(), least[0].end(), std::size_t{0});
    for (std::size_t i = 1; i <= one.size(); ++i) {
        least[i][0] = i;
        for (std::size_t j = 1; j <= other.size(); ++j) {
            const std::size_t replaced = least[i - 1][j - 1] + (one[i - 1] == other[j - 1] ? 0 : 1);
            least[i][j] = std::min({replaced, least[i - 1][j] + 1, least[i][j - 1] + 1});
            if (i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1])
                least[i][j] = std::min(least[i][j], least[i - 2][j - 2] + 1);
        }
    }
    return least[one.size()][other.size()];
}

std::string with_small_letters(std::string_view text) {
    std::string result(text);
    for (char &character : result)
        if (character >= 'A' && character <= 'Z')
            character = static_cast<char>(character - 'A' + 'a');
    return result;
}

}  // namespace

std::optional<std::string> nearest(std::string_view name, const std::vector<std::string> &known) {
    constexpr std::size_t longest = 40;
    if (name.size() > longest)
        return std::nullopt;
    const std::string small = with_small_letters(name);
    std::optional<std::string> best;
    std::size_t least = std::max<std::size_t>(1, small.size() / 3) + 1;
    for (const std::string &candidate : known) {
        // "reply" is the beginning of "reply-ms".
        const bool begins = small.size() > 2 && candidate.compare(0, small.size() + 1, small + "-") == 0;
        const std::size_t apart = begins ? 0 : distance(small, candidate);
        if (apart < least) {
            least = apart;
            best = candidate;
        }
    }
    return best;
}

}  // namespace common

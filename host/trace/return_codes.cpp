#include "host/trace/return_codes.h"

namespace kelpo {

std::string return_code_words(int code) {
    struct Row {
        int first, last;
        const char *words;
    };
    static constexpr Row rows[] = {
        {0, 0, "the reply failed, the same request is sent again"},
        {1, 1, "good reply"},
        {11, 22, "given up: the check of the reply failed"},
        {41, 52, "given up: no reply"},
        {71, 82, "given up: a reply of the wrong length, or an exception"},
        {100, 100, "good reply of a remote area"},
        {111, 122, "given up: the check of the reply failed, remote area"},
        {141, 152, "given up: no reply, remote area"},
        {171, 182, "given up: a reply of the wrong length, or an exception, remote area"},
        {1000, 1000, "not judged, the request stays in flight"},
    };
    for (const Row &row : rows)
        if (code >= row.first && code <= row.last)
            return row.words;
    return "unknown driver code " + std::to_string(code);
}

}  // namespace kelpo

#include "host/frames/return_codes.h"

#include <ozna_kelpo_constants.h>

namespace kelpo {

std::string return_code_words(int code) {
    using namespace ozna_kelpo;
    struct Row {
        int first, last;
        const char *words;
    };
    static constexpr Row rows[] = {
        {code_sent_again, code_sent_again, "the reply failed, the same request is sent again"},
        {code_good, code_good, "good reply"},
        {code_check_failed_first, code_check_failed_last, "given up: the check of the reply failed"},
        {code_no_reply_first, code_no_reply_last, "given up: no reply"},
        {code_wrong_length_first, code_wrong_length_last, "given up: a reply of the wrong length, or an exception"},
        {code_remote_good, code_remote_good, "good reply of a remote area"},
        {code_remote_check_failed_first, code_remote_check_failed_last,
         "given up: the check of the reply failed, remote area"},
        {code_remote_no_reply_first, code_remote_no_reply_last, "given up: no reply, remote area"},
        {code_remote_wrong_length_first, code_remote_wrong_length_last,
         "given up: a reply of the wrong length, or an exception, remote area"},
        {code_not_now, code_not_now, "not judged, the request stays in flight"},
    };
    for (const Row &row : rows)
        if (code >= row.first && code <= row.last)
            return row.words;
    return "unknown driver code " + std::to_string(code);
}

}  // namespace kelpo

#include "host/link/stray_bytes.h"

#include "host/line/modbus.h"
#include "host/link/rtu_shape.h"

#include <cstddef>

namespace kelpo {

void StrayBytes::hear(std::string_view bytes, ReplyLedger::Arrival arrival) {
    // From noise that does not end the beginning is enough.
    if (unjudged_.size() < rtu::most_bytes)
        unjudged_ += bytes;
    std::string_view left = unjudged_;
    while (!left.empty()) {
        const std::size_t size = ledger_.reply_size(left);
        if (size == 0 || size > left.size()) {
            // The rest of a reply may follow; what cannot be the beginning of one is skipped.
            if (size == 0 && left.size() > modbus::exception_size)
                left.remove_prefix(1);
            else
                break;
            continue;
        }
        const std::string_view reply = left.substr(0, size);
        const bool whole = rtu::crc_is_right(reply);
        if (whole)
            ledger_.heard(reply, {}, arrival);
        left.remove_prefix(whole ? size : 1);
    }
    unjudged_.erase(0, unjudged_.size() - left.size());
}

}  // namespace kelpo

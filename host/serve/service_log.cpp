#include "host/serve/service_log.h"

#include "host/text/words.h"

#include <ostream>

namespace kelpo {

void ServiceLog::say(Level level, const std::string &text) {
    const std::lock_guard<std::mutex> locked(mutex_);
    if (is_for_journal_)
        output_ << '<' << static_cast<int>(level) << '>';
    else
        output_ << "kelpo: ";
    output_ << printable(text) << std::endl;
}

}  // namespace kelpo

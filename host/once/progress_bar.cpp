#include "host/once/progress_bar.h"

#include <algorithm>
#include <ostream>

namespace kelpo {

void ProgressBar::draw(std::size_t done, const std::string &text) {
    constexpr std::size_t width = 40;
    if (!shown_ || text == text_)
        return;
    text_ = text;
    const std::size_t full = width * std::min(done, total_) / std::max<std::size_t>(1, total_);
    terminal_ << "\r[" << std::string(full, '#') << std::string(width - full, '.') << "] " << text << "\x1b[K"
              << std::flush;
}

void ProgressBar::clear() {
    if (!text_.empty())
        terminal_ << "\r\x1b[K" << std::flush;
    text_.clear();
}

}  // namespace kelpo

#pragma once

#include "host/line/stop_signal.h"
#include "host/poll/poll_view.h"

#include <chrono>
#include <memory>
#include <optional>

namespace kelpo {

/// What the user pressed.
struct KeyPress {
    enum class Key {
        text,  ///< a byte of UTF-8
        up,
        down,
        left,
        right,
        page_up,
        page_down,
        home,
        end,
        enter,
        escape,
        backspace,
        clear,    ///< Ctrl-U
        resized,  ///< the terminal has another size now
        hung_up,  ///< nobody is there any more
        other
    };

    Key key;
    char byte = '\0';  ///< of text
};

/// The terminal that standard input and output lead to, taken over for a screen that is painted in place. The
/// terminal's own content and settings come back when the object goes. One at a time, for one thread.
class Terminal {
public:
    /// Takes over the terminal; nothing when there is none, or none that can be painted on. Styles are left out where
    /// NO_COLOR is set, and characters outside ASCII where the locale does not have them.
    static std::unique_ptr<Terminal> take_over();

    ~Terminal();
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    PollScreenSize size() const;

    void show(const PollScreen &screen);

    /// The next key, waited for until `deadline` at most; nothing when none came or `stop` was raised.
    std::optional<KeyPress> key(std::chrono::steady_clock::time_point deadline, const StopSignal &stop);

private:
    struct Settings;

    explicit Terminal(std::unique_ptr<Settings> settings);

    std::unique_ptr<Settings> settings_;
};

}  // namespace kelpo

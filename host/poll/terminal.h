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
        hung_up,  ///< the terminal is gone
        other
    };

    Key key;
    char byte = '\0';  ///< of text
};

/// The terminal that standard input and output lead to, taken over for a screen that is updated in place. The
/// destructor restores the terminal's own content and settings. One at a time, for one thread.
class Terminal {
public:
    /// Takes over the terminal; nothing when there is none, or none on which the cursor can be placed. Styles are left
    /// out if NO_COLOR is set, and characters outside ASCII if the locale does not have them.
    static std::unique_ptr<Terminal> take_over();

    ~Terminal();
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    PollScreenSize size() const;

    /// Does nothing while the terminal takes nothing.
    void show(const PollScreen &screen);

    /// The next key, waiting until `deadline` at most; nothing when none came or `stop` was raised.
    std::optional<KeyPress> key(std::chrono::steady_clock::time_point deadline, const StopSignal &stop);

private:
    struct Settings;

    static bool takes_output();

    explicit Terminal(std::unique_ptr<Settings> settings);

    std::unique_ptr<Settings> settings_;
};

}  // namespace kelpo

#pragma once

#include <cstddef>
#include <string>

/// A pseudo-terminal: the test holds the far end, the code under test opens `path`.
class PseudoTerminal {
public:
    PseudoTerminal();
    ~PseudoTerminal();
    PseudoTerminal(const PseudoTerminal &) = delete;
    PseudoTerminal &operator=(const PseudoTerminal &) = delete;

    const std::string &path() const {
        return path_;
    }

    /// Sends to the program that has opened `path`.
    void put(const std::string &bytes);

    /// Waits until `size` bytes have come from there, and takes them.
    std::string take(std::size_t size);

    /// Takes what has come so far.
    std::string take_all();

    /// Waits until `size` bytes that were put can be read at the near end.
    void wait_until_arrived(int size);

    /// Waits until nothing is unread at the near end. What was put may still be on its way there.
    void wait_until_read();

    /// What an unplugged adapter looks like from the near end.
    void hang_up();

private:
    void wait_for_unread(int size);

    int far_end_;
    std::string path_;
};

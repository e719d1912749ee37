#pragma once

#include "process.h"

#include <string>
#include <vector>

/// A shell command in a terminal of 80 columns and 24 lines, which keeps its files in `directory`.
class TerminalWindow {
public:
    TerminalWindow(const TemporaryDirectory &directory, const std::string &command);
    ~TerminalWindow();
    TerminalWindow(const TerminalWindow &) = delete;
    TerminalWindow &operator=(const TerminalWindow &) = delete;

    /// Keys by their names in tmux.
    void press(const std::vector<std::string> &keys) const;

    void type(const std::string &text) const;

    void resize(int columns, int lines) const;

    /// What is on the screen, line by line.
    std::string shown() const;

    bool comes_to_show(const std::string &text) const;

private:
    std::string run(const std::vector<std::string> &arguments) const;

    const TemporaryDirectory &directory_;
    const std::string socket_;
};

/// The command as a shell takes it.
std::string in_shell_quotes(const std::vector<std::string> &command);

#include "terminal_window.h"

#include <filesystem>

TerminalWindow::TerminalWindow(const TemporaryDirectory &directory, const std::string &command)
    : directory_(directory), socket_(directory.file("tmux")) {
    run({"-f", "/dev/null", "new-session", "-d", "-x", "80", "-y", "24", command});
}

TerminalWindow::~TerminalWindow() {
    run({"kill-server"});
}

void TerminalWindow::press(const std::vector<std::string> &keys) const {
    std::vector<std::string> command{"send-keys"};
    command.insert(command.end(), keys.begin(), keys.end());
    run(command);
}

void TerminalWindow::type(const std::string &text) const {
    run({"send-keys", "-l", text});
}

void TerminalWindow::resize(int columns, int lines) const {
    run({"resize-window", "-x", std::to_string(columns), "-y", std::to_string(lines)});
}

std::string TerminalWindow::shown() const {
    return run({"capture-pane", "-p"});
}

bool TerminalWindow::comes_to_show(const std::string &text) const {
    return comes_true([this, &text] { return shown().find(text) != std::string::npos; });
}

std::string TerminalWindow::run(const std::vector<std::string> &arguments) const {
    std::vector<std::string> command{TMUX_PROGRAM, "-S", socket_};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const std::string file = directory_.file("pane.txt");
    std::filesystem::remove(file);
    Process tmux(command, file);
    tmux.exit_code();
    return tmux.output();
}

std::string in_shell_quotes(const std::vector<std::string> &command) {
    std::string text;
    for (const std::string &word : command)
        text += "'" + word + "' ";
    return text;
}

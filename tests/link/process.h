#pragma once

#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

/// Waits until `condition` holds; false when it still does not after two minutes.
bool comes_true(const std::function<bool()> &condition);

/// A directory that is removed with the object.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory &) = delete;
    TemporaryDirectory &operator=(const TemporaryDirectory &) = delete;

    std::string file(const std::string &name) const {
        return path_ + "/" + name;
    }

private:
    std::string path_;
};

/// A started program, its output in a file. Killed, if it still runs, and waited for when the object is destroyed.
class Process {
public:
    Process(const std::vector<std::string> &command, const std::string &output_file);
    ~Process();
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;

    void signal(int number);

    /// Waits for the end; the exit code, or -1 when the program was killed or does not end.
    int exit_code();

    /// What it has written so far, to standard output and standard error.
    std::string output() const;

private:
    bool has_ended();

    pid_t pid_;
    std::string output_file_;
    bool ended_ = false;
    int status_ = 0;
};

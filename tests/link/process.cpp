#include "process.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

bool comes_true(const std::function<bool()> &condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(2);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

TemporaryDirectory::TemporaryDirectory() : path_(std::filesystem::temp_directory_path() / "kelpo-link-XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr)
        throw std::runtime_error("no temporary directory");
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

Process::Process(const std::vector<std::string> &command, const std::string &output_file) : output_file_(output_file) {
    std::vector<char *> arguments;
    for (const std::string &argument : command)
        arguments.push_back(const_cast<char *>(argument.c_str()));
    arguments.push_back(nullptr);

    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, output_file.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    posix_spawn_file_actions_adddup2(&files, STDOUT_FILENO, STDERR_FILENO);
    const int error = posix_spawn(&pid_, command[0].c_str(), &files, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    if (error != 0)
        throw std::runtime_error("cannot start " + command[0]);
}

Process::~Process() {
    if (ended_)
        return;
    kill(pid_, SIGKILL);
    waitpid(pid_, &status_, 0);
}

void Process::signal(int number) {
    if (!has_ended())
        kill(pid_, number);
}

int Process::exit_code() {
    if (!comes_true([this] { return has_ended(); }) || !WIFEXITED(status_))
        return -1;
    return WEXITSTATUS(status_);
}

std::string Process::output() const {
    std::ifstream file(output_file_);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

bool Process::has_ended() {
    ended_ = ended_ || waitpid(pid_, &status_, WNOHANG) == pid_;
    return ended_;
}

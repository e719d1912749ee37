#include "controller.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

#include <unistd.h>

namespace soak {

Controller::Controller(std::string program) : program_(std::move(program)) {}

void Controller::start(const std::vector<std::string> &faults, const std::string &presets, unsigned seed, bool echoes) {
    std::ofstream(folder_.file("presets")) << presets;
    std::ofstream fault_file(folder_.file("faults"));
    for (const std::string &fault : faults)
        fault_file << fault << "\n";
    fault_file.close();
    const std::string output = folder_.file("output");
    std::filesystem::remove(output);
    std::vector<std::string> words = {program_,
                                      "--stations",
                                      "1,2,3,4,5",
                                      "--link",
                                      line(),
                                      "--memory",
                                      folder_.file("memory"),
                                      "--preset",
                                      folder_.file("presets"),
                                      "--faults",
                                      folder_.file("faults"),
                                      "--seed",
                                      std::to_string(seed),
                                      "--turnaround",
                                      "0",
                                      "--moment",
                                      "200",
                                      "--while",
                                      std::to_string(::getpid())};
    if (echoes)
        words.emplace_back("--echo");
    process_ = std::make_unique<Process>(words, output);
    // The link is made last.
    const bool has_started = comes_true([this] {
        return std::filesystem::is_symlink(line()) || process_->output().find("kelpo") != std::string::npos;
    });
    if (!has_started || !std::filesystem::is_symlink(line()))
        throw std::runtime_error("the controller does not start: " + process_->output());
    memory_ = plc::MemoryReader::open(folder_.file("memory"));
}

// The link is removed first: the terminal's name may soon be that of another program's terminal.
void Controller::end() {
    ::unlink(line().c_str());
    process_->signal(SIGTERM);
    if (process_->exit_code() != 0)
        throw std::runtime_error("the controller failed: " + process_->output());
    process_.reset();
}

}  // namespace soak

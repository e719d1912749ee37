#pragma once

#include "process.h"

#include "plc/memory/memory_reader.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace soak {

/// The simulated controller as a child process on a pseudo-terminal, always under the same path.
class Controller {
public:
    explicit Controller(std::string program);

    std::string line() const {
        return folder_.file("line");
    }

    /// Starts a controller with these faults and presets, and waits until its line and its memory are there. `echoes`:
    /// its line returns what is sent. Throws std::runtime_error when it does not start.
    void start(const std::vector<std::string> &faults, const std::string &presets, unsigned seed, bool echoes);

    /// Removes the line and ends the controller. Its memory can be read until the next start.
    void end();

    /// The memory of the controller that runs, or ran last.
    const plc::MemoryReader &memory() const {
        return *memory_;
    }

private:
    TemporaryDirectory folder_;
    std::string program_;
    std::unique_ptr<Process> process_;
    std::optional<plc::MemoryReader> memory_;
};

}  // namespace soak

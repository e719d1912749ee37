#include "bench/process_figures.h"

#include <sys/resource.h>

#include <fstream>
#include <stdexcept>
#include <string>

namespace bench {

double processor_seconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval &time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

long resident_kilobytes() {
    std::ifstream status("/proc/self/status");
    std::string word;
    while (status >> word) {
        long kilobytes = 0;
        if (word == "VmRSS:" && status >> kilobytes)
            return kilobytes;
    }
    throw std::runtime_error("/proc/self/status names no resident size");
}

}  // namespace bench

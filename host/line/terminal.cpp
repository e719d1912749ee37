#include "host/line/terminal.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>

#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace kelpo {
namespace {

bool is_pseudo_terminal(const struct stat &status) {
    constexpr unsigned first_major = 136, last_major = 143;
    const unsigned device = major(status.st_rdev);
    return S_ISCHR(status.st_mode) && device >= first_major && device <= last_major;
}

std::string identity_of(const struct stat &status) {
    std::string identity;
    for (const std::uintmax_t part :
         {std::uintmax_t{status.st_dev}, std::uintmax_t{status.st_rdev}, std::uintmax_t{status.st_ino}})
        identity += std::to_string(part) + ".";
    return identity + std::to_string(status.st_ctim.tv_sec) + "." + std::to_string(status.st_ctim.tv_nsec);
}

// As /proc writes the terminal of a program.
long number_in_proc(dev_t device) {
    constexpr unsigned low_byte = 0xFF;
    const unsigned low = minor(device) & low_byte, high = minor(device) & ~low_byte;
    return static_cast<long>(low | major(device) << 8U | high << 12U);
}

// The name of a program, in brackets in its line in /proc, may hold anything.
bool is_terminal_of(const std::filesystem::path &process, long terminal) {
    std::ifstream file(process / "stat");
    std::string line;
    std::getline(file, line, '\0');
    const std::size_t end_of_name = line.rfind(')');
    if (end_of_name == std::string::npos)
        return false;
    std::istringstream rest(line.substr(end_of_name + 1));
    std::string state;
    long parent = 0, group = 0, session = 0, its_terminal = 0;
    rest >> state >> parent >> group >> session >> its_terminal;
    return rest && its_terminal == terminal;
}

// Programs elsewhere, in a container, have terminals with the same numbers.
bool has_open(const std::filesystem::path &process, const struct stat &terminal) {
    std::error_code error;
    for (std::filesystem::directory_iterator entry(process / "fd", error), end; !error && entry != end;
         entry.increment(error)) {
        struct stat file {};
        if (stat(entry->path().c_str(), &file) == 0 && file.st_dev == terminal.st_dev && file.st_ino == terminal.st_ino)
            return true;
    }
    return false;
}

bool is_terminal_of_a_program(const struct stat &terminal) {
    const long number = number_in_proc(terminal.st_rdev);
    std::error_code error;
    for (std::filesystem::directory_iterator entry("/proc", error), end; !error && entry != end; entry.increment(error))
        if (entry->path().filename().string().find_first_not_of("0123456789") == std::string::npos &&
            is_terminal_of(entry->path(), number) && has_open(entry->path(), terminal))
            return true;
    return false;
}

// A controller makes its terminal first, and the link at once.
bool is_younger(const struct stat &terminal, const struct stat &link) {
    constexpr time_t at_once = 2;
    return terminal.st_ctim.tv_sec > link.st_mtim.tv_sec + at_once;
}

}  // namespace

bool is_pseudo_terminal(const Descriptor &tty) {
    struct stat status {};
    return fstat(tty.number(), &status) == 0 && is_pseudo_terminal(status);
}

bool is_pseudo_terminal(const std::string &path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && is_pseudo_terminal(status);
}

bool is_wired(const Descriptor &tty) {
    constexpr unsigned terminals = 4, first_serial_port = 64, on_chip_ports = 204, usb_adapters = 188;
    struct stat status {};
    if (fstat(tty.number(), &status) != 0 || !S_ISCHR(status.st_mode))
        return false;
    const unsigned device = major(status.st_rdev);
    return (device == terminals && minor(status.st_rdev) >= first_serial_port) || device == on_chip_ports ||
           device == usb_adapters;
}

std::string terminal_identity(const Descriptor &tty) {
    struct stat status {};
    const bool is_terminal = fstat(tty.number(), &status) == 0 && S_ISCHR(status.st_mode);
    return is_terminal ? identity_of(status) : "connection";
}

std::string why_not_to_open(const std::string &path, const std::string &known_identity) {
    struct stat status {
    }, name{};
    if (stat(path.c_str(), &status) != 0 || !is_pseudo_terminal(status) || lstat(path.c_str(), &name) != 0)
        return {};
    if (is_terminal_of_a_program(status))
        return "is the terminal of a running program, not a line";
    if (S_ISLNK(name.st_mode) && is_younger(status, name))
        return "the link is older than the terminal that it names: its controller is gone, and another program has the "
               "terminal now";
    if (!S_ISLNK(name.st_mode) && !known_identity.empty() && known_identity != identity_of(status))
        return "another program has the terminal of this name now; a link to the controller's terminal would find it";
    return {};
}

}  // namespace kelpo

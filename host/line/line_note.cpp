#include "host/line/line_note.h"

#include "host/line/tcp_connection.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kelpo {
namespace {

using std::chrono::nanoseconds;

constexpr nanoseconds longest_wait = std::chrono::seconds(30);
constexpr std::size_t most_read = 256;

// Runs while the system sleeps too, and from its start.
nanoseconds since_boot() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return std::chrono::seconds(now.tv_sec) + nanoseconds(now.tv_nsec);
}

std::string boot_id() {
    std::ifstream file("/proc/sys/kernel/random/boot_id");
    std::string id;
    file >> id;
    return id.empty() ? "unknown" : id;
}

// The device behind a link, such as those of /dev/serial/by-id.
std::string real_name(const std::string &path) {
    if (is_tcp_path(path))
        return path;
    std::error_code error;
    const std::filesystem::path real = std::filesystem::canonical(path, error);
    return error ? path : real.string();
}

std::string file_for(const std::string &path) {
    constexpr std::size_t longest_name = 200;
    std::string name = "kelpo-line-" + real_name(path);
    for (char &letter : name)
        if (std::isalnum(static_cast<unsigned char>(letter)) == 0 && letter != '.' && letter != ':')
            letter = '-';
    struct stat status {};
    const bool has_place = stat("/run/lock", &status) == 0 && S_ISDIR(status.st_mode);
    return (has_place ? "/run/lock/" : "/tmp/") + name.substr(0, longest_name);
}

// A pseudo-terminal's number is soon another's; its node is made anew each time.
std::string identity_of(const Descriptor &port) {
    struct stat status {};
    if (fstat(port.number(), &status) != 0 || !S_ISCHR(status.st_mode))
        return "connection";
    return std::to_string(status.st_rdev) + "." + std::to_string(status.st_ino) + "." +
           std::to_string(status.st_ctim.tv_sec) + "." + std::to_string(status.st_ctim.tv_nsec);
}

bool is_plain_file(const Descriptor &file) {
    struct stat status {};
    return fstat(file.number(), &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1;
}

// Whoever may write the line may write its note.
void let_write_who_may_use(const Descriptor &port, const Descriptor &file) {
    constexpr mode_t owner_and_group = 0660;
    struct stat status {};
    if (fstat(port.number(), &status) != 0 || !S_ISCHR(status.st_mode))
        return;
    if (fchown(file.number(), static_cast<uid_t>(-1), status.st_gid) == 0)
        fchmod(file.number(), status.st_mode & owner_and_group);
}

Descriptor open_note(const std::string &file, const Descriptor &port) {
    constexpr mode_t owner_only = 0600;
    constexpr int safely = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    Descriptor note(open(file.c_str(), safely));
    if (note.number() < 0 && errno == ENOENT) {
        Descriptor fresh(open(file.c_str(), safely | O_CREAT | O_EXCL, owner_only));
        if (fresh.number() >= 0)
            let_write_who_may_use(port, fresh);
        return fresh;
    }
    return note.number() >= 0 && is_plain_file(note) ? std::move(note) : Descriptor(-1);
}

}  // namespace

LineNote::LineNote(const std::string &path, const Descriptor &port)
    : file_(file_for(path)), line_(boot_id() + " " + identity_of(port)), note_(open_note(file_, port)) {}

nanoseconds LineNote::left_by_others() const {
    char text[most_read + 1] = {};
    if (note_.number() < 0 || pread(note_.number(), text, most_read, 0) <= 0)
        return nanoseconds(0);
    char *end = nullptr;
    const long long until = std::strtoll(text, &end, 10);
    if (std::string(end) != " " + line_ + "\n")
        return nanoseconds(0);
    return std::clamp(nanoseconds(until) - since_boot(), nanoseconds(0), longest_wait);
}

void LineNote::expect_replies_until(Time time) {
    if (note_.number() < 0 || time <= written_until_)
        return;
    const nanoseconds left = time - Time::clock::now();
    written_until_ = time + left / 4;
    write(since_boot() + left + left / 4);
}

void LineNote::settle(std::optional<Time> time) {
    if (note_.number() < 0)
        return;
    written_until_ = time.value_or(Time());
    if (time)
        write(since_boot() + (*time - Time::clock::now()));
    else if (unlink(file_.c_str()) != 0)
        write(nanoseconds(0));
}

// One write, of always the same size: a reader finds the old note or the new one.
void LineNote::write(nanoseconds until) {
    char number[32];
    std::snprintf(number, sizeof number, "%020lld", static_cast<long long>(until.count()));
    const std::string text = number + (" " + line_) + "\n";
    [[maybe_unused]] const ssize_t written = pwrite(note_.number(), text.data(), text.size(), 0);
}

}  // namespace kelpo

#include "host/line/line_note.h"

#include "host/line/tcp_connection.h"
#include "host/line/terminal.h"

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

// The name of the device that is open, even if a link to it names another one by now.
std::string name_of(const std::string &path, const Descriptor &port) {
    if (is_tcp_path(path))
        return path;
    std::error_code error;
    const auto name = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(port.number()), error);
    return error ? path : name.string();
}

std::string file_for(const std::string &path, const Descriptor &port) {
    constexpr std::size_t longest_name = 200;
    std::string name = "kelpo-line-" + name_of(path, port);
    for (char &letter : name)
        if (std::isalnum(static_cast<unsigned char>(letter)) == 0 && letter != '.' && letter != ':')
            letter = '-';
    struct stat status {};
    const bool has_place = stat("/run/lock", &status) == 0 && S_ISDIR(status.st_mode);
    return (has_place ? "/run/lock/" : "/tmp/") + name.substr(0, longest_name);
}

bool is_plain_file(const Descriptor &file) {
    struct stat status {};
    return fstat(file.number(), &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1;
}

// Users who may write to the line may write its note.
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
    : file_(file_for(path, port)), line_(boot_id() + " " + terminal_identity(port)), note_(open_note(file_, port)) {}

LineNote::Left LineNote::left_by_others() const {
    char text[most_read + 1] = {};
    if (note_.number() < 0 || pread(note_.number(), text, most_read, 0) <= 0)
        return {};
    char *end = nullptr;
    const nanoseconds until(std::strtoll(text, &end, 10));
    const nanoseconds patience(std::strtoll(end, &end, 10));
    // A longer note may have been there before, about another terminal.
    const std::string rest(end);
    if (rest.substr(0, rest.find('\n')) != " " + line_)
        return {};
    const nanoseconds none(0), time = std::clamp(until - since_boot(), none, longest_wait);
    return {time, std::clamp(patience, none, time)};
}

void LineNote::expect_replies_until(Time time, Duration patience) {
    if (note_.number() < 0 || time <= written_until_)
        return;
    const nanoseconds left = time - Time::clock::now();
    written_until_ = time + left / 4;
    patience_ = patience;
    write(since_boot() + left + left / 4);
}

void LineNote::settle(std::optional<Time> time) {
    if (note_.number() < 0)
        return;
    written_until_ = time.value_or(Time());
    if (time)
        write(since_boot() + (*time - Time::clock::now()));
    else if (!is_the_one_there() || unlink(file_.c_str()) != 0)
        write(nanoseconds(0));
}

// The note that the next program will open, not one that somebody has put in its place.
bool LineNote::is_the_one_there() const {
    struct stat ours {
    }, there{};
    return fstat(note_.number(), &ours) == 0 && lstat(file_.c_str(), &there) == 0 && ours.st_dev == there.st_dev &&
           ours.st_ino == there.st_ino;
}

// One write: a reader finds the old note or the new one. Only the first line counts.
void LineNote::write(nanoseconds until) {
    char numbers[64];
    std::snprintf(numbers, sizeof numbers, "%020lld %020lld", static_cast<long long>(until.count()),
                  static_cast<long long>(patience_.count()));
    const std::string text = numbers + (" " + line_) + "\n";
    [[maybe_unused]] const ssize_t written = pwrite(note_.number(), text.data(), text.size(), 0);
}

}  // namespace kelpo

#include "plc/system/mapped_file.h"

#include "plc/system/system_call.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <mutex>
#include <utility>

#include <sys/mman.h>

namespace plc {
namespace {

// A mapping, for the signal handler. Its size is there before its start is.
struct Place {
    std::atomic<char *> start;
    std::atomic<std::size_t> size;
};

constexpr std::size_t most_mappings = 64;
std::array<Place, most_mappings> places;
std::mutex places_mutex;  // held while mappings are made and removed

static_assert(std::atomic<char *>::is_always_lock_free);
static_assert(std::atomic<std::size_t>::is_always_lock_free);

void replace_lost_pages(int, siginfo_t *info, void *) {
    const int before = errno;
    const char *const touched = static_cast<const char *>(info->si_addr);
    bool replaced = false;
    for (const Place &place : places) {
        char *const start = place.start.load();
        const std::size_t size = place.size.load();
        if (start != nullptr && touched >= start && touched < start + size)
            replaced = ::mmap(start, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) !=
                       MAP_FAILED;
    }
    if (!replaced)
        std::signal(SIGBUS, SIG_DFL);  // the same access is repeated, and ends the process
    errno = before;
}

void install_handler() {
    struct sigaction action = {};
    action.sa_sigaction = replace_lost_pages;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    ::sigaction(SIGBUS, &action, nullptr);
}

bool note(void *start, std::size_t size) {
    static std::once_flag installed;
    std::call_once(installed, install_handler);
    const std::lock_guard<std::mutex> lock(places_mutex);
    for (Place &place : places) {
        if (place.start.load() != nullptr)
            continue;
        place.size.store(size);
        place.start.store(static_cast<char *>(start));
        return true;
    }
    return false;
}

void forget(const void *start) {
    const std::lock_guard<std::mutex> lock(places_mutex);
    for (Place &place : places)
        if (place.start.load() == start)
            place.start.store(nullptr);
}

}  // namespace

MappedFile::MappedFile(int file, std::size_t size, bool writable) : size_(size) {
    void *const start = ::mmap(nullptr, size, writable ? PROT_READ | PROT_WRITE : PROT_READ, MAP_SHARED, file, 0);
    if (start == MAP_FAILED)
        fail("cannot map the memory file");
    if (!note(start, size)) {
        ::munmap(start, size);
        fail("too many memory files are mapped", ENOMEM);
    }
    start_ = start;
}

MappedFile::~MappedFile() {
    if (start_ == nullptr)
        return;
    forget(start_);
    ::munmap(start_, size_);
}

MappedFile::MappedFile(MappedFile &&other) noexcept
    : start_(std::exchange(other.start_, nullptr)), size_(std::exchange(other.size_, 0)) {}

MappedFile &MappedFile::operator=(MappedFile &&other) noexcept {
    std::swap(start_, other.start_);
    std::swap(size_, other.size_);
    return *this;
}

}  // namespace plc

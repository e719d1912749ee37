#include "host/frames/trace_output.h"

#include "common/regular_file.h"
#include "host/frames/pcap_file.h"
#include "host/frames/trace_file.h"

#include <cerrno>
#include <cstring>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kelpo {
namespace {

constexpr std::size_t most_unwritten = 65536;
constexpr mode_t mode_of_new_files = 0666;  // less what the user's mask takes away

bool may_be_replaced(const std::string &file, TraceForm form, const struct stat &found) {
    return found.st_size == 0 ||
           (form == TraceForm::pcap ? common::file_starts_with(file, pcap_file_head()) : is_trace_file(file));
}

bool is_link(const std::string &file) {
    struct stat found {};
    return ::lstat(file.c_str(), &found) == 0 && S_ISLNK(found.st_mode);
}

}  // namespace

TraceOutput::TraceOutput(const std::string &file, TraceForm form) : file_(file), form_(form) {
    struct stat found {};
    const bool exists = ::stat(file.c_str(), &found) == 0;
    if (exists && !S_ISREG(found.st_mode)) {
        straight_.emplace(::open(file.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
        // A slow reader delays the writing from now on, but not the opening.
        if (straight_->number() < 0 || ::fcntl(straight_->number(), F_SETFL, 0) != 0)
            fail(errno);
    } else {
        if (is_link(file))
            throw TraceOutputError(file + " is a link; name the file itself");
        if (exists && !may_be_replaced(file, form, found))
            throw TraceOutputError(file + " exists and holds no " +
                                   (form == TraceForm::pcap ? "capture" : "saved trace") +
                                   "; name another file, or remove it");
        if (exists && ::access(file.c_str(), W_OK) != 0)
            fail(errno);
        try {
            beside_.emplace(file, mode_of_new_files);
        } catch (const std::system_error &error) {
            fail(error.code().value());
        }
        // A file that only its owner could read stays like that.
        if (exists && ::fchmod(beside_->descriptor(), found.st_mode & 0777U) != 0)
            fail(errno);
    }
    unwritten_ = form == TraceForm::pcap ? pcap_file_head() : trace_file_head();
    flush();
}

void TraceOutput::write(const TraceRecord &record) {
    unwritten_ += form_ == TraceForm::pcap ? pcap_packet(record) : trace_file_line(record);
    if (unwritten_.size() >= most_unwritten)
        flush();
}

void TraceOutput::flush() {
    const int output = straight_ ? straight_->number() : beside_->descriptor();
    for (std::size_t done = 0; done < unwritten_.size();) {
        const ssize_t put = ::write(output, unwritten_.data() + done, unwritten_.size() - done);
        if (put < 0 && errno != EINTR)
            fail(errno);
        done += put < 0 ? 0 : static_cast<std::size_t>(put);
    }
    unwritten_.clear();
}

void TraceOutput::put_in_place() {
    flush();
    if (!beside_)
        return;
    if (::fsync(beside_->descriptor()) != 0)
        fail(errno);
    try {
        beside_->put_in_place();
    } catch (const std::system_error &error) {
        fail(error.code().value());
    }
}

void TraceOutput::fail(int error) const {
    throw TraceOutputError("cannot write " + file_ + ": " + std::strerror(error));
}

}  // namespace kelpo

#include "host/frames/trace_output.h"

#include "host/frames/pcap_file.h"
#include "host/frames/trace_file.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

namespace kelpo {
namespace {

bool starts_as_pcap(const std::string &file) {
    const std::string head = pcap_file_head();
    std::string start(head.size(), '\0');
    std::ifstream in(file, std::ios::binary);
    return in.read(start.data(), static_cast<std::streamsize>(start.size())) && start == head;
}

bool may_be_replaced(const std::string &file, TraceForm form) {
    struct stat found {};
    if (::stat(file.c_str(), &found) != 0 || !S_ISREG(found.st_mode) || found.st_size == 0)
        return true;
    return form == TraceForm::pcap ? starts_as_pcap(file) : is_trace_file(file);
}

}  // namespace

TraceOutput::TraceOutput(const std::string &file, TraceForm form) : file_(file), form_(form) {
    if (!may_be_replaced(file, form))
        throw TraceOutputError(file + " exists and holds no " + (form == TraceForm::pcap ? "capture" : "saved trace") +
                               "; name another file, or remove it");
    out_.open(file, std::ios::binary | std::ios::trunc);
    check();
    out_ << (form == TraceForm::pcap ? pcap_file_head() : trace_file_head());
    flush();
}

void TraceOutput::write(const TraceRecord &record) {
    out_ << (form_ == TraceForm::pcap ? pcap_packet(record) : trace_file_line(record));
    check();
}

void TraceOutput::flush() {
    out_.flush();
    check();
}

void TraceOutput::check() {
    if (!out_)
        throw TraceOutputError("cannot write " + file_ + ": " + std::strerror(errno));
}

}  // namespace kelpo

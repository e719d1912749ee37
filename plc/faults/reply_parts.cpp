#include "plc/faults/reply_parts.h"

#include <algorithm>
#include <map>

namespace plc {
namespace {

using std::chrono::milliseconds;

constexpr std::size_t crc_length = 2;

constexpr unsigned default_delay = 100;
constexpr unsigned default_exception = 4;
constexpr unsigned default_noise = 5;
constexpr unsigned default_piece = 1;
constexpr unsigned default_gap_of_pieces = 1;

std::vector<ReplyPart> whole(const Bytes &reply) {
    return {{milliseconds(0), reply}};
}

std::vector<ReplyPart> one_after_the_other(const Bytes &first, const Bytes &second, unsigned gap) {
    return {{milliseconds(0), first}, {milliseconds(gap), second}};
}

Bytes first_of(const Bytes &reply, std::size_t count) {
    return Bytes(reply.begin(), reply.begin() + static_cast<std::ptrdiff_t>(count));
}

Bytes with_right_crc(Bytes frame) {
    frame.resize(frame.size() - crc_length);
    append_crc(frame);
    return frame;
}

Bytes truncated(const Bytes &reply, const std::optional<unsigned> &bytes) {
    return first_of(reply, std::min<std::size_t>(bytes.value_or(reply.size() / 2), reply.size() - 1));
}

// A CRC finds every error within 16 bits in a row.
Bytes garbled(Bytes reply, Random &random) {
    const std::uint32_t place = random.below(static_cast<std::uint32_t>(reply.size()));
    reply[place] = static_cast<std::uint8_t>(reply[place] ^ (1 + random.below(255)));
    return reply;
}

Bytes from_another_station(Bytes reply) {
    reply[0] = static_cast<std::uint8_t>(reply[0] % 247 + 1);
    return with_right_crc(reply);
}

// A function whose replies have the same form, if there is one: only the code differs.
Bytes of_another_function(Bytes reply) {
    static const std::map<unsigned, unsigned> look_alikes = {
        {read_coils, read_holding_registers},
        {read_holding_registers, read_coils},
        {write_single_coil, write_single_register},
        {write_single_register, write_single_coil},
        {write_multiple_coils, write_multiple_registers},
        {write_multiple_registers, write_multiple_coils},
    };
    const unsigned function = reply[1] & ~unsigned(exception_bit);
    const auto found = look_alikes.find(function);
    const unsigned other = found == look_alikes.end() ? function ^ 1u : found->second;
    reply[1] = static_cast<std::uint8_t>((reply[1] & exception_bit) | other);
    return with_right_crc(reply);
}

// The data begins after the byte count that replies to reads have.
Bytes of_another_length(Bytes reply, const std::optional<unsigned> &wanted) {
    const bool counts_data = reply[1] == read_coils || reply[1] == read_holding_registers;
    const std::size_t start = counts_data ? 3 : 2;
    const std::size_t right = reply.size() - start - crc_length;
    const std::size_t length = wanted && *wanted != right ? *wanted : right - 1;
    reply.resize(start + std::min(right, length));
    reply.resize(start + length);
    if (counts_data)
        reply[2] = static_cast<std::uint8_t>(length);
    append_crc(reply);
    return reply;
}

std::vector<ReplyPart> in_pieces(const Bytes &reply, std::size_t size, unsigned gap) {
    std::vector<ReplyPart> parts;
    for (std::size_t start = 0; start < reply.size(); start += size) {
        const std::size_t end = std::min(start + size, reply.size());
        parts.push_back(
            {milliseconds(parts.empty() ? 0 : gap), Bytes(reply.begin() + static_cast<std::ptrdiff_t>(start),
                                                          reply.begin() + static_cast<std::ptrdiff_t>(end))});
    }
    return parts;
}

Bytes noise(std::size_t count, Random &random) {
    Bytes bytes(count);
    std::generate(bytes.begin(), bytes.end(), [&random] { return static_cast<std::uint8_t>(random.below(256)); });
    return bytes;
}

}  // namespace

std::vector<ReplyPart> spoiled_reply(const Bytes &request, const Bytes &reply, Happening happening) {
    const Fault &fault = happening.fault;
    const unsigned gap = fault.gap.value_or(0);
    switch (fault.kind) {
    case FaultKind::no_reply:
    case FaultKind::dead:
        return {};
    case FaultKind::exception:
        return whole(exception_reply(request, static_cast<Exception>(fault.code.value_or(default_exception))));
    case FaultKind::late:
        return {{milliseconds(fault.milliseconds.value_or(default_delay)), reply}};
    case FaultKind::truncated:
        return whole(truncated(reply, fault.bytes));
    case FaultKind::garbled:
        return whole(garbled(reply, happening.random));
    case FaultKind::wrong_station:
        return whole(from_another_station(reply));
    case FaultKind::wrong_function:
        return whole(of_another_function(reply));
    case FaultKind::wrong_length:
        return whole(of_another_length(reply, fault.data));
    case FaultKind::pieces:
        return in_pieces(reply, fault.size.value_or(default_piece), fault.gap.value_or(default_gap_of_pieces));
    case FaultKind::noise:
        return one_after_the_other(noise(fault.bytes.value_or(default_noise), happening.random), reply, gap);
    case FaultKind::noise_behind:
        return one_after_the_other(reply, noise(fault.bytes.value_or(default_noise), happening.random), gap);
    case FaultKind::echo:
        return one_after_the_other(request, reply, gap);
    case FaultKind::twice:
        return one_after_the_other(reply, reply, gap);
    }
    return whole(reply);
}

}  // namespace plc

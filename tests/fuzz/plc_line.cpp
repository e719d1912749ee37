/// \file
/// Fuzz target: what the simulated controller receives from the line.
///
/// Input: a fault (length, then text; nothing: none), then steps of an operation byte and an argument byte:
///     operation % 4 = 0    that number of the following bytes arrive unchanged
///     operation % 4 = 1    that number arrive as one frame with its CRC, in pieces of operation / 4 bytes (0: in one)
///     operation % 4 = 2    that number of tenths of a millisecond pass
///     operation % 4 = 3    that number of milliseconds pass
///
/// The controller's framer and its reply engine get the same bytes separately, and their answers are judged by this
/// file's own implementation of the protocol. At the end, after a silence, the controller must still answer, and hold
/// what was written.
#include "input.h"
#include "plc/program/controller.h"
#include "require.h"
#include "support/crc.h"

#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using fuzz::require;
using support::with_crc;
using namespace plc;
using std::chrono::microseconds;
using std::chrono::milliseconds;

using Time = Controller::TimePoint;

bool has_right_crc(const Bytes &frame) {
    return frame.size() >= 4 && support::crc16(frame) == 0;
}

unsigned word_in(const Bytes &bytes, std::size_t at) {
    return bytes[at] * 256U + bytes[at + 1];
}

void put_word(Bytes &bytes, unsigned word) {
    bytes.push_back(static_cast<std::uint8_t>(word / 256));
    bytes.push_back(static_cast<std::uint8_t>(word % 256));
}

Bytes read_request(unsigned station, unsigned function, unsigned address) {
    Bytes request = {static_cast<std::uint8_t>(station), static_cast<std::uint8_t>(function)};
    put_word(request, address);
    put_word(request, 1);
    return with_crc(request);
}

// A table of values that keeps the values from the start apart from what was written.
template <typename Value> struct Table {
    const std::vector<Value> start;
    std::map<unsigned, unsigned> written;

    unsigned at(unsigned address) const {
        const auto found = written.find(address);
        return found == written.end() ? start[address] : found->second;
    }

    // True when `held` has these values and no other change. Afterwards both have the values from the start again.
    bool matches_and_resets(std::vector<Value> &held) {
        bool right = true;
        for (const auto &[address, value] : written) {
            right = right && held[address] == value;
            held[address] = start[address];
        }
        written.clear();
        return right && std::memcmp(held.data(), start.data(), start.size() * sizeof(Value)) == 0;
    }
};

// One station as the protocol defines it, and the memory that the reply engine uses for the same station.
struct Station {
    StationMemory memory;
    Table<std::uint8_t> coils;
    Table<std::uint16_t> registers;

    explicit Station(unsigned number) : memory(number), coils{memory.coils, {}}, registers{memory.registers, {}} {}

    Bytes reply_to(const Bytes &request) {
        if (const unsigned code = exception_for(request))
            return with_crc(
                Bytes{request[0], static_cast<std::uint8_t>(request[1] + 128), static_cast<std::uint8_t>(code)});
        const unsigned address = word_in(request, 2), value = word_in(request, 4);
        switch (request[1]) {
        case 1:
        case 3:
            return read_reply(request, address, value);
        case 5:
            coils.written[address] = value / 0xFF00;
            break;
        case 6:
            registers.written[address] = value;
            break;
        case 15:
            for (unsigned i = 0; i < value; ++i)
                coils.written[address + i] = request[7 + i / 8] >> i % 8 & 1U;
            break;
        default:
            for (unsigned i = 0; i < value; ++i)
                registers.written[address + i] = word_in(request, 7 + std::size_t{2} * i);
        }
        return with_crc(Bytes(request.begin(), request.begin() + 6));
    }

private:
    static unsigned exception_for(const Bytes &request) {
        constexpr unsigned illegal_function = 1, illegal_address = 2, illegal_value = 3;
        const auto judged = [&request](unsigned most, unsigned bytes_due) {
            const unsigned quantity = word_in(request, 4);
            if (quantity < 1 || quantity > most || (bytes_due != 0 && request[6] != bytes_due))
                return illegal_value;
            return word_in(request, 2) + quantity > 65536 ? illegal_address : 0U;
        };
        switch (request[1]) {
        case 1:
            return judged(2000, 0);
        case 3:
            return judged(125, 0);
        case 5:
            return word_in(request, 4) == 0 || word_in(request, 4) == 0xFF00 ? 0 : illegal_value;
        case 6:
            return 0;
        case 15:
            return judged(1968, (word_in(request, 4) + 7) / 8);
        case 16:
            return judged(123, word_in(request, 4) * 2);
        default:
            return illegal_function;
        }
    }

    Bytes read_reply(const Bytes &request, unsigned address, unsigned count) const {
        Bytes data(request[1] == 1 ? (count + 7) / 8 : 0);
        for (unsigned i = 0; i < count; ++i) {
            if (request[1] == 1)
                data[i / 8] = static_cast<std::uint8_t>(data[i / 8] | coils.at(address + i) << i % 8);
            else
                put_word(data, registers.at(address + i));
        }
        Bytes reply = {request[0], request[1], static_cast<std::uint8_t>(data.size())};
        reply.insert(reply.end(), data.begin(), data.end());
        return with_crc(reply);
    }
};

// Made once, since their memories are large; every case leaves them unchanged.
std::vector<Station> &all_stations() {
    static std::vector<Station> stations = {Station(1), Station(7)};
    return stations;
}

ReplyEngine &engine() {
    static ReplyEngine made;
    return made;
}

Settings settings_with(const std::vector<Fault> &faults) {
    Settings settings;
    settings.stations = {1, 7};
    settings.moment = milliseconds(0);
    settings.faults = faults;
    return settings;
}

// The line: the controller at one end, and what should come back from it.
class LineInTest {
public:
    explicit LineInTest(const std::vector<Fault> &faults)
        : settings_(settings_with(faults)), has_fault_(!faults.empty()), faults_(faults, settings_.seed),
          controller_(settings_, std::nullopt, now_) {}

    void receive(const Bytes &bytes) {
        if (bytes.empty())
            return;
        last_byte_ = now_;
        controller_.receive(bytes, now_);
        if (const auto request = framer_.take(bytes.data(), bytes.size()))
            expect_reply_to(*request);
    }

    void receive_in_pieces(const Bytes &bytes, std::size_t size) {
        for (std::size_t start = 0; start < bytes.size(); start += size)
            receive(Bytes(bytes.begin() + static_cast<std::ptrdiff_t>(start),
                          bytes.begin() + static_cast<std::ptrdiff_t>(std::min(start + size, bytes.size()))));
    }

    void pass(microseconds time) {
        now_ += time;
        controller_.advance(now_);
        if (!framer_.at_rest() && now_ >= last_byte_ + settings_.silence)
            if (const auto request = framer_.end_by_silence())
                expect_reply_to(*request);
        take_replies();
    }

    // Waits until nothing is left to do.
    void wait() {
        unsigned steps = 0;
        while (const auto next = controller_.next_deadline()) {
            require(++steps < 10000, "the controller has nothing left to do");
            pass(std::chrono::ceil<microseconds>(std::max(*next - now_, Controller::TimePoint::duration::zero())));
        }
        pass(milliseconds(1));
    }

    // After a silence a good request is answered, and what was written is held.
    void judge_end() {
        wait();
        require(has_fault_ || replies_.size() == expected_.size(), "every request of a station is answered");
        for (Station &station : all_stations()) {
            judge_read(station, 3, 100);
            judge_read(station, 1, 100);
            if (!station.registers.written.empty())
                judge_read(station, 3, station.registers.written.rbegin()->first);
            if (!station.coils.written.empty())
                judge_read(station, 1, station.coils.written.begin()->first);
        }
    }

private:
    void expect_reply_to(const Bytes &request) {
        require(request.size() <= 256 && has_right_crc(request) && request[1] < 128, "a request is complete");
        for (Station &station : all_stations()) {
            const unsigned number = station.memory.station();
            Bytes addressed = request;
            addressed[0] = static_cast<std::uint8_t>(number);
            if (request[0] == 0 ? faults_.misses_broadcast(addressed) : request[0] != number)
                continue;
            const auto happening = request[0] == 0 ? std::nullopt : faults_.next(request);
            if (happening && !happening->carries_out())
                continue;
            const Bytes expected = station.reply_to(addressed);
            const Answer answer = engine().answer(addressed, station.memory);
            require(answer.reply == expected, "the reply is what the protocol asks for");
            const bool writes = request[1] != 1 && request[1] != 3 && expected[1] < 128;
            require(answer.change.has_value() == writes, "a write is a change, and only a write is");
            if (request[0] != 0)
                expected_.push_back(expected);
        }
    }

    void take_replies() {
        while (const auto sending = controller_.take_due(now_)) {
            replies_.push_back(sending->bytes);
            if (has_fault_)
                continue;
            require(sending->ends_reply, "a reply is sent in one piece");
            require(replies_.size() <= expected_.size(), "nothing is sent without a request");
            require(sending->bytes == expected_[replies_.size() - 1], "the reply that is sent is the expected one");
        }
    }

    // A fault may change several of these replies, and not always the first ones.
    void judge_read(Station &station, unsigned function, unsigned address) {
        const Bytes request = read_request(station.memory.station(), function, address);
        const std::vector<Bytes> right = {station.reply_to(request)};
        for (unsigned tries = has_fault_ ? most_faulty_replies + 1 : 1; tries > 0; --tries) {
            replies_.clear();
            expected_.clear();
            receive_in_pieces(request, 3);
            wait();
            if (replies_ == right)
                return;
        }
        fuzz::fail("a request at the end is not answered correctly");
    }

public:
    static constexpr unsigned most_faulty_replies = 2;

private:
    Settings settings_;
    bool has_fault_;
    Faults faults_;
    Time now_{std::chrono::seconds(1000)};
    Time last_byte_ = now_;
    Controller controller_;
    RequestFramer framer_;
    std::vector<Bytes> expected_;
    std::vector<Bytes> replies_;
};

// The fault that the input begins with, if there is one. It ends after a few replies.
std::vector<Fault> faults_from(fuzz::Input &input) {
    const std::string text = input.text(input.byte());
    if (text.empty())
        return {};
    try {
        Fault fault = parse_fault(text);
        fault.times = LineInTest::most_faulty_replies;
        return {fault};
    } catch (const std::invalid_argument &refused) {
        require(*refused.what() != '\0', "a refusal says why");
        return {};
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    LineInTest line(faults_from(input));
    while (!input.ended()) {
        const unsigned operation = input.byte(), argument = input.byte();
        switch (operation % 4) {
        case 0:
            line.receive(input.bytes(argument));
            break;
        case 1:
            line.receive_in_pieces(with_crc(input.bytes(argument)), operation / 4 == 0 ? 512 : operation / 4);
            break;
        case 2:
            line.pass(microseconds(argument * 100));
            break;
        default:
            line.pass(milliseconds(argument));
        }
    }
    line.judge_end();
    for (Station &station : all_stations()) {
        require(station.coils.matches_and_resets(station.memory.coils),
                "only the coils that were written have changed");
        require(station.registers.matches_and_resets(station.memory.registers),
                "only the registers that were written have changed");
    }
    return 0;
}

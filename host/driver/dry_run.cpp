#include "host/driver/dry_run.h"

#include "host/driver/driver.h"
#include "host/driver/driver_library.h"
#include "host/driver/raw_calls.h"
#include "host/line/rtu_crc.h"

namespace kelpo {
namespace {

constexpr int station = 1;  // of what is asked for by the way; any will do

void ignore_write_result(int, int, int, int) {}

void ignore_comm_error(QList<RW_VAR> *, int, int) {}

// Station, function and byte count as the request requires them, every value 0.
QByteArray good_reply(const PlannedRequest &request) {
    constexpr int before_data = 3, crc_length = 2;
    QByteArray reply(request.reply_length - crc_length, '\0');
    reply[0] = static_cast<char>(request.bytes[0]);
    reply[1] = static_cast<char>(request.bytes[1]);
    reply[2] = static_cast<char>(request.reply_length - before_data - crc_length);
    const unsigned crc =
        rtu_crc(reinterpret_cast<const unsigned char *>(reply.constData()), static_cast<std::size_t>(reply.size()));
    reply.append(static_cast<char>(crc & 0xFFU));
    reply.append(static_cast<char>(crc >> 8U));
    return reply;
}

}  // namespace

std::int64_t ClassMap::modbus_address(std::int64_t address) const {
    if (high_start && address >= *high_start)
        return high_base + (address - *high_start) * width;
    return low_base + address * width;
}

class DryRun::Work {
public:
    explicit Work(const DriverLibrary &driver);

    std::vector<DryBlock> cycle(const std::vector<Variable> &variables, const PollRules &rules);
    Span span_of(const Variable &variable);
    ClassMap map_of(int register_class);
    AddressUse use_of(int type, const std::string &text);

private:
    struct Part {
        PlannedRequest request;
        RW_VAR var;
    };

    void configure(int max_count);
    void hand_over(const std::vector<Variable> &variables);
    Part next_request();
    void answer(const PlannedRequest &request);
    void give_up();
    PlannedRequest first_request_of(int register_class, int address, int count);

    const DriverLibrary &driver_;
    ComInfo info_{};
};

DryRun::DryRun(const Driver &driver) : work_(std::make_unique<Work>(driver.library())) {}

DryRun::~DryRun() = default;

std::vector<DryBlock> DryRun::cycle(const std::vector<Variable> &variables, const PollRules &rules) {
    return work_->cycle(variables, rules);
}

Span DryRun::span_of(const Variable &variable) {
    return work_->span_of(variable);
}

ClassMap DryRun::map_of(int register_class) {
    return work_->map_of(register_class);
}

AddressUse DryRun::use_of(int type, const std::string &text) {
    return work_->use_of(type, text);
}

DryRun::Work::Work(const DriverLibrary &driver) : driver_(driver) {
    info_.multi_station = 1;
    info_.default_station = station;
    info_.write_mode = ozna_kelpo::write_to_controller;
    driver.entry().RegistCallBackFuncIntf(ignore_write_result, ignore_comm_error);
    configure(most_max_count);
}

void DryRun::Work::configure(int max_count) {
    info_.max_count = max_count;
    driver_.entry().SetComInfo(&info_);
}

void DryRun::Work::hand_over(const std::vector<Variable> &variables) {
    configure(most_max_count);
    QList<HOST_VAR> list = polled(variables);
    driver_.entry().ReCreatReadVarList(&list);
}

std::vector<DryBlock> DryRun::Work::cycle(const std::vector<Variable> &variables, const PollRules &rules) {
    configure(rules.greatest_max_count());
    const BlockPlan plan = planned(driver_, variables, rules);
    std::vector<SlowBlock> all;
    for (const PolledBlock &block : plan.cycle)
        all.push_back({block, std::chrono::milliseconds(0)});
    all.insert(all.end(), plan.slow.begin(), plan.slow.end());
    std::vector<PolledBlock> in_place;
    in_place.reserve(all.size());
    for (const SlowBlock &one : all)
        in_place.push_back(one.block);
    put_in_place(driver_, in_place);
    std::vector<DryBlock> blocks;
    for (const auto &[entry, every] : all) {
        DryBlock block{entry.station, entry.register_class, entry.first, entry.count, {}, every};
        for (int covered = 0; covered < block.count; covered += block.requests.back().count) {
            const Part part = next_request();
            if (part.var.station_no != block.station || part.var.reg_type != block.register_class ||
                part.request.first != block.first + covered || part.request.count < 1)
                throw DryRunError("the driver asks for something else than the block whose turn it is");
            answer(part.request);
            block.requests.push_back(part.request);
        }
        blocks.push_back(block);
    }
    return blocks;
}

Span DryRun::Work::span_of(const Variable &variable) {
    hand_over({variable});
    const std::vector<RW_VAR> blocks = driver_.read_blocks();
    if (blocks.empty())
        throw DryRunError("the driver makes no block of " + variable.address + " of type " +
                          std::to_string(variable.type));
    Span span{blocks.front().reg_type, blocks.front().reg_addr, 0};
    for (const RW_VAR &block : blocks)
        span.count += block.reg_count;
    return span;
}

ClassMap DryRun::Work::map_of(int register_class) {
    constexpr int all = 65536;
    const PlannedRequest low = first_request_of(register_class, 0, all);
    const PlannedRequest second = first_request_of(register_class, 1, 1);
    ClassMap map{low.function() == 1, second.modbus_address() - low.modbus_address(), low.modbus_address(), {}, 0};
    // A read that reaches into the high range is cut where that begins.
    if (low.count < all) {
        map.high_start = low.count;
        map.high_base = first_request_of(register_class, low.count, 1).modbus_address();
    }
    return map;
}

AddressUse DryRun::Work::use_of(int type, const std::string &text) {
    constexpr int group = 0, id = 0;
    hand_over({});
    const QString address = driver_text(text);

    RW_VAR once;
    once.reg_type = type;
    once.addr_text = address;
    once.station_no = station;
    once.reg_count = 1;
    driver_.entry().AddListOnceReadVar(&once, ozna_kelpo::parse_and_cut);
    Part read = next_request();
    give_up();

    std::optional<PlannedRequest> write;
    const QByteArray zero(4, '\0');
    driver_.entry().SetRegisterData(QString(), type, address, station, zero, 1, group, id);
    if (driver_.requests_waiting() > 0) {
        write = next_request().request;
        give_up();
    }
    return {read.request, read.var.reg_type, write};
}

DryRun::Work::Part DryRun::Work::next_request() {
    constexpr int shortest_request = 8, shortest_reply = 5;
    // After five once-reads in a row the driver skips them for one call.
    const Protocol *request = driver_.entry().ComCommunication();
    if (request == nullptr)
        request = driver_.entry().ComCommunication();
    if (request == nullptr)
        throw DryRunError("the driver has nothing to ask for where it should");
    if (request->send_len < shortest_request || request->frame.size() < request->send_len ||
        request->reply_len < shortest_reply)
        throw DryRunError("the driver builds a request that is not a Modbus RTU frame");
    const auto *const bytes = reinterpret_cast<const std::uint8_t *>(request->frame.constData());
    return {{{bytes, bytes + request->send_len}, request->reply_len, request->var.reg_addr, request->var.reg_count},
            request->var};
}

void DryRun::Work::answer(const PlannedRequest &request) {
    QByteArray reply = good_reply(request);
    const int code = driver_.entry().DataCom(&reply, static_cast<int>(reply.size()))->ret_value;
    if (code != ozna_kelpo::code_good)
        throw DryRunError("the driver does not take a good reply: code " + std::to_string(code));
}

void DryRun::Work::give_up() {
    info_.retry_times = 0;
    info_.retry_count = 0;
    QByteArray nothing;
    driver_.entry().DataCom(&nothing, 0);
}

PlannedRequest DryRun::Work::first_request_of(int register_class, int address, int count) {
    hand_over({});
    RW_VAR once;
    once.reg_type = register_class;
    once.reg_addr = address;
    once.reg_count = count;
    once.station_no = station;
    driver_.entry().AddListOnceReadVar(&once, ozna_kelpo::queue_as_it_is);
    PlannedRequest request = next_request().request;
    give_up();
    return request;
}

}  // namespace kelpo

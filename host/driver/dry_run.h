#pragma once

#include "host/driver/block_plan.h"
#include "host/driver/variable.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace kelpo {

class Driver;

/// The driver did not behave as a dry run needs.
class DryRunError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A Modbus RTU request as the driver built it.
struct PlannedRequest {
    std::vector<std::uint8_t> bytes;
    int reply_length;  ///< bytes of a good reply
    int first;         ///< first address of its part, as the register class counts
    int count;         ///< units of its part

    int function() const {
        return bytes[1];
    }
    int modbus_address() const {
        return bytes[2] << 8 | bytes[3];
    }
    /// Coils or registers asked for.
    int quantity() const {
        return bytes[4] << 8 | bytes[5];
    }
};

/// A block read of the driver's list, and the requests that it takes.
struct DryBlock {
    int station;
    int register_class;
    int first;
    int count;
    std::vector<PlannedRequest> requests;
    std::chrono::milliseconds every{0};  ///< how often it is read; 0: in each cycle
};

/// A range of units that the driver asks for.
struct Span {
    int register_class;
    int first;
    int count;
};

/// Where the addresses of a register class are in the controller.
struct ClassMap {
    bool coils;  ///< false: holding registers
    int width;   ///< Modbus places that one address takes
    std::int64_t low_base;
    std::optional<int> high_start;  ///< the first address of the high range, when there is one
    std::int64_t high_base;         ///< Modbus address of `high_start`

    /// Not cut to the 16 bits that a frame has for it.
    std::int64_t modbus_address(std::int64_t address) const;
};

/// How the driver handles a single address, as its frames show it.
struct AddressUse {
    PlannedRequest read;                  ///< a once-read of one value
    int register_class;                   ///< that it is read with
    std::optional<PlannedRequest> write;  ///< the first frame of a write of one value; nothing when it refuses to write
};

/// The driver without a line: what it would send is found out by taking its requests and answering them in memory.
///
/// It gives the driver a configuration block and callbacks of its own, which replace the ones before, and which the
/// driver keeps: nothing else may use the driver while a dry run exists, and afterwards only once the driver has been
/// configured again. Every method throws DryRunError when the driver answers a request in an impossible way.
class DryRun {
public:
    /// `driver` must outlive the dry run.
    explicit DryRun(const Driver &driver);
    ~DryRun();
    DryRun(const DryRun &) = delete;
    DryRun &operator=(const DryRun &) = delete;

    /// What the driver does with a list of variables: the blocks of its cycle in their order, and then those with a
    /// rate of their own, each with its requests.
    std::vector<DryBlock> cycle(const std::vector<Variable> &variables, const PollRules &rules);

    /// What the driver asks for when it polls this variable, with any limits.
    Span span_of(const Variable &variable);

    ClassMap map_of(int register_class);

    /// `text` must be an address of `type`.
    AddressUse use_of(int type, const std::string &text);

private:
    class Work;

    std::unique_ptr<Work> work_;
};

}  // namespace kelpo

#pragma once

#include "host/driver/driver_error.h"
#include "host/driver/polled_block.h"

#include <ozna_kelpo_port.h>

#include <string>
#include <vector>

namespace kelpo {

/// The driver's entry points as the host calls them, each under its exported name. The types come from the driver's
/// header, so a call cannot disagree with it. `PLC_driver` is only read, never changed.
struct DriverEntryPoints {
    decltype(&::SetComInfo) SetComInfo;
    decltype(&::RegistCallBackFuncIntf) RegistCallBackFuncIntf;
    decltype(&::ReCreatReadVarList) ReCreatReadVarList;
    decltype(&::ComCommunication) ComCommunication;
    decltype(&::DataCom) DataCom;
    decltype(&::GetRegisterData) GetRegisterData;
    decltype(&::SetRegisterData) SetRegisterData;
    decltype(&::AddListReadVar) AddListReadVar;
    decltype(&::AddListOnceReadVar) AddListOnceReadVar;
    decltype(&::EnableEthernet) EnableEthernet;
    decltype(&::PLCAddressChangeIntef) PLCAddressChangeIntef;
    Communication_Protocol *PLC_driver;
};

/// The driver, loaded by file name while the host runs, as a panel runtime loads it. Unloaded by the destructor: no
/// other thread may still be inside the driver then, and no record of the driver may be used afterwards.
class DriverLibrary {
public:
    /// Loads `file`. A name without a slash is searched where it was built or installed with this program, then where
    /// the dynamic loader searches; the other way round when LD_LIBRARY_PATH is set. Throws DriverLibraryError.
    explicit DriverLibrary(const std::string &file);
    ~DriverLibrary();
    DriverLibrary(const DriverLibrary &) = delete;
    DriverLibrary &operator=(const DriverLibrary &) = delete;

    const DriverEntryPoints &entry() const {
        return entry_;
    }

    /// A copy of the block reads that the driver cycles through, in their present order. Takes the driver's
    /// `list_mutex`, which link loop callbacks already hold: not to be called from them.
    std::vector<RW_VAR> read_blocks() const;

    /// The same as the host knows them.
    std::vector<PolledBlock> polled_blocks() const;

    /// How many write and once-read requests wait or are in flight. When there are none, the callbacks for all that
    /// were queued before have been called. Takes `list_mutex`, as above.
    int requests_waiting() const;

    /// True while a part of the write or once-read of this group and id waits or is in flight. The driver cuts some
    /// writes into several requests, and a link that is quicker than the call that queues them reports what is done so
    /// far: the end is a report after which nothing waits. Takes `list_mutex`, as above.
    bool is_waiting(int group, int id) const;

    /// True while a request is in flight. For the thread that runs the link.
    bool is_request_in_flight() const;

    /// True when a write that is queued now, before any other, is what the driver asks for next, unless its station is
    /// switched off: nothing is in flight, and no cyclic read has its turn. For the thread that runs the link, the only
    /// one that changes what this reads.
    bool serves_a_write_next() const;

    /// Gives up what is in flight if it is of this request, as when no reply comes to any try. For the same thread,
    /// while no link loop runs.
    void give_up(int group, int id) const;

private:
    void *handle_;
    DriverEntryPoints entry_;
};

}  // namespace kelpo

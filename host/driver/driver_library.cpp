#include "host/driver/driver_library.h"

#include <dlfcn.h>

#include <QtCore/QMutexLocker>

#include <algorithm>

namespace kelpo {
namespace {

template <typename Pointer> void look_up(void *handle, const std::string &file, const char *name, Pointer &entry) {
    void *symbol = dlsym(handle, name);
    if (symbol == nullptr)
        throw DriverLibraryError(file + ": not a usable driver: it has no symbol " + name);
    entry = reinterpret_cast<Pointer>(symbol);
}

DriverEntryPoints look_up_all(void *handle, const std::string &file) {
    DriverEntryPoints entry;
    look_up(handle, file, "SetComInfo", entry.SetComInfo);
    look_up(handle, file, "RegistCallBackFuncIntf", entry.RegistCallBackFuncIntf);
    look_up(handle, file, "ReCreatReadVarList", entry.ReCreatReadVarList);
    look_up(handle, file, "ComCommunication", entry.ComCommunication);
    look_up(handle, file, "DataCom", entry.DataCom);
    look_up(handle, file, "GetRegisterData", entry.GetRegisterData);
    look_up(handle, file, "SetRegisterData", entry.SetRegisterData);
    look_up(handle, file, "AddListOnceReadVar", entry.AddListOnceReadVar);
    look_up(handle, file, "EnableEthernet", entry.EnableEthernet);
    look_up(handle, file, "PLCAddressChangeIntef", entry.PLCAddressChangeIntef);
    look_up(handle, file, "PLC_driver", entry.PLC_driver);
    return entry;
}

}  // namespace

DriverLibrary::DriverLibrary(const std::string &file) : handle_(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    // The loader's own message names the file or the library that the file needs.
    if (handle_ == nullptr)
        throw DriverLibraryError(std::string("cannot load the driver: ") + dlerror());
    try {
        entry_ = look_up_all(handle_, file);
    } catch (...) {
        dlclose(handle_);
        throw;
    }
}

DriverLibrary::~DriverLibrary() {
    dlclose(handle_);
}

std::vector<RW_VAR> DriverLibrary::read_blocks() const {
    QMutexLocker locked(&entry_.PLC_driver->list_mutex);
    return std::vector<RW_VAR>(entry_.PLC_driver->read_list.begin(), entry_.PLC_driver->read_list.end());
}

int DriverLibrary::requests_waiting() const {
    QMutexLocker locked(&entry_.PLC_driver->list_mutex);
    return static_cast<int>(entry_.PLC_driver->write_list.size() + entry_.PLC_driver->once_read_list.size());
}

bool DriverLibrary::is_waiting(int group, int id) const {
    const auto is_part = [&](const RW_VAR &queued) {
        return queued.var_group == group && queued.var_id == id;
    };
    Communication_Protocol &driver = *entry_.PLC_driver;
    QMutexLocker locked(&driver.list_mutex);
    return std::any_of(driver.write_list.cbegin(), driver.write_list.cend(), is_part) ||
           std::any_of(driver.once_read_list.cbegin(), driver.once_read_list.cend(), is_part);
}

}  // namespace kelpo

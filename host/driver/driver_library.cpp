#include "host/driver/driver_library.h"

#include <dlfcn.h>

#include <QtCore/QMutexLocker>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <filesystem>

namespace kelpo {
namespace {

bool has_folder(const std::string &file) {
    return file.find('/') != std::string::npos;
}

// Where the driver is that was built or installed with this program.
std::string own_driver(const std::string &file) {
    std::error_code none;
    const auto folder = std::filesystem::read_symlink("/proc/self/exe", none).parent_path();
    const bool was_built_here = std::filesystem::exists(folder / "../CMakeCache.txt", none);
    return (folder / (was_built_here ? "../src" : KELPO_LIBRARIES_FROM_PROGRAM) / file).lexically_normal();
}

void *load(const std::string &file) {
    return dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
}

// A user who sets LD_LIBRARY_PATH may want another driver than the program's own.
void *load_by_name(const std::string &file) {
    std::error_code none;
    const std::string own = own_driver(file);
    const bool has_own = !has_folder(file) && std::filesystem::exists(own, none);
    const char *const folders = std::getenv("LD_LIBRARY_PATH");
    if (!has_own || (folders != nullptr && *folders != '\0'))
        if (void *const handle = load(file); handle != nullptr || !has_own)
            return handle;
    return load(own);
}

// Folders in which the dynamic loader searches for a name without a folder.
std::vector<std::string> folders_of_loader() {
    std::vector<std::string> folders;
    Dl_serinfo size{};
    void *const program = dlopen(nullptr, RTLD_LAZY);
    if (program == nullptr || dlinfo(program, RTLD_DI_SERINFOSIZE, &size) != 0)
        return folders;
    std::vector<std::max_align_t> space(size.dls_size / sizeof(std::max_align_t) + 1);
    auto *const found = reinterpret_cast<Dl_serinfo *>(space.data());
    if (dlinfo(program, RTLD_DI_SERINFOSIZE, found) == 0 && dlinfo(program, RTLD_DI_SERINFO, found) == 0)
        for (unsigned i = 0; i < found->dls_cnt; ++i)
            // The C library has the paths in a union.
            // NOLINTNEXTLINE(cppcoreguidelines-pro-type-union-access)
            folders.push_back(found->dls_serpath[i].dls_name);
    dlclose(program);
    return folders;
}

// The loader's own message names the file or the library that the file needs.
std::string why_not_loaded(const std::string &file, const std::string &cause) {
    std::string text = "cannot load the driver: " + cause;
    if (!has_folder(file)) {
        text += "; looked for " + own_driver(file) + ", and in";
        for (const std::string &folder : folders_of_loader())
            text += " " + folder;
    }
    return text + "; name its file with --driver";
}

// The loader would wait for the writer of a pipe.
const std::string &without_wait(const std::string &file) {
    std::error_code none;
    if (has_folder(file) && std::filesystem::exists(file, none) && !std::filesystem::is_regular_file(file, none))
        throw DriverLibraryError("cannot load the driver: " + file +
                                 " is not a regular file; name its file with --driver");
    return file;
}

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
    look_up(handle, file, "AddListReadVar", entry.AddListReadVar);
    look_up(handle, file, "AddListOnceReadVar", entry.AddListOnceReadVar);
    look_up(handle, file, "EnableEthernet", entry.EnableEthernet);
    look_up(handle, file, "PLCAddressChangeIntef", entry.PLCAddressChangeIntef);
    look_up(handle, file, "PLC_driver", entry.PLC_driver);
    return entry;
}

}  // namespace

DriverLibrary::DriverLibrary(const std::string &file) : handle_(load_by_name(without_wait(file))) {
    if (handle_ == nullptr)
        throw DriverLibraryError(why_not_loaded(file, dlerror()));
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

std::vector<PolledBlock> DriverLibrary::polled_blocks() const {
    std::vector<PolledBlock> blocks;
    for (const RW_VAR &entry : read_blocks())
        blocks.push_back({entry.station_no, entry.reg_type, entry.reg_addr, entry.reg_count});
    return blocks;
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
    return std::any_of(driver.write_list.constBegin(), driver.write_list.constEnd(), is_part) ||
           std::any_of(driver.once_read_list.constBegin(), driver.once_read_list.constEnd(), is_part);
}

bool DriverLibrary::is_request_in_flight() const {
    return !entry_.PLC_driver->frame_list.isEmpty();
}

bool DriverLibrary::serves_a_write_next() const {
    return !is_request_in_flight() && entry_.PLC_driver->write_tries < static_cast<int>(ozna_kelpo::most_in_a_row);
}

void DriverLibrary::give_up(int group, int id) const {
    const QList<Protocol> &in_flight = entry_.PLC_driver->frame_list;
    QByteArray no_reply;
    while (!in_flight.isEmpty() && in_flight.at(0).var.var_group == group && in_flight.at(0).var.var_id == id)
        entry_.DataCom(&no_reply, 0);
}

}  // namespace kelpo

#pragma once

#include <cstddef>

namespace plc {

/// A file mapped into memory. Owns the mapping, not the file's name.
///
/// Another program may truncate the file meanwhile, and its pages are then gone. From then on the mapping reads as
/// zeros, and nobody else sees what is written there: a signal handler puts memory of this process in their place. It
/// is installed for SIGBUS with the first mapping; a fault outside the mappings ends the process as usual.
class MappedFile {
public:
    MappedFile() = default;
    /// Maps all `size` bytes of the open file, which may be closed afterwards. Throws std::system_error, also when
    /// there are 64 mappings already.
    MappedFile(int file, std::size_t size, bool writable);
    ~MappedFile();

    MappedFile(const MappedFile &) = delete;
    MappedFile &operator=(const MappedFile &) = delete;
    MappedFile(MappedFile &&other) noexcept;
    MappedFile &operator=(MappedFile &&other) noexcept;

    void *start() const {
        return start_;
    }

private:
    void *start_ = nullptr;
    std::size_t size_ = 0;
};

}  // namespace plc

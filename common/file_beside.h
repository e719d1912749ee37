#pragma once

#include <string>

#include <sys/types.h>

namespace common {

/// A new file that gets its name when it is complete. Until then it is in the same folder under a free name, so that
/// what somebody else put there is neither followed nor touched, and a file that has the name already stays. The
/// destructor removes the file if it was not put in place.
class FileBeside {
public:
    /// Makes the file, empty, to be read and written. Throws std::system_error.
    FileBeside(const std::string &path, mode_t mode);
    ~FileBeside();
    FileBeside(FileBeside &&other) noexcept;
    FileBeside(const FileBeside &) = delete;
    FileBeside &operator=(const FileBeside &) = delete;
    FileBeside &operator=(FileBeside &&) = delete;

    int descriptor() const {
        return descriptor_;
    }

    /// Gives the file its name, in place of one that has it; it stays open. Throws std::system_error.
    void put_in_place();

private:
    std::string path_;
    std::string name_;  // empty once it is in place
    int descriptor_;
};

}  // namespace common

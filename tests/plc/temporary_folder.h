#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

/// A folder of a test's own, removed with all in it.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string path = (std::filesystem::temp_directory_path() / "kelpo-plc-test-XXXXXX").string();
        if (::mkdtemp(path.data()) == nullptr)
            throw std::runtime_error("cannot make a temporary folder");
        path_ = path;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    std::string operator/(const std::string &name) const {
        return (path_ / name).string();
    }

private:
    std::filesystem::path path_;
};

#pragma once

#include <string>

namespace plc {

/// A symbolic link that leads to a pseudo-terminal under a name of the user's choice.
class LineLink {
public:
    /// Makes the link. A link to a pseudo-terminal that an earlier run left there is replaced.
    /// Throws std::runtime_error when anything else has that name or the link cannot be made.
    LineLink(const std::string &path, const std::string &client_path);

    /// Removes the link, unless it leads elsewhere by now.
    ~LineLink();

    LineLink(const LineLink &) = delete;
    LineLink &operator=(const LineLink &) = delete;

private:
    std::string path_;
    std::string client_path_;
};

}  // namespace plc

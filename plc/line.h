#pragma once

#include <string>

#include "plc/frame.h"

namespace plc {

/// An open file descriptor, closed at its end.
class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor();

    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    int number() const {
        return number_;
    }

private:
    int number_;
};

/// The controller's end of a pseudo-terminal that stands for the serial line.
class Line {
public:
    /// Opens the line in raw mode. Throws std::system_error.
    Line();

    /// To be polled for incoming bytes.
    int descriptor() const {
        return master_.number();
    }

    /// Path of the end that the client opens.
    const std::string &client_path() const {
        return client_path_;
    }

    /// Bytes that have come, at most a few hundred at once; empty when there are none. Throws std::system_error.
    Bytes receive();

    /// Sends without waiting: bytes for which the line has no room, since nobody reads, are lost.
    /// Returns whether all went out. Throws std::system_error.
    bool send(const Bytes &bytes);

private:
    Descriptor master_;
    std::string client_path_;
    Descriptor client_;  // never used, but without it the line would break when a client leaves
};

/// A symbolic link that leads to a line's client end under a name of the user's choice.
class LineLink {
public:
    /// Makes the link. A link to a pseudo-terminal that an earlier run left there is replaced.
    /// Throws std::runtime_error when anything else has that name or the link cannot be made.
    LineLink(const std::string &path, const std::string &client_path);

    /// Removes the link, unless it has come to lead elsewhere.
    ~LineLink();

    LineLink(const LineLink &) = delete;
    LineLink &operator=(const LineLink &) = delete;

private:
    std::string path_;
    std::string client_path_;
};

}  // namespace plc

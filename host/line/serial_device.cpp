#include "host/line/serial_device.h"

#include "host/line/line_error.h"

#include <asio/io_context.hpp>
#include <asio/serial_port.hpp>

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <linux/serial.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace kelpo {
namespace {

[[noreturn]] void fail(const LineSettings &settings, const std::string &what) {
    throw LineError(settings.path + ": " + what);
}

std::string text_of(int error) {
    return std::generic_category().message(error);
}

// What the user can do about a tty that does not open.
const char *advice(int error) {
    switch (error) {
    case ENOENT:
    case ENODEV:
    case ENXIO:
        return "; is the adapter plugged in? ls /dev/serial/by-id names those that are";
    case EACCES:
    case EPERM:
        return "; the user must be in the group that ls -l names for it, often dialout";
    case EBUSY:
        return "; another program has it";
    case EIO:
        return "; there is no port behind this name";
    case ENOTTY:
    case EISDIR:
        return "; a line is a tty, such as /dev/ttyUSB0, or tcp:HOST:PORT";
    default:
        return "";
    }
}

// A host and a port, as in 192.168.1.1:502.
bool names_a_device_server(const std::string &path) {
    const std::size_t colon = path.rfind(':');
    return colon != std::string::npos && colon > 0 && path.find('/') == std::string::npos && colon + 1 < path.size() &&
           path.find_first_not_of("0123456789", colon + 1) == std::string::npos;
}

asio::serial_port_base::parity parity_option(Parity parity) {
    using Option = asio::serial_port_base::parity;
    switch (parity) {
    case Parity::even:
        return Option(Option::even);
    case Parity::odd:
        return Option(Option::odd);
    case Parity::none:
        break;
    }
    return Option(Option::none);
}

asio::serial_port_base::stop_bits stop_bits_option(int stop_bits) {
    using Option = asio::serial_port_base::stop_bits;
    return Option(stop_bits == 2 ? Option::two : Option::one);
}

void configure(asio::serial_port &port, const LineSettings &settings, bool pseudo) {
    const auto set = [&](const auto &option, const std::string &name, bool may_refuse) {
        asio::error_code error;
        port.set_option(option, error);
        if (error && !(may_refuse && error == asio::error::invalid_argument))
            fail(settings, "refuses the " + name + ": " + error.message());
    };
    using Base = asio::serial_port_base;
    set(Base::baud_rate(settings.speed), "speed " + std::to_string(settings.speed), false);
    set(Base::flow_control(Base::flow_control::none), "flow control", false);
    set(Base::character_size(8), "character size", pseudo);
    set(parity_option(settings.parity), "parity", pseudo);
    set(stop_bits_option(settings.stop_bits), "stop bits", pseudo);
}

// Two masters on one line would take each other's replies. The lock is seen by every program that asks for it, this one
// included, and goes with the descriptor. The exclusive mode keeps out those that do not ask; on a pseudo-terminal it
// would outlive this program.
void keep_others_out(const Descriptor &tty, const LineSettings &settings) {
    if (flock(tty.number(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
        fail(settings, "cannot be opened: another program has it, and a line has one master");
    if (!is_pseudo_terminal(tty))
        ioctl(tty.number(), TIOCEXCL);
}

void switch_transmitter_by_kernel(const Descriptor &tty, const LineSettings &settings) {
    const auto refuse = [&](const std::string &why) {
        fail(settings, "its driver does not switch an RS-485 transmitter: " + why +
                           "; take rs485 out where the adapter or the port does it by itself");
    };
    serial_rs485 mode{};
    mode.flags = SER_RS485_ENABLED | SER_RS485_RTS_ON_SEND;
    if (ioctl(tty.number(), TIOCSRS485, &mode) != 0)
        refuse(text_of(errno));
    // The kernel hands back what it has made of the wish.
    if ((mode.flags & SER_RS485_ENABLED) == 0)
        refuse("the mode stays off");
}

bool is_pseudo_terminal(const struct stat &status) {
    constexpr unsigned first_major = 136, last_major = 143;
    const unsigned device = major(status.st_rdev);
    return S_ISCHR(status.st_mode) && device >= first_major && device <= last_major;
}

}  // namespace

Descriptor open_serial_device(const LineSettings &settings) {
    asio::io_context context;
    asio::serial_port port(context);
    asio::error_code error;
    port.open(settings.path, error);
    if (error && names_a_device_server(settings.path))
        fail(settings, "is no serial port; a device server is written as tcp:" + settings.path);
    if (error)
        fail(settings, "cannot be opened: " + error.message() + advice(error.value()));

    Descriptor tty(fcntl(port.native_handle(), F_DUPFD_CLOEXEC, 0));
    if (tty.number() < 0)
        fail(settings, "cannot be opened: " + text_of(errno));
    keep_others_out(tty, settings);
    configure(port, settings, is_pseudo_terminal(tty));
    if (settings.rs485)
        switch_transmitter_by_kernel(tty, settings);
    return tty;
}

bool is_pseudo_terminal(const Descriptor &tty) {
    struct stat status {};
    return fstat(tty.number(), &status) == 0 && is_pseudo_terminal(status);
}

bool is_pseudo_terminal(const std::string &path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && is_pseudo_terminal(status);
}

bool is_wired(const Descriptor &tty) {
    constexpr unsigned terminals = 4, first_serial_port = 64, on_chip_ports = 204, usb_adapters = 188;
    struct stat status {};
    if (fstat(tty.number(), &status) != 0 || !S_ISCHR(status.st_mode))
        return false;
    const unsigned device = major(status.st_rdev);
    return (device == terminals && minor(status.st_rdev) >= first_serial_port) || device == on_chip_ports ||
           device == usb_adapters;
}

}  // namespace kelpo

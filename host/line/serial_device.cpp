#include "host/line/serial_device.h"

#include "host/line/line_error.h"
#include "host/line/terminal.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <system_error>

#include <fcntl.h>
#include <linux/serial.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>

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
        return "; there is no port of this name";
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

struct Speed {
    unsigned rate;
    speed_t code;
};

// The system's codes are not rates, and its functions accept both.
constexpr Speed speeds[] = {
    {50, B50},           {75, B75},           {110, B110},         {134, B134},         {150, B150},
    {200, B200},         {300, B300},         {600, B600},         {1200, B1200},       {1800, B1800},
    {2400, B2400},       {4800, B4800},       {9600, B9600},       {19200, B19200},     {38400, B38400},
    {57600, B57600},     {115200, B115200},   {230400, B230400},   {460800, B460800},   {500000, B500000},
    {576000, B576000},   {921600, B921600},   {1000000, B1000000}, {1152000, B1152000}, {1500000, B1500000},
    {2000000, B2000000}, {2500000, B2500000}, {3000000, B3000000}, {3500000, B3500000}, {4000000, B4000000},
};

void configure(const Descriptor &tty, const LineSettings &settings) {
    termios mode{};
    if (tcgetattr(tty.number(), &mode) != 0)
        fail(settings, "cannot be opened: " + text_of(errno) + advice(errno));
    cfmakeraw(&mode);
    mode.c_iflag &= ~static_cast<tcflag_t>(IXOFF | IGNPAR | INPCK);
    mode.c_cflag &= ~static_cast<tcflag_t>(CRTSCTS | CSTOPB | PARODD);
    mode.c_cflag |= CREAD | CLOCAL;
    if (settings.stop_bits == 2)
        mode.c_cflag |= CSTOPB;
    if (settings.parity != Parity::none) {
        mode.c_iflag |= INPCK;  // a damaged byte is read as 0, and the check of the frame is wrong
        mode.c_cflag |= PARENB;
    }
    if (settings.parity == Parity::odd)
        mode.c_cflag |= PARODD;

    const auto refuse_setting = [&](const std::string &what) {
        throw LineSettingError(settings.path + ": refuses " + what);
    };
    const auto *speed = std::find_if(std::begin(speeds), std::end(speeds),
                                     [&](const Speed &known) { return known.rate == settings.speed; });
    const std::string speed_name = "speed " + std::to_string(settings.speed);
    if (speed == std::end(speeds))
        refuse_setting("the " + speed_name + ": the system does not know it");
    cfsetspeed(&mode, speed->code);

    // Setting succeeds if any part of it was accepted.
    termios kept{};
    if ((tcsetattr(tty.number(), TCSANOW, &mode) != 0 && errno != EINVAL) || tcgetattr(tty.number(), &kept) != 0)
        fail(settings, "cannot be set up: " + text_of(errno));
    const auto refused = [&](tcflag_t flags) {
        return !is_pseudo_terminal(tty) && (kept.c_cflag & flags) != (mode.c_cflag & flags);
    };
    if (cfgetospeed(&kept) != speed->code)
        refuse_setting("the " + speed_name);
    if (refused(CSIZE))
        refuse_setting("8 data bits");
    if (refused(PARENB | PARODD))
        refuse_setting("the parity");
    if (refused(CSTOPB))
        refuse_setting("the stop bits");
}

// Two masters on one line would take each other's replies. The lock is seen by every program that checks it, including
// this one, and ends with the descriptor. The exclusive mode keeps out programs that do not check; on a pseudo-terminal
// it would outlive this program.
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
    // The kernel returns what it has set.
    if ((mode.flags & SER_RS485_ENABLED) == 0)
        refuse("the mode stays off");
}

}  // namespace

Descriptor open_serial_device(const LineSettings &settings) {
    const std::string reason = why_not_to_open(settings.path, settings.known_terminal);
    if (!reason.empty())
        fail(settings, reason);
    Descriptor tty(open(settings.path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (tty.number() < 0) {
        const int error = errno;
        if (names_a_device_server(settings.path))
            fail(settings, "is not a serial port; a device server is written as tcp:" + settings.path);
        fail(settings, "cannot be opened: " + text_of(error) + advice(error));
    }
    keep_others_out(tty, settings);
    configure(tty, settings);
    if (settings.rs485)
        switch_transmitter_by_kernel(tty, settings);
    return tty;
}

}  // namespace kelpo

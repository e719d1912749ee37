// A panel that polls with the driver, loaded as a panel loads it; see panel_list.h.
//   kelpo-bench-driver-panel LINE LIST PASSES [LONGEST]
#include "bench/panel_list.h"

#include <ozna_kelpo_host.h>

#include <cstdio>
#include <cstdlib>

#include <poll.h>
#include <termios.h>

namespace {

using Clock = std::chrono::steady_clock;

// The tty as the driver's host needs it: silence, a request, the bytes of a reply until a time-out.
class Line {
public:
    explicit Line(const std::string &path) : tty_(open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        termios mode{};
        if (tty_ < 0 || tcgetattr(tty_, &mode) != 0)
            throw std::runtime_error(path + ": " + std::strerror(errno));
        cfmakeraw(&mode);
        cfsetspeed(&mode, B19200);
        mode.c_cflag |= CLOCAL | CREAD;
        tcsetattr(tty_, TCSANOW, &mode);
    }
    ~Line() {
        close(tty_);
    }
    Line(const Line &) = delete;
    Line &operator=(const Line &) = delete;

    // Discards what comes until the line was silent for this long.
    void await_silence(int milliseconds) const {
        char discarded[256];
        while (has_bytes(milliseconds))
            receive(discarded, sizeof discarded);
    }

    QByteArray exchange(const QByteArray &request, int length) const {
        if (write(tty_, request.constData(), static_cast<std::size_t>(request.size())) != request.size())
            throw std::runtime_error("the line is lost");
        char reply[512];
        const int wanted = length < 0 ? static_cast<int>(sizeof reply) : length;
        int got = 0;
        while (got < wanted && has_bytes(got == 0 ? 500 : 50))
            got += receive(reply + got, wanted - got);
        return QByteArray(reply, got);
    }

private:
    bool has_bytes(int milliseconds) const {
        pollfd file{tty_, POLLIN, 0};
        return poll(&file, 1, milliseconds) > 0;
    }

    int receive(char *bytes, int size) const {
        const ssize_t got = read(tty_, bytes, static_cast<std::size_t>(size));
        if (got <= 0)
            throw std::runtime_error("the line is lost");
        return static_cast<int>(got);
    }

    int tty_;
};

QString text_of(const bench::PanelVariable &variable) {
    return QString::number(variable.address);
}

void ignore_result(int, int, int, int) {}
void ignore_error(QList<RW_VAR> *, int, int) {}

class Panel {
public:
    explicit Panel(const bench::PanelTask &task) : line_(task.line) {
        if (!driver_.load())
            throw std::runtime_error(driver_.error().constData());
        info_.max_count = task.longest;
        info_.multi_station = 1;
        info_.retry_times = 2;
        driver_.SetComInfo(&info_);
        driver_.RegistCallBackFuncIntf(ignore_result, ignore_error);
        QList<HOST_VAR> polled;
        for (const bench::PanelVariable &variable : task.variables)
            polled.append(ozna_kelpo::place(variable.type, text_of(variable), variable.units, 1));
        blocks_ = driver_.ReCreatReadVarList(&polled);
    }

    void read_all() {
        for (int block = 0; block < blocks_;) {
            const Protocol &request = *driver_.ComCommunication();
            line_.await_silence(2);
            QByteArray reply = line_.exchange(request.frame, request.reply_len);
            const auto outcome = ozna_kelpo::classify(driver_.DataCom(&reply, reply.size())->ret_value);
            if (ozna_kelpo::is_given_up(outcome))
                throw std::runtime_error(ozna_kelpo::words_of(outcome));
            if (outcome == ozna_kelpo::good)
                ++block;
            else
                line_.await_silence(100);
        }
    }

    std::vector<int> values_of(const bench::PanelVariable &variable) const {
        QByteArray bytes;
        driver_.GetRegisterData(QString(), variable.type, text_of(variable), 1, bytes, variable.units);
        const auto byte = [&bytes](int index) {
            return static_cast<int>(static_cast<unsigned char>(bytes.at(index)));
        };
        if (variable.coils)
            return {byte(0)};
        if (variable.units == 1)
            return {byte(0) | byte(1) << 8};
        return {byte(2) | byte(3) << 8, byte(0) | byte(1) << 8};
    }

private:
    Line line_;
    ComInfo info_{};
    ozna_kelpo::LoadedDriver driver_;
    int blocks_ = 0;
};

}  // namespace

int main(int argc, char **argv) {
    try {
        const bench::PanelTask task = bench::panel_task(argc, argv);
        Panel panel(task);
        bench::PanelStopwatch stopwatch;
        for (int pass = 0; pass <= task.passes; ++pass) {
            panel.read_all();
            if (pass == 0)
                stopwatch.start();
        }
        std::vector<int> values;
        for (const bench::PanelVariable &variable : task.variables)
            for (const int value : panel.values_of(variable))
                values.push_back(value);
        stopwatch.print(task.passes, values);
    } catch (const std::exception &problem) {
        std::fprintf(stderr, "%s\n", problem.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

// A small panel runtime, whole in this file: one line, a thread that carries, a thread that shows two screens.
//
//     c++ -fPIC -o panel panel.cpp $(pkg-config --cflags --libs ozna_kelpo_host)
//
// usage: panel LINE [SECONDS]       LINE: a tty, 19200 baud, 8 data bits, no parity; station 1 is asked
//
// Opens one screen, then the other, writes a value, switches the station off and on, and shows the first screen until
// SECONDS (2) are over. Prints NAME = VALUE; what goes wrong, in words, on the error output. Ends with 0 when every
// value came and every request was carried out, else with 1, with 2 for wrong arguments.
//
// Copyright 2026 the ozna kelpo port authors. SPDX-License-Identifier: MIT
#include <ozna_kelpo_host.h>

#include <cmath>
#include <csignal>
#include <cstdio>

#include <poll.h>
#include <pthread.h>
#include <termios.h>
#include <time.h>

using namespace ozna_kelpo;

namespace {

const double frame_gap = 0.002;         // seconds; the silence between two frames: 3.5 characters of 11 bits
const double reply_timeout = 0.5;       // from the end of a request to the first byte of its reply
const double character_timeout = 0.05;  // between two bytes of a reply
const double settle_time = 0.1;         // for a reply that is only late, after one that was not taken
const int station = 1;

#ifdef OZNA_KELPO_LINKED
Driver plc = linked_driver();
bool load_driver() {
    return true;
}
#else
LoadedDriver plc;
bool load_driver() {
    if (!plc.load())  // a second line of this process would have a driver of its own, with load_copy()
        std::fprintf(stderr, "%s\n", plc.error().constData());
    return plc.is_loaded();
}
#endif

ComInfo info = ComInfo();  // the driver keeps a pointer to it: it lives as long as the driver is used
const char *line_path;
volatile std::sig_atomic_t stopping = 0;

struct Variable {
    const char *name;
    int type;
    const char *address;
    int units;

    HOST_VAR where() const {
        return place(type, QString::fromLatin1(address), units, station);
    }
};

const Variable tank[] = {{"level", words_7, "100", 1},
                         {"flow", pairs_of_7, "102", 2},
                         {"hours", double_words_13, "250", 2},
                         {"pump", bits_4, "50", 1},
                         {"alarm", bits_of_7, "110.3", 1}};
const Variable settings[] = {{"set_point", words_8, "60", 1}};
const Variable recipe = {"recipe", words_7, "200", 4};  // is read once, when the settings are opened
const int recipe_id = 1, set_point_id = 2, group = 1;

// ---- What the two threads tell each other. The callbacks run with the driver's list lock held: they only take note.

pthread_mutex_t notes_lock = PTHREAD_MUTEX_INITIALIZER;
int status_of[3];  // by id: the last status of that request, 0 while it has none

void on_write_result(int, int, int id, int status) {
    pthread_mutex_lock(&notes_lock);
    if (status_of[id] != request_failed)
        status_of[id] = status;
    pthread_mutex_unlock(&notes_lock);
}

void on_comm_error(QList<RW_VAR> *, int, int) {}  // what DataCom returns says more

int set_status(int id, int status) {
    pthread_mutex_lock(&notes_lock);
    const int before = status_of[id];
    status_of[id] = status;
    pthread_mutex_unlock(&notes_lock);
    return before;
}

double now() {
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

void pause_for(double seconds) {
    poll(0, 0, static_cast<int>(seconds * 1000));
}

// ---- The line. Each function returns false, or a negative number, when the line is gone.

int open_line() {
    const int line = open(line_path, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    termios mode;
    if (line < 0 || tcgetattr(line, &mode) != 0) {
        const int why = errno;
        if (line >= 0)
            close(line);
        errno = why;
        return -1;
    }
    cfmakeraw(&mode);
    cfsetspeed(&mode, B19200);
    mode.c_cflag |= CLOCAL | CREAD;
    tcsetattr(line, TCSANOW, &mode);
    return line;
}

// 1 when `what` can be done with the line before `deadline`, 0 when not.
int wait_for(int line, short what, double deadline) {
    pollfd file = {line, what, 0};
    const double left = deadline - now();
    return poll(&file, 1, left > 0 ? static_cast<int>(std::ceil(left * 1000)) : 0) > 0 ? 1 : 0;
}

// Number of bytes that came, 0 when there are none.
int receive(int line, char *buffer, int size) {
    const ssize_t got = read(line, buffer, static_cast<size_t>(size));
    if (got > 0)
        return static_cast<int>(got);
    return got < 0 && (errno == EAGAIN || errno == EINTR) ? 0 : -1;
}

// Waits until the line has been silent for `seconds`, a second longer at most, and throws away what comes.
bool await_silence(int line, double seconds) {
    char waste[256];
    const double latest = now() + seconds + 1;
    while (now() < latest && wait_for(line, POLLIN, now() + seconds) > 0)
        if (receive(line, waste, sizeof waste) < 0)
            return false;
    return true;
}

bool send_all(int line, const char *bytes, int size) {
    const double deadline = now() + 1;
    while (size > 0) {
        const ssize_t put = write(line, bytes, static_cast<size_t>(size));
        if (put > 0) {
            bytes += put;
            size -= static_cast<int>(put);
        } else if ((put < 0 && errno != EAGAIN && errno != EINTR) || wait_for(line, POLLOUT, deadline) == 0) {
            return false;
        }
    }
    return tcdrain(line) == 0;  // the time-out of the reply runs from the request's last byte
}

// `length` bytes, or fewer when a time-out comes first; with any_length all that comes until the line is silent.
bool collect(int line, int length, QByteArray &reply) {
    char buffer[512];
    const int wanted = length == any_length ? static_cast<int>(sizeof buffer) : length;
    int got = 0;
    while (got < wanted && wait_for(line, POLLIN, now() + (got == 0 ? reply_timeout : character_timeout)) > 0) {
        const int more = receive(line, buffer + got, wanted - got);
        if (more < 0)
            return false;
        got += more;
    }
    reply = QByteArray(buffer, got);
    return true;
}

// One request and its reply. False when the line is gone: DataCom is not called then, so that the request stays in
// flight and is sent again on the next line.
bool exchange(int line, const Protocol *request) {
    const RW_VAR asked = request->var;  // DataCom may take the request out of flight
    QByteArray reply;
    if (!await_silence(line, frame_gap) || !send_all(line, request->frame.constData(), request->send_len) ||
        !collect(line, request->reply_len, reply))
        return false;
    const Outcome outcome = classify(plc.DataCom(&reply, static_cast<int>(reply.size()))->ret_value);
    if (outcome == good)
        return true;
    std::fprintf(stderr, "station %d, type %d, address %d: %s\n", asked.station_no, asked.reg_type, asked.reg_addr,
                 words_of(outcome));
    return await_silence(line, settle_time);
}

// The second half of the write of a bit in a register holds a word that was read before the line was lost.
void let_go_of_half_a_bit() {
    const Protocol *const request = plc.ComCommunication();
    const bool writes_one_word = request != 0 && request->frame.size() > 1 && request->frame.at(1) == 6;
    QByteArray nothing;
    while (writes_one_word && classify(plc.DataCom(&nothing, 0)->ret_value) == sent_again) {
    }
}

void *carry(void *) {
    for (int line = -1; stopping == 0;) {
        if (line < 0) {
            line = open_line();
            if (line >= 0) {
                await_silence(line, settle_time);  // the controller may still answer what was asked last
                continue;
            }
            std::fprintf(stderr, "%s: %s\n", line_path, std::strerror(errno));
            pause_for(0.25);
        } else {
            const Protocol *request = plc.ComCommunication();
            if (request != 0 ? exchange(line, request) : await_silence(line, 0.005))
                continue;
            std::fprintf(stderr, "%s: the line is lost\n", line_path);
            let_go_of_half_a_bit();
            close(line);
            line = -1;
        }
    }
    return 0;
}

// ---- The screens.

void show(const Variable &variable) {
    QByteArray value;
    plc.GetRegisterData(QString(), variable.type, QString::fromLatin1(variable.address), station, value,
                        variable.units);
    const int width = data_size(variable.type, 1);  // low byte first
    std::printf("%s =", variable.name);
    for (int i = 0; i + width <= value.size(); i += width) {
        unsigned int number = 0;
        for (int byte = width - 1; byte >= 0; --byte)
            number = number << 8 | static_cast<unsigned char>(value.at(i + byte));
        std::printf(" %u", number);
    }
    std::printf("\n");
    std::fflush(stdout);
}

bool all_were_read(const Variable *variables, int number) {
    for (int i = 0; i < number; ++i)
        if (!plc.was_read(variables[i].where()))
            return false;
    return true;
}

// Polls these variables from now on and shows them once all of them have been read.
bool open_screen(const Variable *variables, int number, double seconds) {
    QList<HOST_VAR> polled;
    for (int i = 0; i < number; ++i)
        polled.append(plc.polled_form(variables[i].where()));
    plc.ReCreatReadVarList(&polled);
    const QList<int> torn = plc.torn_values(polled);
    for (int i = 0; i < torn.size(); ++i)
        std::fprintf(stderr, "%s: lies across the end of a block\n", variables[torn.at(i)].name);
    for (const double deadline = now() + seconds; !all_were_read(variables, number); pause_for(0.005))
        if (now() > deadline) {
            std::fprintf(stderr, "the values do not come\n");
            return false;
        }
    for (int i = 0; i < number; ++i)
        show(variables[i]);
    return true;
}

// Waits for the end of what was queued: a report after which no part of it waits.
bool ended_well(int id, Answer answer, const char *name, double seconds) {
    if (answer != queued) {
        std::fprintf(stderr, "%s: %s\n", name, words_of(answer));
        return false;
    }
    for (const double deadline = now() + seconds; now() < deadline && plc.is_waiting(group, id);)
        pause_for(0.005);
    if (set_status(id, 0) == request_done)
        return true;
    std::fprintf(stderr, "%s: was not carried out\n", name);
    return false;
}

bool run_screens(double seconds) {
    const double end = now() + seconds;
    bool well = open_screen(tank, sizeof tank / sizeof *tank, seconds);

    well = open_screen(settings, 1, seconds) && well;
    well = ended_well(recipe_id, plc.read_once(recipe.where(), group, recipe_id), recipe.name, seconds) && well;
    show(recipe);

    const QByteArray value("\xD2\x04", 2);  // 1234, low byte first
    well = ended_well(set_point_id, plc.write(settings[0].where(), value, group, set_point_id), "set_point", seconds) &&
           well;
    show(settings[0]);

    plc.EnableEthernet(station, station_off);  // writes would be dropped without a report: the answer tells
    well = plc.write(settings[0].where(), value, group, set_point_id) == station_is_off && well;
    plc.EnableEthernet(station, station_on);

    do
        well = open_screen(tank, sizeof tank / sizeof *tank, seconds) && well;
    while (pause_for(0.25), stopping == 0 && now() < end);
    return well;
}

void stop(int) {
    stopping = 1;
}

}  // namespace

int main(int argc, char **argv) {
    const double seconds = argc > 2 ? std::atof(argv[2]) : 2;
    if (argc < 2 || argc > 3 || !(seconds > 0)) {
        std::fprintf(stderr, "usage: panel LINE [SECONDS]\n");
        return 2;
    }
    line_path = argv[1];
    std::signal(SIGINT, stop);
    std::signal(SIGTERM, stop);
    if (!load_driver())
        return 1;

    info.max_count = most_units_per_request;
    info.multi_station = 1;
    info.retry_times = 2;
    info.write_mode = write_to_controller;
    plc.SetComInfo(&info);
    plc.RegistCallBackFuncIntf(on_write_result, on_comm_error);

    pthread_t carrier;
    if (pthread_create(&carrier, 0, carry, 0) != 0)
        return 1;
    const bool well = run_screens(seconds);
    stopping = 1;
    pthread_join(carrier, 0);
    return well ? 0 : 1;
}

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

#include <QtCore/QAtomicInt>
#include <QtCore/QElapsedTimer>

#include <csignal>
#include <cstdio>

#include <poll.h>
#include <pthread.h>
#include <termios.h>

using namespace ozna_kelpo;

namespace {

// All times are in milliseconds.
const int frame_gap = 2;           // the silence between two frames: 3.5 characters of 11 bits
const int reply_timeout = 500;     // from the end of a request to the first byte of its reply
const int character_timeout = 50;  // between two bytes of a reply
const int settle_time = 100;       // for a reply that is only late, after one that was not taken
const int longest_noise = 1000;    // before a request is sent nevertheless
const int station = 1;

#ifdef OZNA_KELPO_LINKED
Driver plc = linked_driver();
#else
LoadedDriver plc;
#endif

ComInfo info = ComInfo();  // the driver keeps a pointer to it: it must exist as long as the driver is used
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

// ---- What the callbacks report. They run with the driver's list lock held, so they only take note.

QAtomicInt status_of[3];  // by id; 0 while nothing is reported, and request_failed if any part of the request failed

void on_write_result(int, int, int id, int status) {
    if (!status_of[id].testAndSetOrdered(0, status) && status == request_failed)
        status_of[id].fetchAndStoreOrdered(status);
}

void on_comm_error(QList<RW_VAR> *, int, int) {}  // what DataCom returns says more

// ---- The line

int open_line() {
    const int line = open(line_path, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    termios mode;
    if (line < 0 || tcgetattr(line, &mode) != 0) {
        std::perror(line_path);
        close(line);
        return -1;
    }
    cfmakeraw(&mode);
    cfsetspeed(&mode, B19200);
    mode.c_cflag |= CLOCAL | CREAD;
    tcsetattr(line, TCSANOW, &mode);
    return line;
}

// Number of bytes that came, at most `size`; 0 after `time` without one, below 0 when the line is gone.
int receive(int line, char *buffer, int size, int time) {
    pollfd file = {line, POLLIN, 0};
    if (poll(&file, 1, time) <= 0)
        return 0;
    const ssize_t got = read(line, buffer, static_cast<size_t>(size));
    return got > 0 ? static_cast<int>(got) : -1;
}

// Waits until the line has been silent for `time` and throws away what comes. False when the line is gone.
bool await_silence(int line, int time) {
    char waste[256];
    QElapsedTimer timer;
    timer.start();
    int got = 1;
    while (got > 0 && !timer.hasExpired(time + longest_noise))
        got = receive(line, waste, sizeof waste, time);
    return got >= 0;
}

// The time-out of the reply runs from the request's last byte, so this waits for it. False when the line is gone.
bool send_frame(int line, const Protocol *request) {
    const ssize_t put = write(line, request->frame.constData(), static_cast<size_t>(request->send_len));
    return put == request->send_len && tcdrain(line) == 0;  // a request fits into the empty buffer of a tty
}

// The bytes that came before a time-out, not more than are expected. False when the line is gone.
bool collect(int line, const Protocol *request, QByteArray *reply) {
    char buffer[512];
    const int wanted = request->reply_len == any_length ? static_cast<int>(sizeof buffer) : request->reply_len;
    int got = 0, more = 1;
    while (more > 0 && got < wanted) {
        more = receive(line, buffer + got, wanted - got, got == 0 ? reply_timeout : character_timeout);
        got += more > 0 ? more : 0;
    }
    *reply = QByteArray(buffer, got);
    return more >= 0;
}

// One request and its reply. False when the line is gone: DataCom is not called then, so the request stays in flight
// and is sent again on the next line.
bool exchange(int line, const Protocol *request) {
    const RW_VAR asked = request->var;  // DataCom may take the request out of flight
    QByteArray reply;
    if (!await_silence(line, frame_gap) || !send_frame(line, request) || !collect(line, request, &reply))
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
    while (stopping == 0) {
        const int line = open_line();
        if (line < 0) {
            poll(0, 0, 250);
            continue;
        }
        await_silence(line, settle_time);  // the controller may still answer what was asked last
        bool is_there = true;
        while (is_there && stopping == 0) {
            const Protocol *request = plc.ComCommunication();
            is_there = request != 0 ? exchange(line, request) : await_silence(line, 5);
        }
        close(line);
        if (!is_there) {
            std::fprintf(stderr, "%s: the line is lost\n", line_path);
            let_go_of_half_a_bit();
        }
    }
    return 0;
}

// ---- The screens

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

// Polls these variables from now on and shows them once all of them have been read.
bool open_screen(const Variable *variables, int number, int time) {
    QList<HOST_VAR> polled;
    for (int i = 0; i < number; ++i)
        polled.append(plc.polled_form(variables[i].where()));
    plc.ReCreatReadVarList(&polled);
    const QList<int> torn = plc.torn_values(polled);
    for (int i = 0; i < torn.size(); ++i)
        std::fprintf(stderr, "%s: crosses the end of a block\n", variables[torn.at(i)].name);
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < number; ++i) {
        while (!plc.was_read(variables[i].where()) && !timer.hasExpired(time))
            poll(0, 0, 5);
        if (!plc.was_read(variables[i].where())) {
            std::fprintf(stderr, "the values do not come\n");
            return false;
        }
    }
    for (int i = 0; i < number; ++i)
        show(variables[i]);
    return true;
}

// Waits for the end of what was queued: a report after which no part of it waits.
bool ended_well(const char *name, int id, Answer answer, int time) {
    QElapsedTimer timer;
    timer.start();
    while (answer == queued && plc.is_waiting(group, id) && !timer.hasExpired(time))
        poll(0, 0, 5);
    const int status = status_of[id].fetchAndStoreOrdered(0);
    if (answer == queued && status == request_done && !plc.is_waiting(group, id))
        return true;
    std::fprintf(stderr, "%s: %s\n", name, answer == queued ? "was not carried out" : words_of(answer));
    return false;
}

bool run_screens(int time) {
    QElapsedTimer timer;
    timer.start();
    bool well = open_screen(tank, sizeof tank / sizeof *tank, time);
    well = open_screen(settings, 1, time) && well;
    well = ended_well("recipe", recipe_id, plc.read_once(recipe.where(), group, recipe_id), time) && well;
    show(recipe);

    const HOST_VAR set_point = settings[0].where();
    const QByteArray value("\xD2\x04", 2);  // 1234, low byte first
    well = ended_well("set_point", set_point_id, plc.write(set_point, value, group, set_point_id), time) && well;
    show(settings[0]);

    plc.EnableEthernet(station, station_off);  // the driver would drop a write without a report; the answer says so
    well = plc.write(set_point, value, group, set_point_id) == station_is_off && well;
    plc.EnableEthernet(station, station_on);

    do {
        well = open_screen(tank, sizeof tank / sizeof *tank, time) && well;
        poll(0, 0, 250);
    } while (stopping == 0 && !timer.hasExpired(time));
    return well;
}

void stop(int) {
    stopping = 1;
}

}  // namespace

int main(int argc, char **argv) {
    const double seconds = argc > 2 ? std::atof(argv[2]) : 2;
    if (argc < 2 || argc > 3 || !(seconds > 0 && seconds < 1e6)) {
        std::fprintf(stderr, "usage: panel LINE [SECONDS]\n");
        return 2;
    }
    line_path = argv[1];
    std::signal(SIGINT, stop);
    std::signal(SIGTERM, stop);
#ifndef OZNA_KELPO_LINKED
    if (!plc.load()) {  // a second line of this process would have a driver of its own, with load_copy()
        std::fprintf(stderr, "%s\n", plc.error().constData());
        return 1;
    }
#endif

    info.max_count = most_units_per_request;
    info.multi_station = 1;
    info.retry_times = 2;
    info.write_mode = write_to_controller;
    plc.SetComInfo(&info);
    plc.RegistCallBackFuncIntf(on_write_result, on_comm_error);

    pthread_t carrier;
    if (pthread_create(&carrier, 0, carry, 0) != 0)
        return 1;
    const bool well = run_screens(static_cast<int>(seconds * 1000));
    stopping = 1;
    pthread_join(carrier, 0);
    return well ? 0 : 1;
}

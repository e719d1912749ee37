#include "host/once/find_line.h"

#include "host/line/line_error.h"
#include "host/line/line_text.h"
#include "host/line/tcp_connection.h"
#include "host/once/once_run.h"
#include "host/once/place_check.h"
#include "host/once/progress_bar.h"
#include "host/once/scan_text.h"
#include "host/text/quantities.h"
#include "host/text/words.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <ostream>

namespace kelpo {
namespace {

using Clock = std::chrono::steady_clock;

struct Form {
    Parity parity;
    int stop_bits;
};

struct Likely {
    unsigned speed;
    Form form;
};

// What controllers are delivered with.
constexpr Likely likeliest[] = {
    {9600, {Parity::none, 1}},   {19200, {Parity::even, 1}}, {19200, {Parity::none, 1}}, {9600, {Parity::even, 1}},
    {115200, {Parity::none, 1}}, {38400, {Parity::none, 1}}, {57600, {Parity::none, 1}}, {115200, {Parity::even, 1}},
    {38400, {Parity::even, 1}},  {4800, {Parity::none, 1}},  {9600, {Parity::none, 2}},  {19200, {Parity::none, 2}},
};

// In the order of their frequency. Parity and two stop bits go together only where the user says so.
constexpr unsigned speeds[] = {9600, 19200, 115200, 38400, 57600, 4800, 2400, 1200};
constexpr Form forms[] = {{Parity::none, 1}, {Parity::even, 1}, {Parity::none, 2}, {Parity::odd, 1}};

constexpr std::size_t stations_first = 10;

// One setting, and the stations that are asked with it.
struct Try {
    ScanOptions options;
    std::size_t asked_before;  // in all tries before
};

std::vector<Try> tries_of(const ScanOptions &options, const std::vector<LineSettings> &settings) {
    const auto begin = options.stations.begin(), end = options.stations.end();
    const auto first = begin + static_cast<std::ptrdiff_t>(std::min(stations_first, options.stations.size()));
    std::vector<Try> tries;
    std::size_t asked = 0;
    for (const std::vector<int> &stations : {std::vector<int>(begin, first), std::vector<int>(first, end)})
        for (const LineSettings &setting : settings) {
            if (stations.empty())
                break;
            Try next{options, asked};
            next.options.stations = stations;
            next.options.link.line = setting;
            asked += stations.size();
            tries.push_back(std::move(next));
        }
    return tries;
}

/// Goes through the tries.
class Search {
public:
    Search(Driver &driver, const ScanOptions &options, StopSignal &stop, std::ostream &out, std::ostream &error)
        : driver_(driver), json_(options.json), stop_(stop), out_(out), error_(error),
          shows_progress_(options.shows_progress) {}

    ExitCode run(const std::vector<Try> &tries) {
        total_ = tries.back().asked_before + tries.back().options.stations.size();
        const Clock::time_point started = Clock::now();
        ProgressBar bar(shows_progress_, total_, error_);
        for (std::size_t i = 0; i < tries.size() && !stop_.raised(); ++i) {
            const std::string head = fmt::format("{}, {} of {}", character_text(tries[i].options.link.line), i + 1,
                                                 counted(static_cast<std::int64_t>(tries.size()), "try", "tries"));
            const auto progress = [&](std::size_t asked) {
                const std::size_t done = tries[i].asked_before + asked;
                bar.draw(done, head + left_words(done, Clock::now() - started));
            };
            const bool answered = attempt(tries[i].options, progress, bar);
            if (answered)
                return ExitCode::all_well;
        }
        error_ << "kelpo: " << (stop_.raised() ? "ended before all was tried" : "no station answers with any of these")
               << "\n";
        return ExitCode::not_right;
    }

private:
    std::string left_words(std::size_t done, Clock::duration time) const {
        if (done == 0)
            return {};
        const auto left = time / static_cast<Clock::rep>(done) * static_cast<Clock::rep>(total_ - done);
        return ", " + age_text(left) + " left";
    }

    // True when a station answers.
    template <typename Progress> bool attempt(const ScanOptions &options, const Progress &progress, ProgressBar &bar) {
        StationWatch watch;
        StopSignal enough;
        OnceRun run(driver_, options.link, enough, watch);
        try {
            run.start();
        } catch (const LineSettingError &refusal) {
            bar.clear();
            error_ << "kelpo: " << printable(refusal.what()) << "\n";
            return false;
        }
        for (const int station : options.stations)
            run.queue_read(scanned_place(options, station));
        run.wait_until_served([&] {
            progress(static_cast<std::size_t>(watch.asked()));
            if (stop_.hurried())
                enough.hurry();
            else if (stop_.raised() || !watch.answers().empty())
                enough.raise();
        });
        run.finish();
        bar.clear();
        if (!run.line_error().empty())
            throw LineError(run.line_error());
        report(options, run, watch);
        return !watch.answers().empty();
    }

    void report(const ScanOptions &options, const OnceRun &run, const StationWatch &watch) {
        const LineSettings &line = options.link.line;
        const auto answers = watch.answers();
        for (const auto &[station, answer] : answers) {
            const Variable place = scanned_place(options, station);
            const std::string words = answer_words(answer, place, run.values(place));
            Json object = answer_object(station, answer, words);
            object.set("speed", static_cast<int>(line.speed));
            object.set("parity", name_of(line.parity));
            object.set("stop_bits", line.stop_bits);
            out_ << (json_ ? object.in_one_line() : character_text(line) + ": " + answer_line(station, answer, words))
                 << "\n";
        }
        out_.flush();
        for (const std::string &remark : run.remarks())
            error_ << "kelpo: " << remark << "\n";
        if (!answers.empty()) {
            error_ << "kelpo: all stations: kelpo scan --line " << printable(line.path) << " --speed " << line.speed
                   << " --parity " << name_of(line.parity) << " --stop-bits " << line.stop_bits << "\n";
            return;
        }
        error_ << "kelpo: " << character_text(line) << ": stations " << options.stations.front() << " to "
               << options.stations.back() << ", asked " << watch.asked() << ", no answer"
               << (watch.noises().empty() ? "" : "; bytes came that are not a reply") << "\n";
    }

    Driver &driver_;
    const bool json_;
    StopSignal &stop_;
    std::ostream &out_, &error_;
    const bool shows_progress_;
    std::size_t total_ = 0;
};

}  // namespace

std::vector<LineSettings> likely_settings(const LineSettings &line, const GivenSettings &given) {
    std::vector<LineSettings> settings;
    const auto add = [&](unsigned speed, const Form &form) {
        LineSettings one = line;
        one.speed = given.speed ? line.speed : speed;
        one.parity = given.parity ? line.parity : form.parity;
        one.stop_bits = given.stop_bits ? line.stop_bits : form.stop_bits;
        const bool is_new = std::none_of(settings.begin(), settings.end(), [&](const LineSettings &other) {
            return other.speed == one.speed && other.parity == one.parity && other.stop_bits == one.stop_bits;
        });
        const bool is_usual = one.parity == Parity::none || one.stop_bits == 1 || given.stop_bits;
        if (is_new && is_usual)
            settings.push_back(one);
    };
    for (const Likely &likely : likeliest)
        add(likely.speed, likely.form);
    for (const unsigned speed : speeds)
        for (const Form &form : forms)
            add(speed, form);
    return settings;
}

ExitCode run_find(Driver &driver, const ScanOptions &options, const GivenSettings &given, StopSignal &stop,
                  std::ostream &out, std::ostream &error) {
    if (is_tcp_path(options.link.line.path)) {
        error << "kelpo: " << printable(options.link.line.path)
              << ": the device server sets the speed of its line; --find is for a serial port\n";
        return ExitCode::wrong_usage;
    }
    const Status address = PlaceCheck(driver, options.link.of_driver().rules()).of_read(scanned_place(options, 1));
    if (!address.done) {
        error << "kelpo: " << printable(address.problem) << "\n";
        return address.code;
    }
    return Search(driver, options, stop, out, error).run(tries_of(options, likely_settings(options.link.line, given)));
}

}  // namespace kelpo

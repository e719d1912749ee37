#include "host/once/scan.h"

#include "host/once/once_run.h"
#include "host/once/place_check.h"
#include "host/once/progress_bar.h"
#include "host/once/scan_text.h"
#include "host/once/station_watch.h"
#include "host/text/words.h"

#include <fmt/format.h>

#include <ostream>

namespace kelpo {
namespace {

void report(const ScanOptions &options, const OnceRun &run, const StationWatch &watch, std::ostream &out,
            std::ostream &error) {
    const auto answers = watch.answers();
    for (const auto &[station, answer] : answers) {
        const Variable place = scanned_place(options, station);
        const std::string words = answer_words(answer, place, run.values(place));
        out << (options.json ? answer_object(station, answer, words).in_one_line()
                             : printable(answer_line(station, answer, words)))
            << "\n";
    }
    out.flush();
    for (const auto &[station, noise] : watch.noises())
        error << "kelpo: when station " << station << " was asked: " << noise << "\n";
    if (!watch.noises().empty())
        error << "kelpo: bytes that are not a reply: is the speed or parity different, or do two stations have one "
                 "number?\n";
    const auto asked = static_cast<std::size_t>(watch.asked());
    error << "kelpo: asked " << asked << ", answering " << answers.size();
    if (asked < options.stations.size())
        error << "; ended before " << options.stations.size() - asked << " more were asked";
    error << "\n";
}

}  // namespace

ExitCode run_scan(Driver &driver, const ScanOptions &options, StopSignal &stop, std::ostream &out,
                  std::ostream &error) {
    const Status address = PlaceCheck(driver, options.link.of_driver().rules()).of_read(scanned_place(options, 1));
    if (!address.done) {
        error << "kelpo: " << printable(address.problem) << "\n";
        return address.code;
    }
    StationWatch watch;
    OnceRun run(driver, options.link, stop, watch);
    run.start();
    for (const int station : options.stations)
        run.queue_read(scanned_place(options, station));
    ProgressBar bar(options.shows_progress, options.stations.size(), error);
    run.wait_until_served([&] {
        const auto asked = static_cast<std::size_t>(watch.asked());
        bar.draw(asked, fmt::format("{}/{} asked, {} found", asked, options.stations.size(), watch.answers().size()));
    });
    run.finish();
    bar.clear();
    for (const std::string &remark : run.remarks())
        error << "kelpo: " << remark << "\n";
    report(options, run, watch, out, error);
    if (!run.line_error().empty()) {
        error << "kelpo: " << printable(run.line_error()) << "\n";
        return ExitCode::no_line;
    }
    return watch.answers().empty() ? ExitCode::not_right : ExitCode::all_well;
}

}  // namespace kelpo

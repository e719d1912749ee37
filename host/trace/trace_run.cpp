#include "host/trace/trace_run.h"

#include "host/frames/trace_file.h"
#include "host/frames/tracer.h"
#include "host/link/session.h"
#include "host/text/words.h"
#include "host/trace/trace_outputs.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <ostream>

namespace kelpo {
namespace {

using Clock = std::chrono::steady_clock;

ExitCode failed(const std::string &what, std::ostream &error) {
    error << "kelpo: " << printable(what) << '\n';
    return ExitCode::system;
}

ExitCode ended_early(std::ostream &error) {
    error << "kelpo: ended before everything was saved; no file was written\n";
    return ExitCode::not_right;
}

}  // namespace

ExitCode show_trace(const std::string &file, const TraceOptions &options, const StopSignal &stop, std::ostream &out,
                    std::ostream &error) {
    std::ifstream in(file, std::ios::binary);
    if (!in)
        return failed("cannot read " + file + ": " + std::strerror(errno), error);
    try {
        TraceOutputs outputs(options, out);
        const std::size_t mistakes = read_trace(in, file,
                                                {[&](const TraceRecord &record) {
                                                     outputs.write(record);
                                                     return (outputs.shown() || outputs.saved()) && !stop.raised();
                                                 },
                                                 [&error](const std::string &mistake) {
                                                     error << "kelpo: " << printable(mistake) << '\n';
                                                 }});
        outputs.flush();
        if (stop.raised() && outputs.saved())
            return ended_early(error);
        outputs.put_in_place();
        return mistakes == 0 ? ExitCode::all_well : ExitCode::not_right;
    } catch (const TraceOutputError &cause) {
        return failed(cause.what(), error);
    }
}

ExitCode trace_line(Driver &driver, const PollList &list, const TraceOptions &options,
                    std::optional<std::chrono::seconds> duration, StopSignal &stop, std::ostream &out,
                    std::ostream &error) {
    constexpr auto between_looks = std::chrono::milliseconds(50);
    try {
        TraceOutputs outputs(options, out);
        TraceQueue queue;
        Tracer tracer({&queue});
        Session session(driver, list.link, stop, {&tracer}, OnLoss::open_again);
        for (const Station &station : list.stations)
            if (!station.enabled)
                driver.switch_station(station.number, false);
        driver.poll(list.variables);
        session.start();
        // An earlier trace is kept when the line cannot be opened. From here on the file grows in its place.
        outputs.put_in_place();

        const auto write_all = [&] {
            for (const TraceRecord &record : queue.taken())
                outputs.write(record);
            outputs.flush();
        };
        const auto end = Clock::now() + duration.value_or(std::chrono::seconds(0));
        while (outputs.shown() && (!duration || Clock::now() < end) && !stop.wait_for(between_looks))
            write_all();
        session.finish();
        write_all();
        error << outputs.summary() << '\n';
        return ExitCode::all_well;
    } catch (const TraceOutputError &cause) {
        return failed(cause.what(), error);
    }
}

}  // namespace kelpo

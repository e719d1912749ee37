#include "host/once/read_write.h"

#include "host/once/once_report.h"
#include "host/once/once_run.h"
#include "host/once/place_check.h"
#include "host/text/words.h"

#include <algorithm>
#include <ostream>

namespace kelpo {
namespace {

enum class Purpose { read, write };

/// Prints results and problems, as lines or as JSON.
class ResultPrinter {
public:
    ResultPrinter(const OnceOptions &options, std::ostream &out, std::ostream &error)
        : json_(options.json), out_(out), error_(error) {}

    ExitCode problem(const std::string &what, ExitCode code) {
        error_ << "kelpo: " << printable(what) << "\n";
        return code;
    }

    ExitCode result(const OnceResult &result) {
        const bool well = result.status.code == ExitCode::all_well;
        if (json_)
            out_ << result_json(result) << "\n";
        else if (well)
            out_ << printable(result_line(result)) << "\n";
        return well ? ExitCode::all_well
                    : problem(result.reference.place.name + ": " + result.status.problem, result.status.code);
    }

private:
    bool json_;
    std::ostream &out_;
    std::ostream &error_;
};

Reference fitting_reference(const std::string &text, std::optional<int> station, Purpose purpose) {
    Reference reference = reference_from(text, station);
    const std::string &name = reference.place.name;
    if (purpose == Purpose::read && !reference.values.empty())
        throw ReferenceError("'" + text + "': a read takes no value; 'kelpo write " + text + "' writes it");
    if (purpose == Purpose::write && reference.values.empty())
        throw ReferenceError("'" + text + "': there is no value; write one after it, such as " + name + "=1");
    return reference;
}

ExitCode take_references(const OnceOptions &options, Purpose purpose, std::vector<Reference> &references,
                         ResultPrinter &printer) {
    ExitCode code = ExitCode::all_well;
    for (const std::string &text : options.references) {
        try {
            references.push_back(fitting_reference(text, options.station, purpose));
        } catch (const ReferenceError &mistake) {
            code = printer.problem(mistake.what(), ExitCode::wrong_usage);
        }
    }
    return code;
}

ExitCode check(const Driver &driver, const OnceOptions &options, const std::vector<Reference> &references,
               Purpose purpose, ResultPrinter &printer) {
    const PlaceCheck places(driver, options.link.of_driver().rules());
    ExitCode code = ExitCode::all_well;
    for (const Reference &reference : references) {
        const Status found = purpose == Purpose::read ? places.of_read(reference.place)
                                                      : places.of_write(reference.place, options.check);
        if (!found.done)
            code = worse(code, printer.problem(reference.place.name + ": " + found.problem, found.code));
    }
    return code;
}

using ReadName = std::optional<RequestName>;

OnceResult read_result(OnceRun &run, const Reference &reference, const ReadName &name) {
    OnceResult result{reference, run.read_status(name), std::nullopt};
    if (result.status.done)
        result.held = run.values(reference.place);
    return result;
}

OnceResult write_result(OnceRun &run, const Reference &reference, int id, bool checked, const ReadName &read_back) {
    OnceResult result{reference, run.write_status(id), std::nullopt};
    if (!result.status.done || !checked)
        return result;
    const Status reading = run.read_status(read_back);
    if (!reading.done) {
        result.status = {false, "was written, but not read back: " + reading.problem, reading.code};
        return result;
    }
    result.held = run.values(reference.place);
    if (*result.held != reference.values)
        result.status = {false,
                         "holds " + text_of(reference.place.view, *result.held) + " after " +
                             text_of(reference.place.view, reference.values) + " was written",
                         ExitCode::not_right};
    return result;
}

// Returns the names of the reads, in the order of the references.
std::vector<ReadName> ask(OnceRun &run, const std::vector<Reference> &references) {
    std::vector<ReadName> names;
    names.reserve(references.size());
    for (const Reference &reference : references)
        names.push_back(run.queue_read(reference.place));
    run.wait_until_served([] {});
    return names;
}

// The ids of the writes count from 0 on, in the order of the references. Returns the names of the reads that check the
// writes, if there are any.
std::vector<ReadName> write(OnceRun &run, const std::vector<Reference> &references, const OnceOptions &options,
                            std::chrono::steady_clock::time_point asked) {
    for (const Reference &reference : references)
        run.queue_write(reference, asked, options.waits.within);
    run.wait_until_served([] {});
    std::vector<ReadName> names(references.size());
    if (!options.check)
        return names;
    for (std::size_t i = 0; i < references.size(); ++i)
        if (run.write_status(static_cast<int>(i)).done)
            names[i] = run.queue_read(references[i].place);
    run.wait_until_served([] {});
    return names;
}

ExitCode run_once(DriverOnDemand &on_demand, const OnceOptions &options, Purpose purpose, StopSignal &stop,
                  ResultPrinter &printer) {
    const auto asked = std::chrono::steady_clock::now();
    std::vector<Reference> references;
    ExitCode code = take_references(options, purpose, references, printer);
    if (code != ExitCode::all_well)
        return code;
    Driver &driver = on_demand.get();
    code = check(driver, options, references, purpose, printer);
    if (code != ExitCode::all_well)
        return code;

    LinkWatcher nobody_else;
    OnceRun run(driver, options.link, stop, nobody_else, options.waits.if_away);
    run.start();
    const std::vector<ReadName> reads =
        purpose == Purpose::read ? ask(run, references) : write(run, references, options, asked);
    run.finish();
    for (const std::string &remark : run.remarks())
        printer.problem(remark, code);

    for (std::size_t i = 0; i < references.size(); ++i) {
        const OnceResult result = purpose == Purpose::read
                                      ? read_result(run, references[i], reads[i])
                                      : write_result(run, references[i], static_cast<int>(i), options.check, reads[i]);
        code = worse(code, printer.result(result));
    }
    return run.line_error().empty() ? code : printer.problem(run.line_error(), ExitCode::no_line);
}

ExitCode run_and_report(DriverOnDemand &driver, const OnceOptions &options, Purpose purpose, StopSignal &stop,
                        std::ostream &out, std::ostream &error) {
    ResultPrinter printer(options, out, error);
    try {
        return run_once(driver, options, purpose, stop, printer);
    } catch (const DriverLibraryError &cause) {
        return printer.problem(cause.what(), ExitCode::no_driver);
    } catch (const LineError &cause) {
        return printer.problem(cause.what(), ExitCode::no_line);
    }
}

}  // namespace

ExitCode run_read(DriverOnDemand &driver, const OnceOptions &options, StopSignal &stop, std::ostream &out,
                  std::ostream &error) {
    return run_and_report(driver, options, Purpose::read, stop, out, error);
}

ExitCode run_write(DriverOnDemand &driver, const OnceOptions &options, StopSignal &stop, std::ostream &out,
                   std::ostream &error) {
    return run_and_report(driver, options, Purpose::write, stop, out, error);
}

}  // namespace kelpo

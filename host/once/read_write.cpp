#include "host/once/read_write.h"

#include "host/once/once_report.h"
#include "host/once/once_run.h"
#include "host/once/place_check.h"

#include <algorithm>
#include <ostream>

namespace kelpo {
namespace {

// The host's names for its requests.
constexpr int read_group = 1, check_group = 3;

enum class Purpose { read, write };

class Teller {
public:
    Teller(const OnceOptions &options, std::ostream &out, std::ostream &error)
        : json_(options.json), out_(out), error_(error) {}

    ExitCode wrong(const std::string &what, ExitCode code) {
        error_ << "kelpo: " << what << "\n";
        return code;
    }

    ExitCode result(const OnceResult &result) {
        const bool well = result.ending.code == ExitCode::all_well;
        if (json_)
            out_ << result_json(result) << "\n";
        else if (well)
            out_ << result_line(result) << "\n";
        return well ? ExitCode::all_well
                    : wrong(result.reference.place.name + ": " + result.ending.problem, result.ending.code);
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
        throw ReferenceError("'" + text + "': there is no value; write one behind it, such as " + name + "=1");
    return reference;
}

ExitCode take_references(const OnceOptions &options, Purpose purpose, std::vector<Reference> &references,
                         Teller &teller) {
    ExitCode code = ExitCode::all_well;
    for (const std::string &text : options.references) {
        try {
            references.push_back(fitting_reference(text, options.station, purpose));
        } catch (const ReferenceError &mistake) {
            code = teller.wrong(mistake.what(), ExitCode::wrong_usage);
        }
    }
    return code;
}

ExitCode check(const OnceOptions &options, const std::vector<Reference> &references, Purpose purpose, Teller &teller) {
    PlaceCheck places(options.link);
    ExitCode code = ExitCode::all_well;
    for (const Reference &reference : references) {
        const Ending found = purpose == Purpose::read ? places.of_read(reference.place)
                                                      : places.of_write(reference.place, options.check);
        if (!found.done)
            code = worse(code, teller.wrong(reference.place.name + ": " + found.problem, found.code));
    }
    return code;
}

OnceResult read_result(const OnceRun &run, const Reference &reference, int id) {
    OnceResult result{reference, run.ending(read_group, id), std::nullopt};
    if (result.ending.done)
        result.held = run.values(reference.place);
    return result;
}

OnceResult write_result(const OnceRun &run, const Reference &reference, int id, bool read_back) {
    OnceResult result{reference, run.write_ending(id), std::nullopt};
    if (!result.ending.done || !read_back)
        return result;
    const Ending reading = run.ending(check_group, id);
    if (!reading.done) {
        result.ending = {false, "was written, but not read back: " + reading.problem, reading.code};
        return result;
    }
    result.held = run.values(reference.place);
    if (*result.held != reference.values)
        result.ending = {false,
                         "holds " + text_of(reference.place.view, *result.held) + " after " +
                             text_of(reference.place.view, reference.values) + " was written",
                         ExitCode::not_right};
    return result;
}

void ask(OnceRun &run, const std::vector<Reference> &references) {
    for (std::size_t i = 0; i < references.size(); ++i)
        run.queue_read(references[i].place, read_group, static_cast<int>(i));
    run.wait_until_served([] {});
}

// The ids count from 0 on, in the order of the references.
void write(OnceRun &run, const std::vector<Reference> &references, const OnceOptions &options,
           std::chrono::steady_clock::time_point asked) {
    for (const Reference &reference : references)
        run.queue_write(reference, asked, options.within);
    run.wait_until_served([] {});
    if (!options.check)
        return;
    const int count = static_cast<int>(references.size());
    for (int id = 0; id < count; ++id)
        if (run.write_ending(id).done)
            run.queue_read(references[static_cast<std::size_t>(id)].place, check_group, id);
    run.wait_until_served([] {});
}

ExitCode run_once(const OnceOptions &options, Purpose purpose, StopSignal &stop, Teller &teller) {
    const auto asked = std::chrono::steady_clock::now();
    std::vector<Reference> references;
    ExitCode code = take_references(options, purpose, references, teller);
    if (code != ExitCode::all_well)
        return code;
    code = check(options, references, purpose, teller);
    if (code != ExitCode::all_well)
        return code;
    const bool read_back = purpose == Purpose::write && options.check;

    LinkWatcher nobody_else;
    OnceRun run(options.link, stop, nobody_else);
    run.start();
    if (purpose == Purpose::read)
        ask(run, references);
    else
        write(run, references, options, asked);
    run.finish();
    for (const std::string &remark : run.remarks())
        teller.wrong(remark, code);

    for (std::size_t i = 0; i < references.size(); ++i) {
        const int id = static_cast<int>(i);
        code = worse(code, teller.result(purpose == Purpose::read ? read_result(run, references[i], id)
                                                                  : write_result(run, references[i], id, read_back)));
    }
    return run.line_error().empty() ? code : teller.wrong(run.line_error(), ExitCode::no_line);
}

ExitCode run_and_tell(const OnceOptions &options, Purpose purpose, StopSignal &stop, std::ostream &out,
                      std::ostream &error) {
    Teller teller(options, out, error);
    try {
        return run_once(options, purpose, stop, teller);
    } catch (const DriverLibraryError &cause) {
        return teller.wrong(cause.what(), ExitCode::no_driver);
    } catch (const LineError &cause) {
        return teller.wrong(cause.what(), ExitCode::no_line);
    }
}

}  // namespace

ExitCode run_read(const OnceOptions &options, StopSignal &stop, std::ostream &out, std::ostream &error) {
    return run_and_tell(options, Purpose::read, stop, out, error);
}

ExitCode run_write(const OnceOptions &options, StopSignal &stop, std::ostream &out, std::ostream &error) {
    return run_and_tell(options, Purpose::write, stop, out, error);
}

}  // namespace kelpo

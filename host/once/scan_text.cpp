#include "host/once/scan_text.h"

#include "host/driver/address_text.h"

#include <fmt/format.h>

namespace kelpo {
namespace {

using Kind = StationAnswer::Kind;

const char *name_of(Kind kind) {
    switch (kind) {
    case Kind::value:
        return "value";
    case Kind::refused:
        return "refused";
    case Kind::other:
        return "other";
    case Kind::late:
        break;
    }
    return "late";
}

}  // namespace

Variable scanned_place(const ScanOptions &options, int station) {
    return {std::to_string(options.type) + ":" + options.address,
            station,
            options.type,
            options.address,
            units_per_value(default_view(options.type)),
            default_view(options.type)};
}

std::string answer_words(const StationAnswer &answer, const Variable &place, const Values &values) {
    return answer.kind == Kind::value ? place.name + " = " + text_of(place.view, values) : answer.text;
}

std::string answer_line(int station, const StationAnswer &answer, const std::string &words) {
    const std::string time =
        answer.kind == Kind::late ? "" : fmt::format("  ({:.1f} ms)", static_cast<double>(answer.time.count()) / 1000);
    return fmt::format("{:3}  {}{}", station, words, time);
}

Json answer_object(int station, const StationAnswer &answer, const std::string &words) {
    Json object = Json::object();
    object.set("station", station);
    object.set("answer", name_of(answer.kind));
    object.set("text", words);
    if (answer.kind != Kind::late)
        object.set("milliseconds", static_cast<double>(answer.time.count()) / 1000);
    return object;
}

}  // namespace kelpo

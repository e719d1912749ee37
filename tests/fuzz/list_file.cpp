/// \file
/// Fuzz target: the list files of the host, TOML and CSV.
///
/// Input: what kind of file it is, then its text. After a first zero byte follows the text of the CSV file that the
/// list may name.
#include "host/list/list_file.h"
#include "host/text/words.h"
#include "input.h"
#include "ozna_kelpo_port.h"
#include "require.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string>

namespace {

using fuzz::require;
using namespace kelpo;

const char *const names[] = {"folder/list.toml", "folder/list.csv", "list", "list.CSV"};

struct Texts {
    std::string list;
    std::string named;  // of every file that the list may name
    int list_lines;
    int named_lines;
};

std::optional<int> address_of(int type, const std::string &text) {
    const int number = PLCAddressChangeIntef(type, QString::fromLatin1(text.data(), static_cast<int>(text.size())));
    return number < 0 ? std::nullopt : std::optional<int>(number);
}

ListReading read(const std::string &file, const Texts &texts) {
    const auto content_of = [&texts](const std::string &) -> FileContent {
        return {texts.named, ""};
    };
    return parse_list(texts.list, file, LinkSettings(), {address_of, content_of});
}

// As editors count them for which LF, CR or both together end a line.
int lines_of(const std::string &text) {
    int lines = 1;
    for (std::size_t i = 0; i < text.size(); ++i)
        if (text[i] == '\n' || (text[i] == '\r' && text.compare(i, 2, "\r\n") != 0))
            ++lines;
    return lines;
}

void judge_place(const FilePlace &place, const std::string &file, const Texts &texts) {
    if (place.line < 1 || place.line > (place.file == file ? texts.list_lines : texts.named_lines))
        fuzz::fail("there is no line " + std::to_string(place.line) + " in " + place.file);
}

void judge_remarks(const Remarks &remarks, const std::string &file, const Texts &texts) {
    for (const Remark &remark : remarks) {
        judge_place(remark.place, file, texts);
        require(!remark.text.empty(), "a remark says something");
        if (!is_printable(remark.text))
            fuzz::fail("a remark that could control a terminal: " + in_quotes(remark.text));
        if (remark.text.size() > 1000)
            fuzz::fail("a remark that is too long: " + remark.text);
    }
}

bool is_station_of(const PollList &list, int number) {
    return std::count_if(list.stations.begin(), list.stations.end(),
                         [number](const Station &station) { return station.number == number; }) == 1;
}

void judge_variables(const PollList &list, const std::string &file, const Texts &texts) {
    require(list.defined.size() == list.variables.size(), "every variable has a place");
    for (const DefinedAt &at : list.defined)
        judge_place(list.place_of(at), file, texts);
    std::set<std::string> variables;
    for (const Variable &variable : list.variables) {
        require(!variable.name.empty() && variables.insert(variable.name).second, "names are given and unique");
        require(is_printable(variable.name), "names can be shown");
        require(variable.type >= 0 && variable.type <= 17, "the type is in range");
        require(address_of(variable.type, variable.address).has_value(), "the driver accepts the address");
        require(variable.count >= 1 && variable.count <= 65535, "the count is in range");
        require(variable.count % units_per_value(variable.view) == 0, "the count holds whole values");
        require(variable.station >= 1 && variable.station <= 247, "the station of a variable is in range");
        require(is_station_of(list, variable.station), "the station of a variable is known");
    }
}

void judge_settings(const PollList &list) {
    const LinkSettings &link = list.link;
    require(link.retries >= 0 && link.retries <= 100 && link.max_count >= 1 && link.max_count <= 100,
            "the limits are in range");
    require(link.line.stop_bits == 1 || link.line.stop_bits == 2, "the stop bits are 1 or 2");
    require(!link.line.gap || (link.line.gap->count() >= 0 && *link.line.gap <= std::chrono::seconds(1)),
            "the gap is in range");
    require(link.timeouts.reply.count() >= 1 && link.timeouts.inter_character.count() >= 1,
            "the time-outs are in range");
    require(list.turnaround.count() >= 0 && list.turnaround <= std::chrono::minutes(1), "the turnaround is in range");
    for (const Station &station : list.stations)
        require(station.number >= 1 && station.number <= 247, "the number of a station is in range");
}

std::string summary(const ListReading &reading) {
    std::string text;
    for (const Remark &remark : reading.remarks)
        text += text_of(remark) + '\n';
    for (const Station &station : reading.list.stations)
        text += std::to_string(station.number) + station.name + (station.enabled ? "+\n" : "-\n");
    for (const Variable &variable : reading.list.variables)
        text += variable.name + '\n' + std::to_string(variable.station) + ' ' + std::to_string(variable.type) + ' ' +
                variable.address + ' ' + std::to_string(variable.count) + ' ' +
                std::to_string(static_cast<int>(variable.view.unit)) +
                std::to_string(static_cast<int>(variable.view.reading)) + '\n';
    const LinkSettings &link = reading.list.link;
    return text + link.line.path + ' ' + std::to_string(link.line.speed) + ' ' + std::to_string(link.retries) + ' ' +
           std::to_string(link.max_count) + ' ' + std::to_string(link.timeouts.reply.count());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::string file = names[input.byte() % std::size(names)];
    Texts texts{input.rest(), {}, 0, 0};
    if (const std::size_t zero = texts.list.find('\0'); zero != std::string::npos) {
        texts.named = texts.list.substr(zero + 1);
        texts.list.erase(zero);
    }
    texts.list_lines = lines_of(texts.list);
    texts.named_lines = lines_of(texts.named);

    const ListReading reading = read(file, texts);
    judge_remarks(reading.remarks, file, texts);
    require(!reading.usable() || !reading.list.variables.empty(), "a list that can be used has variables");
    judge_variables(reading.list, file, texts);
    if (reading.usable())
        judge_settings(reading.list);
    require(summary(reading) == summary(read(file, texts)), "the same text gives the same list twice");
    return 0;
}

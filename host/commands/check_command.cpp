#include "host/commands/commands.h"

#include "host/driver/driver.h"
#include "host/exit_code.h"
#include "host/list/list_file.h"
#include "host/list/remark_text.h"
#include "host/plan/surprises.h"
#include "host/text/quantities.h"
#include "host/text/words.h"

#include <iostream>
#include <memory>
#include <string>

namespace kelpo {
namespace {

struct ChosenForCheck {
    std::string list;
    LinkSettings link;
};

ExitCode check_as_chosen(const ChosenForCheck &chosen) {
    const Driver library(chosen.link.driver);
    const ListReading reading = load_list(chosen.list, chosen.link, library);
    if (!reading.usable()) {
        print_remarks(reading.remarks, "", std::cerr);
        return ExitCode::wrong_usage;
    }
    DryRun driver(library);
    Remarks remarks = surprises(reading.list, driver);
    remarks.insert(remarks.begin(), reading.remarks.begin(), reading.remarks.end());
    sort_by_place(remarks, chosen.list);
    print_remarks(remarks, "", std::cerr);
    const auto blocks = driver.cycle(reading.list.variables, reading.list.link.of_driver().rules()).size();
    std::cout << printable(chosen.list)
              << ": good: " << counted(static_cast<std::int64_t>(reading.list.variables.size()), "variable") << " of "
              << counted(static_cast<std::int64_t>(reading.list.stations.size()), "station") << " in "
              << counted(static_cast<std::int64_t>(blocks), "block") << "\n";
    return ExitCode::all_well;
}

}  // namespace

void add_check_command(common::Command app, int &exit_code) {
    const auto chosen = std::make_shared<ChosenForCheck>();
    common::Command check =
        app.add_subcommand("check", "Say what is wrong with a list of variables, each mistake with file and line.");
    check.add_option("LIST", chosen->list, "The list: a TOML file, or a CSV file of variables").required();
    check.add_option("--driver", chosen->link.driver, "File name of the driver, which checks the addresses")
        .capture_default_str();
    check.footer("Examples:\n"
                 "  kelpo check pumps.toml\n"
                 "    pumps.toml:14: station 0; a controller's number, 1 to 247\n"
                 "    pumps.toml:22: unknown key \"adress\" in [[variable]]; \"address\" was meant\n"
                 "  kelpo check tags.csv && kelpo poll tags.csv --line /dev/ttyUSB0\n"
                 "Ends with 0 when the list can be used, warnings or not, and with 2 when it has a mistake.");
    check.callback([chosen, &exit_code] { exit_code = static_cast<int>(check_as_chosen(*chosen)); });
}

}  // namespace kelpo

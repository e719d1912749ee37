#include "host/commands/commands.h"

#include "host/driver/address_text.h"
#include "host/driver/driver.h"
#include "host/exit_code.h"
#include "host/link/link_settings.h"
#include "host/plan/address_report.h"
#include "host/text/words.h"

#include <iostream>
#include <memory>
#include <string>

namespace kelpo {
namespace {

struct ChosenForAddress {
    int type = 0;
    std::string text;
    std::string driver = LinkSettings().driver;
};

ExitCode address_as_chosen(const ChosenForAddress &chosen) {
    const Driver driver(chosen.driver);
    if (!driver.number_of(chosen.type, chosen.text)) {
        std::cerr << "kelpo: " << in_quotes(chosen.text) << " " << why_no_address(chosen.type, chosen.text) << "\n";
        return ExitCode::bad_address;
    }
    print_address(report_address(chosen.type, chosen.text, driver), std::cout);
    return ExitCode::all_well;
}

}  // namespace

void add_address_command(common::Command app, int &exit_code) {
    const auto chosen = std::make_shared<ChosenForAddress>();
    common::Command address =
        app.add_subcommand("address", "Show where an address of a register type is in the controller, as the driver "
                                      "sees it, or why it is not an address.");
    address.add_option("TYPE", chosen->type, "Register type, 0 to 17").required().range(0, 17);
    address.add_option("TEXT", chosen->text, "The address as a screen project writes it").required();
    address.add_option("--driver", chosen->driver, "File name of the driver").capture_default_str();
    address.footer("Examples:\n"
                   "  kelpo address 7 100     a register\n"
                   "  kelpo address 0 17      a bit; types 0 and 1 count in octal\n"
                   "  kelpo address 13 204    a 32-bit register; they begin at 200\n"
                   "  kelpo address 15 6.4    bit 4 of register 6\n"
                   "Ends with 7 when the driver does not accept the address.");
    address.callback([chosen, &exit_code] { exit_code = static_cast<int>(address_as_chosen(*chosen)); });
}

}  // namespace kelpo

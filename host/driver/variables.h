#pragma once

#include "host/driver/driver_library.h"
#include "host/driver/view.h"

#include <string>
#include <vector>

namespace kelpo {

/// One variable of the host's screens.
struct Variable {
    std::string name;
    int station;          ///< 1 to 247
    int type;             ///< register type code 0 to 17
    std::string address;  ///< in the syntax of the register type
    int count;            ///< bits, or 16-bit registers also where a value takes two of them
    View view;
};

/// What the driver shows for the variable at this moment, from its cache.
Values shown_by(const DriverEntryPoints &driver, const Variable &variable);

/// The variables as the driver's ReCreatReadVarList takes them.
QList<HOST_VAR> polled(const std::vector<Variable> &variables);

}  // namespace kelpo

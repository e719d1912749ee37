#pragma once

#include "host/driver/driver_library.h"
#include "host/driver/variables.h"

#include <QtCore/QByteArray>

#include <string>
#include <vector>

namespace kelpo {

/// A write that the driver makes one request of.
struct WritePart {
    int station;
    int type;             ///< register type code
    std::string address;  ///< in the syntax of the type
    int count;            ///< as the driver's SetRegisterData counts
    QByteArray bytes;     ///< as it takes them
};

/// The write of `values`, one for each value of `place`, in parts of which the driver makes one request each: cut where
/// the driver would cut the whole. `place` has an address that the driver takes. Nothing for a type that the driver
/// does not write.
std::vector<WritePart> parts_of_write(const DriverEntryPoints &driver, const Variable &place, const Values &values,
                                      int max_count);

}  // namespace kelpo

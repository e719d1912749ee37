/// \file
/// Lists of variables for judging the driver's blocks, spread over the addresses in several ways.
#pragma once

#include "ozna_kelpo_port.h"

#include <QtCore/QList>

#include <vector>

namespace bench {

/// One way to spread variables. `make` gives the same ones each time.
struct BlockMap {
    const char *name;
    QList<HOST_VAR> (*make)(int count);
};

extern const std::vector<BlockMap> block_maps;

}  // namespace bench

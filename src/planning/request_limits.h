/// \file
/// How much one request may carry.
#ifndef PLANNING_REQUEST_LIMITS_H
#define PLANNING_REQUEST_LIMITS_H

#include "Communication_Protocol.h"

/// Most units in one request: the host's max_count, but at least 1, so that every cutting loop ends.
inline int units_per_request() {
    return qMax(PLC_driver.com_info->max_count, 1);
}

#endif

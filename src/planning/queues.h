/// \file
/// How entries leave the queues. How they enter them is part of the host's interface.
#ifndef PLANNING_QUEUES_H
#define PLANNING_QUEUES_H

#include "Communication_Protocol.h"

/// Removes the first entry of `queue`, which must have one. The caller holds `list_mutex`.
void drop_head(QList<RW_VAR> &queue);

#endif

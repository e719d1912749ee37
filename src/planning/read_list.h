/// \file
/// From the host's polled variables to the cyclic list of block reads.
#ifndef PLANNING_READ_LIST_H
#define PLANNING_READ_LIST_H

#include "Communication_Protocol.h"

/// Sorts by `reg_addr`, ascending; entries of equal address keep their order. n log n comparisons.
void Bubble_Sort(QList<RW_VAR> *vars);

/// Merges `vars`, one station's variables of one class sorted by address, into blocks of at most `limit` units that are
/// appended to PLC_driver.read_list; a block may begin by extending that list's last entry. A `limit` of 1 keeps one
/// entry per distinct address instead, with the largest count asked for there; a `limit` below 1 counts as 1. The
/// caller holds `list_mutex`.
void BitVarReCreat(QList<RW_VAR> *vars, int limit);

/// The same merge into `blocks` instead of the driver's list. Touches nothing but its arguments; takes no lock.
void BitVarReCreat_2(QList<RW_VAR> *vars, int limit, QList<RW_VAR> &blocks);

#endif

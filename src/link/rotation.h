/// \file
/// The rotation of the cyclic list.
#ifndef LINK_ROTATION_H
#define LINK_ROTATION_H

#include "Communication_Protocol.h"

/// Moves the first entry of `list`, which must have one, to its end.
void rotate(QList<RW_VAR> &list);

#endif

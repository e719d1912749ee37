#include "link/rotation.h"

#include "qt_compat.h"

namespace {

// Up to this length it costs less to move the places of all entries by one than to make the first entry anew at the
// end.
const int longest_moved = lists_hold_places ? 256 : 1;

}  // namespace

void rotate(QList<RW_VAR> &list) {
    if (list.size() <= longest_moved)
        list.move(0, list.size() - 1);
    else
        list.append(list.takeFirst());
}

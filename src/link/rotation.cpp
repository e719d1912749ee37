#include "link/rotation.h"

#include "qt_compat.h"

#include <new>

namespace {

// Up to this length it costs less to move the places of all entries by one than to create the first entry again at the
// end.
const int longest_moved = lists_hold_places ? 256 : 1;

// False when there is no memory for it.
bool first_is_appended(QList<RW_VAR> &list) {
    try {
        list.append(list.first());
    } catch (const std::bad_alloc &) {
        return false;
    }
    return true;
}

}  // namespace

void rotate(QList<RW_VAR> &list) {
    if (list.size() > longest_moved && first_is_appended(list))
        list.removeFirst();
    else
        list.move(0, list.size() - 1);
}

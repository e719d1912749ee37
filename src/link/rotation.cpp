#include "link/rotation.h"

namespace {

// Up to this length it costs less to move the places of all entries by one than to make the first entry anew at the
// end.
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
const int longest_moved = 256;
#else
const int longest_moved = 1;  // the list holds the entries themselves, not their places
#endif

}  // namespace

void rotate(QList<RW_VAR> &list) {
    if (list.size() <= longest_moved)
        list.move(0, list.size() - 1);
    else
        list.append(list.takeFirst());
}

#include "frames/read_request.h"
#include "link/request_kind.h"
#include "ozna_kelpo_port.h"

#include <QtCore/QMutexLocker>

namespace {

void rotate(QList<RW_VAR> &list) {
    list.append(list.takeFirst());
}

// Moves entries of disabled stations to the end, each at most once. False when that is all of them; the list is then
// in its old order.
bool find_enabled_head(QList<RW_VAR> &list) {
    for (int unseen = static_cast<int>(list.size()); unseen > 0; --unseen) {
        if (!Ethernetcontains(list.first().station_no))
            return true;
        rotate(list);
    }
    return false;
}

// The head stays in place until its reply has been dealt with.
void serve_cyclic_read() {
    QList<RW_VAR> &list = PLC_driver.read_list;
    if (!find_enabled_head(list))
        return;
    ReadRegister(list.first());
    PLC_driver.last_op = CyclicRead;
    PLC_driver.write_tries = 0;
    PLC_driver.once_read_tries = 0;
    // An entry that no request exists for must not hold up the others.
    if (PLC_driver.frame_list.isEmpty())
        rotate(list);
}

}  // namespace

Protocol *ComCommunication() {
    if (!PLC_driver.frame_list.isEmpty())
        return &PLC_driver.frame_list.first();

    const QMutexLocker locked(&PLC_driver.list_mutex);
    serve_cyclic_read();
    if (PLC_driver.frame_list.isEmpty()) {
        PLC_driver.write_tries = 0;
        PLC_driver.once_read_tries = 0;
        PLC_driver.com_info->finish_flag = 1;
        return 0;
    }
    return &PLC_driver.frame_list.first();
}

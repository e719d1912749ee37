#include "frames/read_request.h"
#include "frames/remote_request.h"
#include "frames/write_request.h"
#include "link/request_kind.h"
#include "link/rotation.h"
#include "ozna_kelpo_port.h"
#include "planning/queues.h"

#include <new>

namespace {

typedef void (*Builder)(const RW_VAR &);

Builder read_builder() {
    return PLC_driver.com_info->remote_mode != 0 ? Remote_ReadVar : ReadRegister;
}

Builder write_builder() {
    return PLC_driver.com_info->remote_mode != 0 ? Remote_WriteVar : WriteRegister;
}

// Requests for a disabled station are dropped, not postponed: they would come late and unasked when it returns.
void drop_disabled_heads(QList<RW_VAR> &queue) {
    while (!queue.isEmpty() && Ethernetcontains(queue.first().station_no))
        drop_head(queue);
}

// Moves entries of disabled stations to the end, each at most once. False when all entries are of disabled stations;
// the list is then in its old order.
bool find_enabled_head(QList<RW_VAR> &list) {
    for (int unseen = static_cast<int>(list.size()); unseen > 0; --unseen) {
        if (!Ethernetcontains(list.first().station_no))
            return true;
        rotate(list);
    }
    return false;
}

// An entry for which there is no request must not hold up the others: it leaves its queue and is reported to the host.
void refuse_head(QList<RW_VAR> &queue) {
    const RW_VAR refused = queue.first();
    drop_head(queue);
    PLC_driver.write_result_cb(PLC_driver.com_info->channel_id, refused.var_group, refused.var_id,
                               ozna_kelpo::request_failed);
}

// Most often nothing waits, so this is checked before serve_queue is called at all. After some requests of one queue in
// a row the cyclic list gets its turn.
bool has_its_turn(const QList<RW_VAR> &queue, int built_in_a_row) {
    return !queue.isEmpty() && built_in_a_row < ozna_kelpo::most_in_a_row;
}

// False when nothing is left to serve. The head stays in place until its reply has been handled.
bool serve_queue(QList<RW_VAR> &queue, RequestKind kind, int &built_in_a_row, Builder build) {
    drop_disabled_heads(queue);
    if (queue.isEmpty())
        return false;
    build(queue.first());
    PLC_driver.last_op = kind;
    ++built_in_a_row;
    if (PLC_driver.frame_list.isEmpty())
        refuse_head(queue);
    return true;
}

bool serve_writes() {
    return has_its_turn(PLC_driver.write_list, PLC_driver.write_tries) &&
           serve_queue(PLC_driver.write_list, WriteRequest, PLC_driver.write_tries, write_builder());
}

bool serve_once_reads() {
    return has_its_turn(PLC_driver.once_read_list, PLC_driver.once_read_tries) &&
           serve_queue(PLC_driver.once_read_list, OnceRead, PLC_driver.once_read_tries, read_builder());
}

void serve_cyclic_list() {
    QList<RW_VAR> &list = PLC_driver.read_list;
    if (!find_enabled_head(list))
        return;
    read_builder()(list.first());
    PLC_driver.last_op = CyclicRead;
    PLC_driver.write_tries = 0;
    PLC_driver.once_read_tries = 0;
    // As with a refused request, but the list is the host's and keeps the entry.
    if (PLC_driver.frame_list.isEmpty())
        rotate(list);
}

}  // namespace

Protocol *ComCommunication() {
    // In flight already: only the link thread changes the frame list, so this needs no lock.
    if (!PLC_driver.frame_list.isEmpty())
        return &PLC_driver.frame_list.first();

    const QMutexLocker locked(&PLC_driver.list_mutex);
    try {
        if (!serve_writes() && !serve_once_reads())
            serve_cyclic_list();
    } catch (const std::bad_alloc &) {
        // Half a request is not kept. Its queue still has it, for the next call.
        PLC_driver.frame_list.clear();
    }

    if (PLC_driver.frame_list.isEmpty()) {
        PLC_driver.write_tries = 0;
        PLC_driver.once_read_tries = 0;
        PLC_driver.com_info->finish_flag = 1;
        return 0;
    }
    return &PLC_driver.frame_list.first();
}

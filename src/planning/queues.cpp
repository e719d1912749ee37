#include "planning/queues.h"

#include "arithmetic.h"
#include "ozna_kelpo_port.h"
#include "planning/request_limits.h"
#include "shared_words.h"

#include <new>

namespace {

// The texts and the value are left out on purpose: two requests for the same place are one.
bool same_request(const RW_VAR &left, const RW_VAR &right) {
    return left.var_group == right.var_group && left.var_id == right.var_id && left.station_no == right.station_no &&
           left.reg_type == right.reg_type && left.reg_addr == right.reg_addr && left.reg_count == right.reg_count &&
           left.area_no == right.area_no;
}

bool contains_request(const QList<RW_VAR> &queue, const RW_VAR &var) {
    for (int i = 0; i < queue.size(); ++i)
        if (same_request(queue.at(i), var))
            return true;
    return false;
}

void append_if_there_is_memory(QList<RW_VAR> &queue, const RW_VAR &var) {
    try {
        queue.append(var);
    } catch (const std::bad_alloc &) {
        // A request that gets no memory is dropped, like one that gets no place.
    }
}

// All classes are cut at max_count units, bits too: the wider limits of the cyclic list do not apply to once-reads.
// Leaves `var` with the address after the last piece. Returns the size of the queue.
int queue_once_read_pieces(RW_VAR &var) {
    const int limit = units_per_request();
    const QMutexLocker locked(&PLC_driver.list_mutex);
    QList<RW_VAR> &queue = PLC_driver.once_read_list;
    for (int rest = var.reg_count; rest > 0; rest -= var.reg_count) {
        var.reg_count = qMin(rest, limit);
        if (queue.size() < ozna_kelpo::most_queued && !contains_request(queue, var))
            append_if_there_is_memory(queue, var);
        var.reg_addr = low_32_bits(qint64(var.reg_addr) + var.reg_count);
    }
    return static_cast<int>(queue.size());
}

}  // namespace

void drop_head(QList<RW_VAR> &queue) {
    queue.removeFirst();
    note_write_list_size();
}

int AddListReadVar(RW_VAR *var) {
    PLC_driver.read_list.append(*var);
    return static_cast<int>(PLC_driver.read_list.size());
}

int AddListWriteVar(RW_VAR *var) {
    const QMutexLocker locked(&PLC_driver.list_mutex);
    if (PLC_driver.write_list.size() < ozna_kelpo::most_queued)
        append_if_there_is_memory(PLC_driver.write_list, *var);
    return note_write_list_size();
}

int AddListOnceReadVar(RW_VAR *var, int mode) {
    if (mode == 1) {
        const QMutexLocker locked(&PLC_driver.list_mutex);
        append_if_there_is_memory(PLC_driver.once_read_list, *var);
        return static_cast<int>(PLC_driver.once_read_list.size());
    }
    const int address = StringAddressToInt(var->reg_type, var->addr_text);
    if (address < 0)
        return 0;
    if (PLC_driver.com_info->multi_station == 0)
        var->station_no = PLC_driver.com_info->default_station;
    var->store_mode = 0;
    var->aux_word = 0;
    var->reg_addr = address;
    PLC_driver.update_info(var);
    return queue_once_read_pieces(*var);
}

void WhetherGroup(int total, int limit, RW_VAR *var, QList<RW_VAR> *out) {
    const int most = qMax(limit, 1);
    if (total <= most) {
        out->append(*var);
        return;
    }
    const qint64 start = var->reg_addr;
    for (qint64 done = 0; done < total; done += var->reg_count) {
        var->reg_addr = low_32_bits(start + done);
        var->reg_count = static_cast<int>(qMin<qint64>(most, total - done));
        out->append(*var);
    }
}

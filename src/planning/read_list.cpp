#include "planning/read_list.h"

#include "arithmetic.h"
#include "ozna_kelpo_port.h"
#include "planning/request_limits.h"

#include <QtCore/QMap>
#include <QtCore/QMutexLocker>

#include <algorithm>
#include <vector>

namespace {

typedef QMap<int, QList<RW_VAR>> ClassGroups;
typedef QMap<int, ClassGroups> StationGroups;

bool lower_address(const RW_VAR *left, const RW_VAR *right) {
    return left->reg_addr < right->reg_addr;
}

// Block limits in the units of the class, for a max_count of at least 1.
int block_limit(int register_class, int max_count) {
    if (register_class >= 0 && register_class <= 6)
        return max_count <= 20 ? 8 * max_count : 160;
    if (register_class == 13)
        return std::min(max_count, 50);
    return max_count;
}

// Cuts `rest` units from `address` on into entries of at most `limit`, each otherwise a copy of `model`.
void append_pieces(QList<RW_VAR> &blocks, const RW_VAR &model, qint64 address, qint64 rest, int limit) {
    RW_VAR piece = model;
    while (rest > 0) {
        const qint64 length = std::min<qint64>(rest, limit);
        piece.reg_addr = low_32_bits(address);
        piece.reg_count = low_32_bits(length);
        blocks.append(piece);
        address += length;
        rest -= length;
    }
}

// With one unit a request, neighbours cannot share one: an entry per distinct address, with the largest count there.
void keep_largest_per_address(const QList<RW_VAR> &vars, QList<RW_VAR> &blocks) {
    blocks.append(vars.first());
    for (int i = 1; i < vars.size(); ++i) {
        const RW_VAR &var = vars.at(i);
        if (var.reg_addr != vars.at(i - 1).reg_addr)
            blocks.append(var);
        else if (var.reg_count > blocks.last().reg_count)
            blocks.last().reg_count = var.reg_count;
    }
}

// The current block is the last entry of `blocks`, whichever group that came from. A group that opens no block of its
// own, because its first count is 0, therefore goes on from the previous group's last block. That is kept: panels rely
// on the resulting list.
void merge_into_blocks(const QList<RW_VAR> &vars, int limit, QList<RW_VAR> &blocks) {
    qint64 start = 0;
    qint64 length = 0;
    for (int i = 0; i < vars.size(); ++i) {
        const RW_VAR &var = vars.at(i);
        const qint64 end = qint64(var.reg_addr) + var.reg_count;
        if (i == 0 || var.reg_addr >= start + limit || blocks.isEmpty()) {
            append_pieces(blocks, var, var.reg_addr, var.reg_count, limit);
        } else if (end > start + length) {
            const qint64 reach = end - start;
            const qint64 kept = std::min<qint64>(reach, limit);
            blocks.last().reg_count = low_32_bits(kept);
            append_pieces(blocks, RW_VAR(blocks.last()), start + limit, reach - kept, limit);
        }
        if (!blocks.isEmpty()) {
            start = blocks.last().reg_addr;
            length = blocks.last().reg_count;
        }
    }
}

RW_VAR read_entry(const HOST_VAR &item, int address, const ComInfo &com_info) {
    RW_VAR entry;
    entry.var_group = 0;
    entry.var_id = -1;
    entry.host_ref3 = com_info.remote_mode;
    entry.area_no = com_info.local_area_no;
    entry.aux_text = item.aux_text;
    entry.addr_text = item.addr_text;
    entry.reg_type = item.reg_type;
    entry.reg_addr = address;
    entry.station_no = com_info.multi_station != 0 ? item.station_no : com_info.default_station;
    entry.reg_count = item.reg_count;
    PLC_driver.update_info(&entry);
    return entry;
}

StationGroups group_by_station_and_class(const QList<HOST_VAR> &vars, const ComInfo &com_info) {
    StationGroups groups;
    for (int i = 0; i < vars.size(); ++i) {
        const HOST_VAR &item = vars.at(i);
        const int address = StringAddressToInt(item.reg_type, item.addr_text);
        if (address < 0)
            continue;
        const RW_VAR entry = read_entry(item, address, com_info);
        groups[entry.station_no][entry.reg_type].append(entry);
    }
    return groups;
}

}  // namespace

// Named for its result, that of a bubble sort: equal addresses keep their order of registration.
void Bubble_Sort(QList<RW_VAR> *vars) {
    const QList<RW_VAR> unsorted = *vars;
    std::vector<const RW_VAR *> order;
    order.reserve(static_cast<std::size_t>(unsorted.size()));
    for (int i = 0; i < unsorted.size(); ++i)
        order.push_back(&unsorted.at(i));
    std::stable_sort(order.begin(), order.end(), lower_address);
    QList<RW_VAR> sorted;
    sorted.reserve(unsorted.size());
    for (std::size_t i = 0; i < order.size(); ++i)
        sorted.append(*order[i]);
    *vars = sorted;
}

void BitVarReCreat_2(QList<RW_VAR> *vars, int limit, QList<RW_VAR> &blocks) {
    if (vars->isEmpty())
        return;
    if (limit <= 1)
        keep_largest_per_address(*vars, blocks);
    else
        merge_into_blocks(*vars, limit, blocks);
}

void BitVarReCreat(QList<RW_VAR> *vars, int limit) {
    BitVarReCreat_2(vars, limit, PLC_driver.read_list);
}

int ReCreatReadVarList(QList<HOST_VAR> *vars) {
    const QMutexLocker locked(&PLC_driver.list_mutex);
    PLC_driver.read_list = QList<RW_VAR>();
    if (vars->isEmpty())
        return 0;
    ComInfo &com_info = *PLC_driver.com_info;
    PLC_driver.read_pass_count = 0;
    com_info.finish_flag = 0;
    const int max_count = units_per_request();
    StationGroups stations = group_by_station_and_class(*vars, com_info);
    for (StationGroups::iterator station = stations.begin(); station != stations.end(); ++station) {
        ClassGroups &classes = station.value();
        for (ClassGroups::iterator group = classes.begin(); group != classes.end(); ++group) {
            Bubble_Sort(&group.value());
            BitVarReCreat(&group.value(), block_limit(group.key(), max_count));
        }
    }
    return static_cast<int>(PLC_driver.read_list.size());
}

#include "planning/read_list.h"

#include "arithmetic.h"
#include "ozna_kelpo_port.h"
#include "planning/request_limits.h"
#include "register_types.h"

#include <algorithm>
#include <new>
#include <vector>

namespace {

// The part of a variable that planning needs. Its texts stay where they are until an entry is made from it: sorting and
// merging run through one array, for any number of variables.
struct Span {
    int station;
    int register_class;
    int address;
    int count;
    int position;  // in the list that it comes from
};

typedef std::vector<Span> Spans;
typedef Spans::const_iterator SpanPlace;

// By station, class and address; equal ones in their order of registration.
bool operator<(const Span &left, const Span &right) {
    if (left.station != right.station)
        return left.station < right.station;
    if (left.register_class != right.register_class)
        return left.register_class < right.register_class;
    if (left.address != right.address)
        return left.address < right.address;
    return left.position < right.position;
}

bool same_group(const Span &left, const Span &right) {
    return left.station == right.station && left.register_class == right.register_class;
}

// All are treated as one group: the records' own station and class do not matter.
Spans spans_of(const QList<RW_VAR> &vars) {
    Spans spans;
    spans.reserve(static_cast<std::size_t>(vars.size()));
    for (int i = 0; i < vars.size(); ++i) {
        const RW_VAR &var = vars.at(i);
        const Span span = {0, 0, var.reg_addr, var.reg_count, i};
        spans.push_back(span);
    }
    return spans;
}

// Most units in a block, for a max_count of at least 1. A class outside the table has no limit of its own.
int block_limit(int register_class, int max_count) {
    const RegisterType *known = find_register_type(register_class);
    if (known == 0)
        return max_count;
    return static_cast<int>(std::min<qint64>(qint64(max_count) * known->block_factor, known->block_limit));
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

RW_VAR read_entry(const HOST_VAR &item, const Span &span, const ComInfo &com_info) {
    RW_VAR entry;
    entry.var_id = -1;
    entry.host_ref3 = com_info.remote_mode;
    entry.area_no = com_info.local_area_no;
    entry.aux_text = item.aux_text;
    entry.addr_text = item.addr_text;
    entry.reg_type = span.register_class;
    entry.reg_addr = span.address;
    entry.station_no = span.station;
    entry.reg_count = span.count;
    return entry;
}

// Where the entries of a group's spans come from: the host's variables, or entries that were made before.
class EntrySource {
public:
    explicit EntrySource(const QList<RW_VAR> &made) : m_made(&made), m_items(0), m_com_info(0) {}
    EntrySource(const QList<HOST_VAR> &items, const ComInfo &com_info)
        : m_made(0), m_items(&items), m_com_info(&com_info) {}

    RW_VAR entry(const Span &span) const {
        return m_made != 0 ? m_made->at(span.position) : read_entry(m_items->at(span.position), span, *m_com_info);
    }

private:
    const QList<RW_VAR> *m_made;
    const QList<HOST_VAR> *m_items;
    const ComInfo *m_com_info;
};

// With one unit per request, adjacent variables cannot share one: an entry per distinct address, with the largest count
// there.
void keep_largest_per_address(SpanPlace first, SpanPlace end, const EntrySource &source, QList<RW_VAR> &blocks) {
    blocks.append(source.entry(*first));
    for (SpanPlace span = first + 1; span != end; ++span) {
        if (span->address != (span - 1)->address)
            blocks.append(source.entry(*span));
        else if (span->count > blocks.last().reg_count)
            blocks.last().reg_count = span->count;
    }
}

// Makes the last of `blocks` reach to `end`, with further entries where that is more than `limit` units.
void extend_last(QList<RW_VAR> &blocks, qint64 end, int limit) {
    RW_VAR &last = blocks.last();
    const qint64 reach = end - last.reg_addr;
    if (reach <= last.reg_count)
        return;
    const qint64 kept = std::min<qint64>(reach, limit);
    last.reg_count = low_32_bits(kept);
    append_pieces(blocks, last, qint64(last.reg_addr) + limit, reach - kept, limit);
}

// The current block is the last entry of `blocks`, from whatever group. So a group that opens no block of its own,
// because its first count is 0, continues the previous group's last block. That stays: panels rely on the resulting
// list.
void merge_into_blocks(SpanPlace first, SpanPlace end, const EntrySource &source, int limit, QList<RW_VAR> &blocks) {
    for (SpanPlace span = first; span != end; ++span) {
        if (span == first || blocks.isEmpty() || span->address >= qint64(blocks.last().reg_addr) + limit)
            append_pieces(blocks, source.entry(*span), span->address, span->count, limit);
        else
            extend_last(blocks, qint64(span->address) + span->count, limit);
    }
}

void merge_group(SpanPlace first, SpanPlace end, const EntrySource &source, int limit, QList<RW_VAR> &blocks) {
    if (limit <= 1)
        keep_largest_per_address(first, end, source, blocks);
    else
        merge_into_blocks(first, end, source, limit, blocks);
}

Spans spans_of(const QList<HOST_VAR> &vars, const ComInfo &com_info) {
    Spans spans;
    spans.reserve(static_cast<std::size_t>(vars.size()));
    RW_VAR folded;
    for (int i = 0; i < vars.size(); ++i) {
        const HOST_VAR &item = vars.at(i);
        const int address = StringAddressToInt(item.reg_type, item.addr_text);
        if (address < 0)
            continue;
        folded.reg_type = item.reg_type;
        folded.reg_count = item.reg_count;
        PLC_driver.update_info(&folded);
        const int station = com_info.multi_station != 0 ? item.station_no : com_info.default_station;
        const Span span = {station, folded.reg_type, address, folded.reg_count, i};
        spans.push_back(span);
    }
    return spans;
}

void append_blocks(const QList<HOST_VAR> &vars, const ComInfo &com_info, QList<RW_VAR> &blocks) {
    const int max_count = units_per_request();
    Spans spans = spans_of(vars, com_info);
    std::sort(spans.begin(), spans.end());
    const EntrySource source(vars, com_info);
    for (SpanPlace first = spans.begin(); first != spans.end();) {
        SpanPlace end = first + 1;
        while (end != spans.end() && same_group(*end, *first))
            ++end;
        merge_group(first, end, source, block_limit(first->register_class, max_count), blocks);
        first = end;
    }
}

}  // namespace

// Named for its result, that of a bubble sort: equal addresses keep their order of registration.
void Bubble_Sort(QList<RW_VAR> *vars) {
    Spans order = spans_of(*vars);
    std::sort(order.begin(), order.end());
    QList<RW_VAR> sorted;
    sorted.reserve(vars->size());
    for (SpanPlace span = order.begin(); span != order.end(); ++span)
        sorted.append(vars->at(span->position));
    *vars = sorted;
}

void BitVarReCreat_2(QList<RW_VAR> *vars, int limit, QList<RW_VAR> &blocks) {
    if (vars->isEmpty())
        return;
    const Spans group = spans_of(*vars);
    merge_group(group.begin(), group.end(), EntrySource(*vars), limit, blocks);
}

void BitVarReCreat(QList<RW_VAR> *vars, int limit) {
    BitVarReCreat_2(vars, limit, PLC_driver.read_list);
}

int ReCreatReadVarList(QList<HOST_VAR> *vars) {
    const QMutexLocker locked(&PLC_driver.list_mutex);
    PLC_driver.read_list = QList<RW_VAR>();
    if (vars->isEmpty())
        return 0;
    PLC_driver.read_pass_count = 0;
    PLC_driver.com_info->finish_flag = 0;
    try {
        append_blocks(*vars, *PLC_driver.com_info, PLC_driver.read_list);
    } catch (const std::bad_alloc &) {
        // Counts of several billion are allowed, and cut. A part of the blocks would look like all of them.
        PLC_driver.read_list = QList<RW_VAR>();
    }
    return static_cast<int>(PLC_driver.read_list.size());
}

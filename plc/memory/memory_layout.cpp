#include "plc/memory/memory_layout.h"

#include <algorithm>

#include <unistd.h>

namespace plc {

void WriteEntry::put(const LoggedWrite &write) {
    store(moment, write.moment);
    store(address, static_cast<std::uint16_t>(write.address));
    store(before, write.before);
    store(after, write.after);
    store(station, static_cast<std::uint8_t>(write.station));
    store(table, static_cast<std::uint8_t>(write.table));
}

LoggedWrite WriteEntry::get() const {
    return {load(station), load(table) == 0 ? Table::coils : Table::registers, load(address), load(before), load(after),
            load(moment)};
}

void RequestEntry::put(const LoggedRequest &request) {
    store(ends_at, request.ends_at);
    store(first_write, request.first_write);
    store(writes, request.writes);
    store(fault, request.fault);
}

LoggedRequest RequestEntry::get() const {
    return {load(ends_at), load(first_write), load(writes), load(fault)};
}

void PieceEntry::put(const LoggedPiece &piece) {
    store(request, piece.request);
    store(ends_at, piece.ends_at);
    store(microseconds, piece.microseconds);
}

LoggedPiece PieceEntry::get() const {
    return {load(request), load(ends_at), load(microseconds)};
}

bool is_memory_file(int descriptor) {
    char start[sizeof memory_magic];
    return ::pread(descriptor, start, sizeof start, 0) == static_cast<ssize_t>(sizeof start) &&
           std::equal(std::begin(start), std::end(start), std::begin(memory_magic));
}

}  // namespace plc

#include "host/driver/raw_calls.h"

namespace kelpo {

QString driver_text(const std::string &text) {
    return QString::fromLatin1(text.data(), static_cast<int>(text.size()));
}

QByteArray driver_bytes(const std::string &bytes) {
    return {bytes.data(), static_cast<int>(bytes.size())};
}

QList<HOST_VAR> polled(const VariablePointers &variables) {
    QList<HOST_VAR> list;
    list.reserve(static_cast<int>(variables.size()));
    for (const Variable *const variable : variables) {
        HOST_VAR item{};
        item.reg_type = static_cast<unsigned char>(variable->type);
        item.station_no = static_cast<unsigned char>(variable->station);
        item.addr_text = driver_text(variable->address);
        item.reg_count = variable->count;
        list.append(item);
    }
    return list;
}

QList<HOST_VAR> polled(const std::vector<Variable> &variables) {
    return polled(pointers_to(variables));
}

RW_VAR once_read_record(const Variable &place, int group, int id) {
    RW_VAR record;
    record.var_group = group;
    record.var_id = id;
    record.reg_type = place.type;
    record.addr_text = driver_text(place.address);
    record.station_no = place.station;
    record.reg_count = place.count;
    return record;
}

std::string cached_bytes(const DriverEntryPoints &driver, const Variable &variable) {
    QByteArray bytes;
    driver.GetRegisterData(QString(), variable.type, driver_text(variable.address), variable.station, bytes,
                           variable.count);
    return {bytes.constData(), static_cast<std::size_t>(bytes.size())};
}

Values shown_by(const DriverEntryPoints &driver, const Variable &variable) {
    return values_in(variable.view, cached_bytes(driver, variable));
}

}  // namespace kelpo

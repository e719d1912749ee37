#include "host/driver/variables.h"

namespace kelpo {

Values shown_by(const DriverEntryPoints &driver, const Variable &variable) {
    QByteArray bytes;
    driver.GetRegisterData(QString(), variable.type, QString::fromLatin1(variable.address.c_str()), variable.station,
                           bytes, variable.count);
    return values_in(variable.view, bytes);
}

QList<HOST_VAR> polled(const std::vector<Variable> &variables) {
    QList<HOST_VAR> list;
    for (const Variable &variable : variables) {
        HOST_VAR item{};
        item.reg_type = static_cast<unsigned char>(variable.type);
        item.station_no = static_cast<unsigned char>(variable.station);
        item.addr_text = QString::fromLatin1(variable.address.c_str());
        item.reg_count = variable.count;
        list.append(item);
    }
    return list;
}

}  // namespace kelpo

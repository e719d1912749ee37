#include "host/variables.h"

namespace kelpo {
namespace {

int bytes_per_value(View view) {
    switch (view) {
    case View::bits:
        return 1;
    case View::unsigned_words:
    case View::signed_words:
        return 2;
    case View::unsigned_longs:
    case View::signed_longs:
        break;
    }
    return 4;
}

std::uint32_t low_byte_first(const QByteArray &bytes, int first, int width) {
    std::uint32_t value = 0;
    for (int i = width - 1; i >= 0; --i)
        value = value << 8 | static_cast<unsigned char>(bytes.at(first + i));
    return value;
}

std::int64_t as_shown(View view, std::uint32_t value) {
    if (view == View::signed_words)
        return static_cast<std::int16_t>(value);
    if (view == View::signed_longs)
        return static_cast<std::int32_t>(value);
    return value;
}

}  // namespace

Values values_in(View view, const QByteArray &bytes) {
    const int width = bytes_per_value(view);
    Values values;
    for (int first = 0; first + width <= bytes.size(); first += width)
        values.push_back(as_shown(view, low_byte_first(bytes, first, width)));
    return values;
}

std::string text_of(View view, const Values &values) {
    std::string text;
    for (const std::int64_t value : values) {
        if (view != View::bits && !text.empty())
            text += ' ';
        text += std::to_string(value);
    }
    return text;
}

QByteArray bytes_of(View view, const Values &values) {
    QByteArray bytes;
    for (std::int64_t value : values)
        for (int i = 0; i < bytes_per_value(view); ++i, value >>= 8)
            bytes.append(static_cast<char>(value & 0xFF));
    return bytes;
}

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

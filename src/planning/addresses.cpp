#include "arithmetic.h"
#include "ozna_kelpo_port.h"
#include "register_types.h"

#include <QtCore/QStringList>

namespace {

const int invalid_address = -1;

int parse_number(const QString &text, int base) {
    bool ok = false;
    const int value = text.toInt(&ok, base);
    return ok ? value : invalid_address;
}

int parse_from_200(const QString &text) {
    const int value = parse_number(text, 10);
    return value >= 200 ? value - 200 : invalid_address;
}

// The bit is not held below 16: "1.20" is the same place as "2.4", and panel projects use both.
int parse_word_dot_bit(const QString &text) {
    const QStringList parts = text.split(QLatin1Char('.'));
    if (parts.size() != 2)
        return invalid_address;
    bool word_ok = false;
    bool bit_ok = false;
    const qint64 word = parts.at(0).toInt(&word_ok, 10);
    const qint64 bit = parts.at(1).toInt(&bit_ok, 10);
    return word_ok && bit_ok ? low_32_bits(word * 16 + bit) : invalid_address;
}

}  // namespace

int StringAddressToInt(int type, QString text) {
    const RegisterType *known = find_register_type(type);
    switch (known != 0 ? known->syntax : DecimalNumber) {
    case OctalNumber:
        return parse_number(text, 8);
    case DecimalFrom200:
        return parse_from_200(text);
    case WordDotBit:
        return parse_word_dot_bit(text);
    case DecimalNumber:
        break;
    }
    return parse_number(text, 10);
}

int PLCAddressChangeIntef(int type, QString text) {
    return StringAddressToInt(type, text);
}

int Communication_Protocol::get_plc_reg(int type) {
    const RegisterType *known = find_register_type(type);
    return known != 0 ? known->register_class : type;
}

void Communication_Protocol::update_info(RW_VAR *var) {
    const RegisterType *known = find_register_type(var->reg_type);
    if (known == 0)
        return;
    const qint64 one_more = qint64(var->reg_count) + 1;
    if (known->count_rule == CountHalvedRoundingUp)
        var->reg_count = shifted_right(one_more, 1);
    else if (known->count_rule == CountRoundedUpToEven)
        var->reg_count = low_32_bits(one_more - (one_more & 1));
    var->reg_type = known->register_class;
}

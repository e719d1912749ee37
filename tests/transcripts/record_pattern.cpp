#include "record_pattern.h"

#include "hex_text.h"

#include <algorithm>

namespace transcripts {

namespace {

struct NumberField {
    const char *name;
    int RW_VAR::*member;
};

const NumberField number_fields[] = {
    {"station", &RW_VAR::station_no},  {"type", &RW_VAR::reg_type},         {"class", &RW_VAR::reg_type},
    {"from", &RW_VAR::reg_addr},       {"count", &RW_VAR::reg_count},       {"group", &RW_VAR::var_group},
    {"id", &RW_VAR::var_id},           {"area", &RW_VAR::area_no},          {"write_marker", &RW_VAR::host_ref2},
    {"host_ref3", &RW_VAR::host_ref3}, {"store_mode", &RW_VAR::store_mode}, {"aux_word", &RW_VAR::aux_word},
    {"ret_value", &RW_VAR::ret_value},
};

int RW_VAR::*number_field(const std::string &name) {
    for (const NumberField &field : number_fields)
        if (name == field.name)
            return field.member;
    return nullptr;
}

QString RW_VAR::*text_field(const std::string &name) {
    if (name == "address")
        return &RW_VAR::addr_text;
    if (name == "aux")
        return &RW_VAR::aux_text;
    return nullptr;
}

bool contains(const std::vector<std::string> &list, const std::string &name) {
    return std::find(list.begin(), list.end(), name) != list.end();
}

}  // namespace

RecordPattern::RecordPattern(Words &words) : stated(), fields() {
    do {
        const std::string name = words.take();
        if (names(name))
            words.refuse("stated twice: " + name);
        fields.push_back(name);
        if (int RW_VAR::*const number = number_field(name))
            stated.*number = words.number();
        else if (QString RW_VAR::*const text = text_field(name))
            stated.*text = QString::fromLatin1(words.take().c_str());
        else if (name == "data")
            stated.value_bytes = words.data();
        else
            words.refuse("unknown field: \"" + name + "\"");
    } while (!words.done());
}

bool RecordPattern::names(const std::string &name) const {
    return contains(fields, name);
}

void RecordPattern::require(const Words &words, const std::vector<std::string> &required,
                            const std::vector<std::string> &allowed) const {
    for (const std::string &name : required)
        if (!names(name))
            words.refuse("not stated: " + name);
    for (const std::string &name : fields)
        if (!contains(required, name) && !contains(allowed, name))
            words.refuse("has no meaning here: " + name);
}

std::string RecordPattern::as_in(const RW_VAR &var) const {
    std::string text;
    for (const std::string &name : fields) {
        text += (text.empty() ? "" : " ") + name + " ";
        if (int RW_VAR::*const number = number_field(name))
            text += std::to_string(var.*number);
        else if (QString RW_VAR::*const words = text_field(name))
            text += "\"" + std::string((var.*words).toUtf8().constData()) + "\"";
        else
            text += var.value_bytes.isEmpty() ? "none" : support::hex(var.value_bytes);
    }
    return text;
}

}  // namespace transcripts

// A driver that writes a wrong value to registers of type 9, and nothing at all to those of type 10.
#include <ozna_kelpo_port.h>

#include <dlfcn.h>

extern "C" int SetRegisterData(QString text, int reg_type, QString address, int station_no, QByteArray data, int count,
                               int var_group, int var_id) {
    static const auto real = reinterpret_cast<decltype(&SetRegisterData)>(dlsym(RTLD_NEXT, "SetRegisterData"));
    if (reg_type == 10)
        return 0;
    if (reg_type == 9)
        data[0] = static_cast<char>(data.at(0) ^ 1);
    return real(text, reg_type, address, station_no, data, count, var_group, var_id);
}

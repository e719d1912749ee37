// A driver whose GetRegisterData returns one wrong value; everything else is the real driver's.
#include <ozna_kelpo_port.h>

#include <dlfcn.h>

extern "C" int GetRegisterData(QString text, int reg_type, QString address, int station_no, QByteArray &out,
                               int count) {
    static const auto real = reinterpret_cast<decltype(&GetRegisterData)>(dlsym(RTLD_NEXT, "GetRegisterData"));
    const int result = real(text, reg_type, address, station_no, out, count);
    if (reg_type == 7 && station_no == 1 && address == QLatin1String("3"))
        out[0] = static_cast<char>(out.at(0) ^ 1);
    return result;
}

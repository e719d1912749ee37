#include "bench/block_maps.h"

#include "bench/driver_link.h"

#include <QtCore/QString>

#include <random>

namespace bench {

namespace {

constexpr unsigned seed = 20240229;

class RandomNumbers {
public:
    // From `from` to `to`, both included.
    int between(int from, int to) {
        return from + static_cast<int>(random_() % static_cast<unsigned>(to - from + 1));
    }

private:
    std::mt19937 random_{seed};
};

HOST_VAR variable_at(int reg_type, int address, int count, int station_no) {
    HOST_VAR variable =
        host_variable(reg_type, QString::number(reg_type == double_words ? address + 200 : address), count);
    variable.station_no = static_cast<unsigned char>(station_no);
    return variable;
}

// One after the other, with one in five addresses left out.
QList<HOST_VAR> dense(int count) {
    RandomNumbers random;
    QList<HOST_VAR> variables;
    for (int address = 0; variables.size() < count;) {
        const int units = random.between(1, 2);
        if (random.between(1, 5) > 1)
            variables.append(variable_at(registers, address, units, station));
        address += units;
    }
    return variables;
}

// A machine's parts: 5 to 15 variables close together, then nothing for 30 to 300 registers.
QList<HOST_VAR> clustered(int count) {
    RandomNumbers random;
    QList<HOST_VAR> variables;
    int address = 0;
    while (variables.size() < count) {
        for (int left = random.between(5, 15); left > 0 && variables.size() < count; --left) {
            const int units = random.between(1, 2);
            variables.append(variable_at(registers, address, units, station));
            address += units + random.between(0, 3);
        }
        address += random.between(30, 300);
    }
    return variables;
}

QList<HOST_VAR> scattered(int count) {
    RandomNumbers random;
    QList<HOST_VAR> variables;
    for (int i = 0; i < count; ++i)
        variables.append(variable_at(registers, random.between(0, 19999), random.between(1, 2), station));
    return variables;
}

// Two bit areas, four of registers and 32-bit values, on `stations` stations; some cross a boundary of the map.
QList<HOST_VAR> mixed(int count, int stations) {
    constexpr int types[] = {4, 4, 5, 7, 7, 7, 8, 9, 12, double_words};
    RandomNumbers random;
    QList<HOST_VAR> variables;
    for (int i = 0; i < count; ++i) {
        const int type = types[random.between(0, 9)];
        // Screens use the beginning of an area more than its end.
        const int address = random.between(0, random.between(0, 3) > 0 ? 500 : 9999);
        variables.append(variable_at(type, address, random.between(1, 4), random.between(1, stations)));
    }
    return variables;
}

QList<HOST_VAR> mixed_types(int count) {
    return mixed(count, 1);
}

QList<HOST_VAR> four_stations(int count) {
    return mixed(count, 4);
}

}  // namespace

const std::vector<BlockMap> block_maps = {
    {"dense", dense},
    {"clusters", clustered},
    {"scattered", scattered},
    {"mixed", mixed_types},
    {"mixed, 4 stations", four_stations},
};

}  // namespace bench

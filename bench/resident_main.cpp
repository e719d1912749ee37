// The resident size of a process that has the driver and nothing else, before and after 100,000 registers are cached.
#include "bench/driver_link.h"
#include "bench/process_figures.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace {

constexpr int stations = 2;
constexpr int registers_of_station = 50000;  // addresses from 65536 on share cells with another class
constexpr int registers_in_write = 100;

void fill_cache() {
    const QByteArray data(2 * registers_in_write, '\x01');
    for (int station = 1; station <= stations; ++station)
        for (int address = 0; address < registers_of_station; address += registers_in_write)
            SetRegisterData(QString(), bench::registers, QString::number(address), station, data, registers_in_write, 1,
                            1);
}

}  // namespace

int main() {
    try {
        ComInfo &com_info = bench::configure_driver();
        com_info.write_mode = 0;
        com_info.multi_station = 1;
        const long before = bench::resident_kilobytes();
        fill_cache();
        const long after = bench::resident_kilobytes();
        const auto cached = static_cast<long>(PLC_driver.word_cache.size());
        std::printf("resident with 0 registers cached %28ld KB\n", before);
        std::printf("resident with %ld registers cached %23ld KB, %.1f bytes each\n", cached, after,
                    static_cast<double>(after - before) * 1024 / static_cast<double>(cached));
    } catch (const std::exception &problem) {
        std::fprintf(stderr, "%s\n", problem.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

#include "bench/panel_list.h"

#include "bench/process_figures.h"

#include <cstdio>
#include <random>

namespace bench {

namespace {

constexpr int bits = 4;
constexpr int registers = 7;
constexpr int register_pairs = 12;
constexpr int first_coil_of_bits = 6000;
constexpr int list_size = 30;

// The same addresses each time.
constexpr unsigned seed = 20240229;

PanelVariable variable(int type, int address) {
    const bool coils = type == bits;
    return {type, address, type == register_pairs ? 2 : 1, coils, address + (coils ? first_coil_of_bits : 0)};
}

// Twelve registers, six 32-bit values, six more registers and six bits, with some addresses left out.
std::vector<PanelVariable> groups() {
    std::vector<PanelVariable> variables;
    variables.reserve(list_size);
    for (int i = 0; i < 12; ++i)
        variables.push_back(variable(registers, 100 + i + i / 3));
    for (int i = 0; i < 6; ++i)
        variables.push_back(variable(register_pairs, 1200 + 2 * i + 4 * (i / 3)));
    for (int i = 0; i < 6; ++i)
        variables.push_back(variable(registers, 3050 + 2 * i));
    for (int i = 0; i < 6; ++i)
        variables.push_back(variable(bits, 64 + i + i / 2));
    return variables;
}

std::vector<PanelVariable> scattered() {
    constexpr int types[] = {registers, registers, registers, register_pairs, bits};
    constexpr unsigned places = 5000;
    std::mt19937 random(seed);
    std::vector<PanelVariable> variables;
    variables.reserve(list_size);
    for (int i = 0; i < list_size; ++i)
        variables.push_back(variable(types[i % 5], static_cast<int>(random() % places)));
    return variables;
}

}  // namespace

std::vector<PanelVariable> panel_variables(const std::string &name) {
    if (name == "groups")
        return groups();
    if (name == "scattered")
        return scattered();
    throw std::runtime_error("there is no list '" + name + "'; one of groups, scattered");
}

PanelTask panel_task(int argc, char **argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (words.size() != 3 && words.size() != 4)
        throw std::runtime_error("these arguments are needed: LINE LIST PASSES [LONGEST]");
    return {words[0], panel_variables(words[1]), std::stoi(words[2]), words.size() == 4 ? std::stoi(words[3]) : 100};
}

void PanelStopwatch::start() {
    began_ = std::chrono::steady_clock::now();
    processor_began_ = processor_seconds();
}

void PanelStopwatch::print(int passes, const std::vector<int> &values) const {
    const double processor = processor_seconds() - processor_began_;
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - began_).count();
    std::printf("%.1f %.0f %ld\n", seconds / passes * 1e3, processor / passes * 1e6, resident_kilobytes());
    for (const int value : values)
        std::printf("%d ", value);
    std::printf("\n");
}

}  // namespace bench

#include "common/standard_streams.h"
#include "plc/program/program.h"

int main(int argc, char **argv) {
    common::open_standard_descriptors();
    return plc::run_program(argc - 1, argv + 1, "kelpo-plc");
}

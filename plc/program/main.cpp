#include "common/standard_streams.h"
#include "plc/program/program.h"

int main(int argc, char **argv) {
    const char *const name = "kelpo-plc";
    common::open_standard_descriptors();
    const int ended_with = plc::run_program(argc - 1, argv + 1, name);
    return ended_with == 0 && !common::output_was_written(name) ? 1 : ended_with;
}

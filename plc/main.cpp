#include "plc/program.h"

int main(int argc, char **argv) {
    return plc::run_program(argc - 1, argv + 1, "kelpo-plc");
}

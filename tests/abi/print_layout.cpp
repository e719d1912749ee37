// Prints the layout of the interface's records, in the form of the layout files in this folder.
#include "layout.h"

#include <iostream>

int main() {
    records::print(std::cout, records::measured_layout());
    return std::cout.flush() ? 0 : 1;
}

#include "resident_size.h"

#include <fstream>

#include <unistd.h>

namespace soak {

long resident_size() {
    std::ifstream file("/proc/self/statm");
    long all = 0, resident = 0, shared = 0;
    file >> all >> resident >> shared;
    return (resident - shared) * (sysconf(_SC_PAGESIZE) / 1024);
}

bool has_grown(long early, long late) {
    return SIZE_IS_MEANINGFUL && late > early + early / 20;
}

}  // namespace soak

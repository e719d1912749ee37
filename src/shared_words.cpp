#include "shared_words.h"

#include <atomic>

namespace {

// Not in the driver's object, whose layout the host shares. 0 when the library is loaded.
std::atomic<int> noted_size;

}  // namespace

int note_write_list_size() {
    const int size = static_cast<int>(PLC_driver.write_list.size());
    noted_size.store(size, std::memory_order_relaxed);
    return size;
}

int write_list_size_without_waiting() {
    if (!PLC_driver.list_mutex.tryLock())
        return noted_size.load(std::memory_order_relaxed);
    const int size = note_write_list_size();
    PLC_driver.list_mutex.unlock();
    return size;
}

// QMutex's own functions, wrapped: the sanitizer is told of each lock and unlock, and then finds races on what the
// mutexes guard, also inside the driver. The wrappers stand in the test program, so the loader finds them first.
#include <QtCore/QMutex>

#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

#include <cstdlib>

namespace {

template <typename Function> Function next(const char *symbol) {
    void *const found = dlsym(RTLD_NEXT, symbol);
    if (found == nullptr)
        std::abort();
    return reinterpret_cast<Function>(found);
}

}  // namespace

void QMutex::lock() QT_MUTEX_LOCK_NOEXCEPT {
    static const auto original = next<void (*)(QMutex *)>("_ZN6QMutex4lockEv");
    __tsan_mutex_pre_lock(this, 0);
    original(this);
    __tsan_mutex_post_lock(this, 0, 0);
}

void QMutex::unlock() noexcept {
    static const auto original = next<void (*)(QMutex *)>("_ZN6QMutex6unlockEv");
    __tsan_mutex_pre_unlock(this, 0);
    original(this);
    __tsan_mutex_post_unlock(this, 0);
}

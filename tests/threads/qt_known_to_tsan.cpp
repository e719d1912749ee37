// Replaces the functions of Qt that synchronise threads, because Qt is not built with the sanitizer; the loader finds
// those of the test program first. Each lock and unlock is reported to the sanitizer, which then finds races on what
// the mutexes protect, also inside the driver. It also sees where an assignment drops a reference to shared bytes and
// texts.
#include <QtCore/QByteArray>
#include <QtCore/QMutex>
#include <QtCore/QString>

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

bool QMutex::tryLock(int timeout) QT_MUTEX_LOCK_NOEXCEPT {
    static const auto original = next<bool (*)(QMutex *, int)>("_ZN6QMutex7tryLockEi");
    __tsan_mutex_pre_lock(this, __tsan_mutex_try_lock);
    const bool locked = original(this, timeout);
    __tsan_mutex_post_lock(this, __tsan_mutex_try_lock | (locked ? 0U : __tsan_mutex_try_lock_failed), 0);
    return locked;
}

void QMutex::unlock() noexcept {
    static const auto original = next<void (*)(QMutex *)>("_ZN6QMutex6unlockEv");
    __tsan_mutex_pre_unlock(this, 0);
    original(this);
    __tsan_mutex_post_unlock(this, 0);
}

QString &QString::operator=(const QString &other) noexcept {
    QString copy(other);
    swap(copy);
    return *this;
}

QByteArray &QByteArray::operator=(const QByteArray &other) noexcept {
    QByteArray copy(other);
    swap(copy);
    return *this;
}

/// \file
/// What Qt 4.8, 5 and 6 do differently, and nothing else.
#ifndef QT_COMPAT_H
#define QT_COMPAT_H

#include <QtCore/QMutex>
#include <QtCore/QMutexLocker>
#include <QtCore/QTextStream>
#include <QtCore/QtGlobal>

#if QT_VERSION < QT_VERSION_CHECK(5, 0, 0)
typedef QMutexLocker Locked;
#elif QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
typedef QMutexLocker<QMutex> Locked;
#elif defined KELPO_LOCKS_BY_CALL
// Checkers of threads follow the calls of QMutex, and not what Locked does in their stead.
typedef QMutexLocker Locked;
#else
/// Holds a mutex from here to the end of the block; it must not be a recursive one. Qt 5's own QMutexLocker provides
/// for those, and so calls Qt for each step, which would cost a fourteenth of the time of a short exchange.
class Locked {
public:
    explicit Locked(QBasicMutex *mutex) : mutex_(mutex) {
        mutex_->lock();
    }
    ~Locked() {
        mutex_->unlock();
    }

private:
    Q_DISABLE_COPY(Locked)

    QBasicMutex *mutex_;
};
#endif

/// Makes `stream` write UTF-8, whatever the locale. Without it Qt 4 and 5 follow the locale, which on a panel is often
/// none and loses every character outside ASCII.
inline void write_utf8(QTextStream &stream) {
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    stream.setEncoding(QStringConverter::Utf8);
#else
    stream.setCodec("UTF-8");
#endif
}

#endif

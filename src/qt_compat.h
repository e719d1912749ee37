/// \file
/// What Qt 4.8, 5 and 6 do differently, and nothing else.
#ifndef QT_COMPAT_H
#define QT_COMPAT_H

#include <QtCore/QTextStream>
#include <QtCore/QtGlobal>

/// Whether a QList holds the places of its records instead of the records themselves.
const bool lists_hold_places = QT_VERSION < QT_VERSION_CHECK(6, 0, 0);

/// Makes `stream` write UTF-8 with every locale. Without it Qt 4 and 5 follow the locale, which on a panel is often not
/// set, so that every character outside ASCII is lost.
inline void write_utf8(QTextStream &stream) {
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    stream.setEncoding(QStringConverter::Utf8);
#else
    stream.setCodec("UTF-8");
#endif
}

#endif

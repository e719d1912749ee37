#include "ozna_kelpo_port.h"
#include "qt_compat.h"

#include <QtCore/QDateTime>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QTextStream>

namespace {

// Anybody may have put something else in the log's place: a pipe would block the thread that logs, and a link would
// lead the lines into a file that its maker chooses.
bool is_regular_or_absent(const QString &path) {
    const QFileInfo info(path);
    return !info.isSymLink() && (info.isFile() || !info.exists());
}

}  // namespace

void customMessageHandler(QtMsgType /*type*/, const char *msg) {
    const QString path = QLatin1String("/tmp/debug.log");
    if (!is_regular_or_absent(path))
        return;
    QFile file(path);
    // Writing to a file that is not open makes Qt log a message, which would come back here.
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append))
        return;
    QTextStream stream(&file);
    write_utf8(stream);
    const QDateTime now = QDateTime::currentDateTime();
    // The milliseconds are appended as a number: Qt's own "z" pads or trims them differently from version to version.
    stream << now.toString(QLatin1String("yyyy.MM.dd.hh:mm:ss.")) << now.time().msec() << ':'
           << QString::fromLatin1(msg) << '\n';
}

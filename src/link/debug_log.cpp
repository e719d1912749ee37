#include "ozna_kelpo_port.h"
#include "qt_compat.h"

#include <QtCore/QDateTime>
#include <QtCore/QFile>
#include <QtCore/QTextStream>

void customMessageHandler(QtMsgType /*type*/, const char *msg) {
    QFile file(QLatin1String("/tmp/debug.log"));
    // Writing to a file that is not open makes Qt utter a message, which would come back here.
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append))
        return;
    QTextStream stream(&file);
    write_utf8(stream);
    const QDateTime now = QDateTime::currentDateTime();
    // The milliseconds are appended as a number: Qt's own "z" pads or trims them differently from version to version.
    stream << now.toString(QLatin1String("yyyy.MM.dd.hh:mm:ss.")) << now.time().msec() << ':'
           << QString::fromLatin1(msg) << '\n';
}

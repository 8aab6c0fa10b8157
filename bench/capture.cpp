#include "capture.h"

#include "hostsetup.h"
#include "note.h"

#include <QDateTime>

#include <cerrno>

bool Capture::open(const QString& path, const QString& purpose)
{
    m_file.setFileName(path);
    m_file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered);
    const QString header = "# date: %1\n# line: 38400 baud, 8N1\n# car model: %2, index %3\n# purpose: %4\n"
                           "# (seconds.micros) rx|tx HEX; rx is what the head unit received";
    return write(header.arg(QDateTime::currentDateTimeUtc().toString(Qt::ISODate))
                     .arg(hostSetup().carModelId)
                     .arg(hostSetup().carModelIndex)
                     .arg(purpose));
}

bool Capture::write(const QString& line)
{
    const QByteArray bytes = line.toUtf8() + '\n';
    if (m_file.isOpen() && m_file.write(bytes) == bytes.size())
        return true;
    const bool isShort = m_file.error() == QFile::NoError; // and QFile does not tell why
    note(QString("cannot write %1: %2")
             .arg(m_file.fileName(), isShort ? qt_error_string(errno) : m_file.errorString()));
    m_file.close();
    return false;
}

#include "log.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>

#include <cerrno>
#include <cstdio>

namespace boxsim {

namespace {

bool print(FILE* stream, const QString& line)
{
    return std::fprintf(stream, "%s\n", qUtf8Printable(line)) >= 0 && std::fflush(stream) == 0;
}

QString stamp()
{
    static const QElapsedTimer clock = [] {
        QElapsedTimer started;
        started.start();
        return started;
    }();
    return QString::asprintf("(%.6f) ", static_cast<double>(clock.nsecsElapsed()) / 1e9);
}

} // namespace

void show(const QString& line)
{
    if (print(stdout, line) || errno == EPIPE)
        return;
    logError(QStringLiteral("cannot write standard output: %1").arg(qt_error_string()));
    QTimer::singleShot(0, [] { QCoreApplication::exit(NoOutput); }); // the event loop may not run yet
}

void logBytes(const char* direction, const QByteArray& bytes, const QString& meaning)
{
    const QString hex = QString::fromLatin1(bytes.toHex(' ').toUpper());
    print(stderr, stamp() + QLatin1String(direction) + ' ' + hex + QStringLiteral("  ") + meaning);
}

void logNote(const QString& text)
{
    print(stderr, stamp() + text);
}

void logError(const QString& text)
{
    print(stderr, text);
}

} // namespace boxsim

#include "log.h"

#include <QElapsedTimer>

#include <cstdio>

namespace boxsim {

namespace {

void print(FILE* stream, const QString& line)
{
    (void)std::fprintf(stream, "%s\n", qUtf8Printable(line));
    (void)std::fflush(stream);
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
    print(stdout, line);
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

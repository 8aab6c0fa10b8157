#pragma once

#include <QByteArray>
#include <QString>

namespace boxsim {

/// Prints one line of data on stdout, at once.
void show(const QString& line);

/// Logs bytes of the line on stderr: (seconds since the first log line), "rx" or "tx", hex, what they mean.
void logBytes(const char* direction, const QByteArray& bytes, const QString& meaning);

/// Logs an event on stderr, with the time as logBytes() gives it.
void logNote(const QString& text);

/// Reports a mistake on stderr, without a time.
void logError(const QString& text);

} // namespace boxsim

#pragma once

#include <QByteArray>
#include <QString>

namespace boxsim {

/// How the program ends.
enum ExitCode { Ended = 0, Usage = 1, NoLine = 2, BadScenario = 3, NoOutput = 4 };

/// Prints one line of data on stdout, at once. When it cannot be written, the program ends with NoOutput; a
/// reader that has left a pipe is no failure.
void show(const QString& line);

/// Logs bytes of the line on stderr: (seconds since the first log line), "rx" or "tx", hex, what they mean.
void logBytes(const char* direction, const QByteArray& bytes, const QString& meaning);

/// Logs an event on stderr, with the time as logBytes() gives it.
void logNote(const QString& text);

/// Reports a mistake on stderr, without a time.
void logError(const QString& text);

} // namespace boxsim

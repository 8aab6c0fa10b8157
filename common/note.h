#pragma once

#include <QJsonObject>
#include <QString>

#include <functional>

/// Writes one of the program's own messages, which begins with its name, on standard error. For JSON, @p keys
/// add to it.
void note(const QString& text, QJsonObject keys = {});

/// Writes what went wrong, as note() does but also where that is to be quiet.
void complain(const QString& text, QJsonObject keys = {});

/// Keeps notes from standard error from now on.
void beQuiet();

/// Writes a line on standard error as it is; @p keys are the same for JSON.
void tellError(const QString& line, const QJsonObject& keys);

/// Is handed the keys of every message, also where it is not written.
extern std::function<void(const QJsonObject& keys)> onTold;

/// Writes a line on standard error, and nothing else.
void writeError(const QString& line);

/// Where it is set, it takes the lines for standard error, where no progress is shown then.
extern std::function<void(const QString& line)> insteadOfStandardError;

/// Where it is set, it shows progress; an empty text takes it away.
extern std::function<void(const QString& text)> insteadOfProgress;

/// Whether somebody sees progress: standard error is a terminal, and what it shows is some time old.
bool wantsProgress();

/// Shows on the terminal's last line how far something is.
void showProgress(const QString& text);

/// Takes it away, for what is to be written there.
void clearProgress();

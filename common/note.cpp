#include "note.h"

#include "clock.h"
#include "process.h"

#include <QCoreApplication>

#include <iostream>
#include <unistd.h>
#include <utility>

using namespace std::chrono_literals;

namespace {

constexpr auto ProgressPause = 200ms;

bool isQuiet = false;
bool isShown = false;
std::chrono::nanoseconds shownAt{0}; // by realTime()

} // namespace

std::function<void(const QJsonObject& keys)> onTold = [](const QJsonObject&) {};

std::function<void(const QString& line)> insteadOfStandardError;

std::function<void(const QString& text)> insteadOfProgress;

void note(const QString& text, QJsonObject keys)
{
    if (!isQuiet)
        return complain(text, std::move(keys));
    keys["note"] = text;
    onTold(keys);
}

void complain(const QString& text, QJsonObject keys)
{
    keys["note"] = text;
    tellError(QCoreApplication::applicationName() + ": " + text, keys);
}

void beQuiet()
{
    isQuiet = true;
}

void tellError(const QString& line, const QJsonObject& keys)
{
    clearProgress();
    writeError(line);
    onTold(keys);
}

void writeError(const QString& line)
{
    if (insteadOfStandardError)
        return insteadOfStandardError(line);
    beforeLine();
    std::cerr << (line + '\n').toStdString();
}

bool wantsProgress()
{
    static const bool isTerminal = isatty(STDERR_FILENO);
    return isTerminal && !isQuiet && !insteadOfStandardError &&
           (shownAt.count() == 0 || realTime() - shownAt > ProgressPause);
}

void showProgress(const QString& text)
{
    if (insteadOfProgress)
        insteadOfProgress(text);
    else
        std::cerr << '\r' << text.toStdString() << "\033[K" << std::flush;
    isShown = true;
    shownAt = realTime();
}

void clearProgress()
{
    if (!isShown)
        return;
    if (insteadOfProgress)
        insteadOfProgress({});
    else
        std::cerr << "\r\033[K" << std::flush;
    isShown = false;
}

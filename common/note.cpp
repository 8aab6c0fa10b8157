#include "note.h"

#include "clock.h"

#include <QCoreApplication>

#include <iostream>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

constexpr auto ProgressPause = 200ms;

bool isShown = false;
std::chrono::nanoseconds shownAt{0}; // by realTime()

} // namespace

std::function<void(const QJsonObject& keys)> onTold = [](const QJsonObject&) {};

std::function<void(const QString& line)> insteadOfStandardError;

void note(const QString& text, QJsonObject keys)
{
    keys["note"] = text;
    tellError(QCoreApplication::applicationName() + ": " + text, keys);
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
        insteadOfStandardError(line);
    else
        std::cerr << (line + '\n').toStdString();
}

bool wantsProgress()
{
    static const bool isTerminal = isatty(STDERR_FILENO);
    return isTerminal && !insteadOfStandardError &&
           (shownAt.count() == 0 || realTime() - shownAt > ProgressPause);
}

void showProgress(const QString& text)
{
    std::cerr << '\r' << text.toStdString() << "\033[K" << std::flush;
    isShown = true;
    shownAt = realTime();
}

void clearProgress()
{
    if (!isShown)
        return;
    std::cerr << "\r\033[K" << std::flush;
    isShown = false;
}

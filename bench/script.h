#pragma once

#include "exitcode.h"

#include <QObject>
#include <QSocketNotifier>
#include <QTimer>

#include <chrono>
#include <deque>
#include <functional>

/// Thrown by a command that cannot be carried out, with what is wrong and what would be right.
struct CommandError
{
    QString text;
};

/// Something that a script can expect: a signal with what its line shows, or bytes of one direction.
struct Event
{
    QString what;      ///< the signal's name, or "rx" or "tx"
    QStringList parts; ///< the signal's arguments and changed values, as in "ac=true"
    QByteArray bytes;
};

/// Runs command lines in their order, from a file or from standard input, and lets them wait for what
/// happens.
///
/// What has happened is kept for expect() until a command clears it, so an answer that comes before the
/// script gets round to expecting it is not missed. An expectation that is met uses up everything up to where
/// it was met. On a terminal a mistake is only answered; in a pipe or a file it ends the script.
class Script : public QObject
{
    Q_OBJECT

public:
    /// @p execute carries out one command line or throws a CommandError.
    explicit Script(std::function<void(const QString&)> execute);

    /// Takes the commands from @p file. @return an error text, empty where it could be read.
    QString readFile(const QString& file);

    /// Takes the commands from standard input, as they come.
    void readStandardInput();

    /// Holds the next command back for @p duration.
    void wait(std::chrono::milliseconds duration);

    /// Holds the next command back until @p event has happened, for @p limit at most; then the expectation
    /// fails.
    void expect(const Event& event, std::chrono::milliseconds limit);

    /// Forgets what has happened.
    void clearEvents() { m_events.clear(); }

    /// Tells that @p event has happened.
    void add(const Event& event);

    /// Ends the script from outside. A file's commands that are left count as an expectation that was not
    /// met.
    void interrupt();

    /// Ends the script; the commands that are left are not run.
    void end(ExitCode code);

signals:
    void ended(int exitCode);

private:
    void run();
    void resume();
    void readSome();
    bool takeExpected(std::deque<Event>::iterator from);
    void fail(ExitCode code, const QString& text);

    std::function<void(const QString&)> m_execute;
    QString m_origin;                      // a file's name, "standard input", or empty for a terminal
    QSocketNotifier* m_notifier = nullptr; // of standard input
    QByteArray m_input;
    int m_line = 0;
    bool m_inputEnded = false;
    bool m_ended = false;
    QTimer m_pause;
    bool m_expecting = false;
    Event m_expected;
    std::deque<Event> m_events; // the oldest is forgotten again and again, so not a vector
};

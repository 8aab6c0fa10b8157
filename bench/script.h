#pragma once

#include "arguments.h"
#include "clock.h"
#include "exitcode.h"
#include "history.h"
#include "linereader.h"

#include <QObject>
#include <QTimer>

#include <chrono>
#include <functional>

/// A file of commands.
struct ScriptFile
{
    QString name;
    QByteArray text;
    QString error; ///< why it cannot be read; empty where it was

    /// Reads @p file to its end, where "-" is standard input.
    static ScriptFile read(const QString& file);

    struct Line
    {
        int number;
        QString text;
    };
    /// The commands in it.
    QVector<Line> commands() const;
};

/// Runs command lines in their order, from a file or from standard input, and lets them wait for what
/// happens.
///
/// What has happened is kept for expect() until the next command begins, so an answer that comes before the
/// script gets round to expecting it is not missed. An expectation that is met uses up everything up to where
/// it was met. On a terminal, or where the answers are read, a mistake is only answered; otherwise, in a pipe
/// or a file, it ends the script.
class Script : public QObject
{
    Q_OBJECT

public:
    /// @p execute carries out one command line or throws a CommandError.
    explicit Script(std::function<void(const QString&)> execute);

    /// Called before each command and before the end of the input ends the script: what is on its way then
    /// may arrive first.
    std::function<void()> settle = [] {};

    /// Is told how each command ended, once the next one may be carried out: CleanEnd, or with the reason
    /// ExpectationFailed or BadCommand.
    std::function<void(const QString& command, int line, ExitCode code, const QString& reason)> answer =
        [](const QString&, int, ExitCode, const QString&) {};

    /// The time that failures tell of what happened.
    std::function<std::chrono::nanoseconds()> age = now;

    /// The command that an empty line stands for; empty for none.
    QString emptyLine;

    /// Takes the commands from @p file.
    void take(const ScriptFile& file);

    /// Takes the commands from standard input, as they come; at a prompt @p candidates are completed. With
    /// @p answersMistakes whoever is there reads the answers, and no mistake is told otherwise or ends the
    /// script.
    void readStandardInput(bool answersMistakes = false, const Candidates& candidates = {});

    /// The end of standard input is not the end of the script, which is for finish() to bring about.
    void outlastInput() { m_outlastsInput = true; }

    /// Ends the script once it has carried out what it has read.
    void finish();

    /// Holds the next command back for @p duration.
    void wait(std::chrono::milliseconds duration);

    /// Reads the values that a state expectation is about.
    using ReadState = std::function<QVector<Reading>()>;

    /// Holds the next command back until what is @p expected has come, or for an absence until it has stayed
    /// away; else the expectation fails. @p state is read where a state is expected.
    void expect(const Expectation& expected, ReadState state = {});

    /// Holds the next command back until release().
    void hold();
    void release() { wait(std::chrono::milliseconds::zero()); }

    /// A command other than wait and expect begins: what has happened before counts no more.
    void begin(const QString& command) { m_history.begin(command, age()); }

    /// Tells that @p event happens now.
    void add(Event event);

    /// Ends the script from outside. A file's commands that are left count as an expectation that was not
    /// met.
    void interrupt();
    /// Takes away what is typed at a prompt. @return whether there was something
    bool discardTyped() { return m_input.discardTyped(); }
    bool isInterrupted() const { return m_isInterrupted; }

    /// Ends the script; the commands that are left are not run.
    void end(ExitCode code);

signals:
    void ended(int exitCode);

private:
    void run();
    void resume();
    bool isMet(bool isNew);
    bool isStateMet();
    void fail(ExitCode code, const QString& text);
    void conclude(ExitCode code = CleanEnd, const QString& reason = {});

    std::function<void(const QString&)> m_execute;
    QString m_origin; // a file's name, "standard input", or empty for a terminal
    LineReader m_input;
    QString m_command; // has no answer yet
    bool m_answersMistakes = false;
    bool m_outlastsInput = false;
    bool m_ended = false;
    QTimer m_pause;
    TimeClaim m_claim; // while the pause lasts
    bool m_isInterrupted = false;
    bool m_expecting = false;
    bool m_hasCome = false; // what is expected, or must not come
    Expectation m_expected;
    ReadState m_state;
    std::optional<Event> m_nearestState; // since it is expected
    History m_history;
};

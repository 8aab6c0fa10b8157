#include "script.h"

#include "note.h"

#include <QFile>

#include <limits>
#include <unistd.h>
#include <utility>

namespace {

bool isCommand(const QString& line)
{
    return !line.isEmpty() && !line.startsWith('#');
}

} // namespace

ScriptFile ScriptFile::read(const QString& file)
{
    QFile script(file);
    const bool isOpen =
        file == "-" ? script.open(stdin, QIODevice::ReadOnly) : script.open(QIODevice::ReadOnly);
    const QByteArray text = isOpen ? script.readAll() : QByteArray();
    const bool isRead = script.error() == QFile::NoError;
    return {file == "-" ? "standard input" : file, text, isRead ? QString() : script.errorString()};
}

QVector<ScriptFile::Line> ScriptFile::commands() const
{
    QVector<Line> commands;
    int number = 0;
    for (const QByteArray& line : text.split('\n')) {
        const QString command = QString::fromUtf8(line).trimmed();
        ++number;
        if (isCommand(command))
            commands.append({number, command});
    }
    return commands;
}

Script::Script(std::function<void(const QString&)> execute)
    : m_execute(std::move(execute))
{
    m_pause.setSingleShot(true);
    connect(&m_pause, &QTimer::timeout, this, &Script::resume);
    connect(&m_input, &LineReader::came, this, &Script::run);
}

void Script::take(const ScriptFile& file)
{
    m_origin = file.name;
    m_input.give(file.text);
    wait(std::chrono::milliseconds::zero());
}

void Script::readStandardInput(bool answersMistakes, const Candidates& candidates)
{
    m_answersMistakes = answersMistakes;
    m_origin = isatty(STDIN_FILENO) ? QString() : "standard input";
    m_input.listen(candidates);
}

void Script::run()
{
    while (!m_ended && !m_pause.isActive()) {
        const std::optional<QString> taken = m_input.take();
        if (!taken)
            break;
        const QString line = taken->isEmpty() ? emptyLine : *taken;
        if (!isCommand(line))
            continue;
        settle();
        m_command = line;
        try {
            m_execute(line);
        } catch (const CommandError& error) {
            fail(BadCommand, error.text);
        }
        if (!m_pause.isActive())
            conclude();
    }
    if (m_input.isOver() && !m_pause.isActive() && !(m_outlastsInput && m_input.isStandardInput())) {
        settle();
        end(CleanEnd);
    }
    m_input.wantMore(!m_ended && !m_pause.isActive());
}

void Script::finish()
{
    m_outlastsInput = false;
    m_input.close();
    run();
}

void Script::hold()
{
    wait(std::chrono::milliseconds(std::numeric_limits<int>::max()));
}

void Script::wait(std::chrono::milliseconds duration)
{
    m_pause.start(duration);
    m_claim.set(true);
}

void Script::expect(const Expectation& expected, ReadState state)
{
    m_expected = expected;
    m_state = std::move(state);
    m_nearestState.reset();
    m_hasCome = isMet(false);
    m_expecting = !m_hasCome || expected.isAbsence;
    if (m_expecting)
        wait(m_hasCome ? std::chrono::milliseconds::zero() : expected.limit);
}

void Script::add(Event event)
{
    event.time = age();
    m_history.add(event);
    const bool isNews = !m_state || event.bytes.isEmpty(); // a state changes with signals
    if (!m_expecting || m_hasCome || !isNews || !isMet(true))
        return;
    m_hasCome = true;
    wait(std::chrono::milliseconds::zero()); // the next command must not run inside the service's signal
}

// Whether it is there, or has come with the newest event.
bool Script::isMet(bool isNew)
{
    return m_state ? isStateMet() : m_history.meets(m_expected, isNew);
}

bool Script::isStateMet()
{
    Event state{m_expected.what + ' ' + m_expected.topic, {}, {}, age()};
    for (const Reading& reading : m_state()) {
        const auto isExpected = [&](const Condition& condition) { return condition.name == reading.name; };
        if (std::any_of(m_expected.conditions.begin(), m_expected.conditions.end(), isExpected))
            state.readings.append(reading);
    }
    if (!m_nearestState || m_expected.holding(state.readings) >= m_expected.holding(m_nearestState->readings))
        m_nearestState = state;
    return m_expected.isMetBy(state.readings);
}

void Script::resume()
{
    m_claim.set(false);
    if (m_expecting) {
        m_expecting = false;
        const bool hasCome = m_hasCome || (m_state && isStateMet());
        if (hasCome == m_expected.isAbsence)
            fail(
                ExpectationFailed,
                failureText(m_expected, m_state ? m_nearestState : m_history.nearest(m_expected), m_history));
    }
    conclude();
    run();
}

void Script::fail(ExitCode code, const QString& text)
{
    conclude(code, text);
    if (m_origin.isEmpty())
        return complain(text);
    if (m_answersMistakes)
        return;
    complain(QString("%1:%2: %3").arg(m_origin).arg(m_input.number()).arg(text));
    end(code);
}

void Script::conclude(ExitCode code, const QString& reason)
{
    if (const QString command = std::exchange(m_command, {}); !command.isEmpty())
        answer(command, m_input.number(), code, reason);
}

void Script::interrupt()
{
    if (std::exchange(m_isInterrupted, true))
        return;
    m_input.isStandardInput() ? end(CleanEnd) : fail(ExpectationFailed, "interrupted");
}

void Script::end(ExitCode code)
{
    if (!m_ended)
        emit ended(code);
    m_ended = true;
}

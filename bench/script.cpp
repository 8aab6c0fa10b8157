#include "script.h"

#include "note.h"

#include <QFile>

#include <unistd.h>

namespace {

constexpr std::size_t EventLimit = 1000; // of what has happened, the oldest is forgotten

QString toText(const Event& event)
{
    const QString detail = event.parts.join(", ") + event.bytes.toHex().toUpper();
    return detail.isEmpty() ? event.what : event.what + ' ' + detail;
}

} // namespace

Script::Script(std::function<void(const QString&)> execute)
    : m_execute(std::move(execute))
{
    m_pause.setSingleShot(true);
    connect(&m_pause, &QTimer::timeout, this, &Script::resume);
}

QString Script::readFile(const QString& file)
{
    QFile script(file);
    if (!script.open(QIODevice::ReadOnly))
        return script.errorString();
    m_origin = file;
    m_input = script.readAll();
    m_inputEnded = true;
    wait(std::chrono::milliseconds::zero());
    return {};
}

void Script::readStandardInput()
{
    m_origin = isatty(STDIN_FILENO) ? QString() : "standard input";
    m_notifier = new QSocketNotifier(STDIN_FILENO, QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &Script::readSome);
}

void Script::readSome()
{
    char buffer[4096];
    const ssize_t count = read(STDIN_FILENO, buffer, sizeof buffer);
    if (count > 0)
        m_input.append(buffer, static_cast<int>(count));
    else
        m_inputEnded = true;
    run();
}

void Script::run()
{
    while (!m_ended && !m_pause.isActive()) {
        const int end = m_input.indexOf('\n');
        if (end < 0 && !(m_inputEnded && !m_input.isEmpty()))
            break;
        const int size = end < 0 ? m_input.size() : end;
        const QString line = QString::fromUtf8(m_input.left(size)).trimmed();
        m_input.remove(0, size + 1);
        ++m_line;
        if (line.isEmpty() || line.startsWith('#'))
            continue;
        try {
            m_execute(line);
        } catch (const CommandError& error) {
            fail(BadCommand, error.text);
        }
    }
    if (m_inputEnded && m_input.isEmpty() && !m_pause.isActive())
        end(CleanEnd);
    if (m_notifier) // what comes during a pause waits outside
        m_notifier->setEnabled(!m_inputEnded && !m_pause.isActive());
}

void Script::wait(std::chrono::milliseconds duration)
{
    m_pause.start(duration);
}

void Script::expect(const Event& event, std::chrono::milliseconds limit)
{
    m_expected = event;
    m_expecting = !takeExpected(m_events.begin());
    if (m_expecting)
        m_pause.start(limit);
}

void Script::add(const Event& event)
{
    if (m_events.size() == EventLimit)
        m_events.pop_front();
    m_events.push_back(event);
    if (!m_expecting || event.what != m_expected.what)
        return;
    // What was there before did not match: only its last bytes can belong to a match.
    auto from = m_events.end() - 1;
    for (int missing = m_expected.bytes.size() - 1; missing > 0 && from != m_events.begin();) {
        --from;
        missing -= from->what == event.what ? from->bytes.size() : 0;
    }
    if (!takeExpected(from))
        return;
    m_expecting = false;
    wait(std::chrono::milliseconds::zero()); // the next command must not run inside the service's signal
}

// Bytes are looked for in everything that one direction carried, wherever the chunks' boundaries lie.
bool Script::takeExpected(std::deque<Event>::iterator from)
{
    QByteArray bytes;
    for (auto i = from; i != m_events.end(); ++i) {
        Event& event = *i;
        if (event.what != m_expected.what)
            continue;
        bytes.append(event.bytes);
        const int at = bytes.indexOf(m_expected.bytes);
        const auto shown = [&event](const QString& part) { return event.parts.contains(part); };
        if (at < 0 || !std::all_of(m_expected.parts.begin(), m_expected.parts.end(), shown))
            continue;
        event.bytes = bytes.mid(at + m_expected.bytes.size());
        m_events.erase(m_events.begin(), event.bytes.isEmpty() ? i + 1 : i);
        return true;
    }
    return false;
}

void Script::resume()
{
    if (m_expecting) {
        m_expecting = false;
        QString text = "expected " + toText(m_expected) + " in vain";
        for (const Event& event : m_events)
            text += "\n    " + toText(event);
        fail(ExpectationFailed, text + (m_events.empty() ? "; nothing came" : ""));
    }
    run();
}

void Script::fail(ExitCode code, const QString& text)
{
    if (m_origin.isEmpty())
        return note(text);
    note(QString("%1:%2: %3").arg(m_origin).arg(m_line).arg(text));
    end(code);
}

void Script::interrupt()
{
    m_notifier ? end(CleanEnd) : fail(ExpectationFailed, "interrupted");
}

void Script::end(ExitCode code)
{
    if (!m_ended)
        emit ended(code);
    m_ended = true;
}

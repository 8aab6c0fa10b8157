// Host calls in any order with any arguments, between good frames; and a host that does such things within
// the calls that the plug-in makes.

#include "session.h"

#include <QCoreApplication>
#include <QLoggingCategory>

#include <deque>

namespace {

constexpr int DeepestAct = 4;

QString argument(Input& input)
{
    const int kind = input.byte();
    const QByteArray bytes = input.bytes(4);
    int number = 0;
    for (const char byte : bytes)
        number = static_cast<int>(static_cast<unsigned>(number) << 8 | static_cast<unsigned char>(byte));
    if (kind < 64)
        return QString::number(number);
    if (kind < 128)
        return QStringLiteral("%1|%2").arg(number).arg(kind);
    return QString::fromLatin1(input.bytes(kind - 128));
}

/// What the host does within a call of the plug-in, the @p callsLeft -th from now on.
struct Act
{
    int callsLeft;
    std::function<void(Session&)> run;
};

std::function<void(Session&)> actFrom(Input& input)
{
    const int kind = input.byte();
    const QByteArray bytes = input.bytes(kind % 16);
    switch (kind / 52) {
    case 0:
        return [type = typeFromBox(kind), bytes](Session& session) { session.receive(frameOf(type, bytes)); };
    case 1:
        return [bytes](Session& session) { session.receive('\x2E' + bytes); };
    case 2:
        return [&operation = operations()[static_cast<size_t>(input.byte()) % operations().size()],
                arguments = QStringList{argument(input), argument(input), argument(input)}](
                   Session& session) { session.call(operation, arguments); };
    case 3:
        return [](Session&) { QCoreApplication::processEvents(); };
    default:
        return [](Session&) { RecordingHost::instance().service().deleteLater(); };
    }
}

/// Does what is due within a call.
class Mischief
{
public:
    explicit Mischief(Session& session)
        : m_session(session)
    {
    }
    ~Mischief() { RecordingHost::instance().onCall = nullptr; }
    Mischief(const Mischief&) = delete;
    Mischief& operator=(const Mischief&) = delete;

    void add(Act act)
    {
        m_acts.push_back(std::move(act));
        RecordingHost::instance().onCall = [this](const QString& call) { within(call); };
    }
    /// As long as time passes, nothing is done: the order of what falls due at one moment is nobody's affair.
    bool paused = false;

private:
    void within(const QString& call)
    {
        if (paused || m_depth >= DeepestAct || m_acts.empty() || --m_acts.front().callsLeft > 0 ||
            !RecordingHost::instance().hasService())
            return;
        const auto run = m_acts.front().run;
        m_acts.pop_front();
        ++m_depth;
        // What is logged within a message handler, Qt tells on stderr.
        const bool logs = RecordingHost::instance().logs();
        QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, logs && !call.startsWith('['));
        QLoggingCategory::defaultCategory()->setEnabled(QtCriticalMsg, logs && !call.startsWith('['));
        run(m_session);
        QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, logs);
        QLoggingCategory::defaultCategory()->setEnabled(QtCriticalMsg, logs);
        --m_depth;
    }

    Session& m_session;
    std::deque<Act> m_acts;
    int m_depth = 0;
};

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Input input(data, size);
    Session session;
    Mischief mischief(session);
    RecordingHost::instance().setLogs(input.byte() < 64);
    while (!input.atEnd()) {
        const auto step = static_cast<size_t>(input.byte());
        if (step < operations().size()) {
            session.call(operations()[step], {argument(input), argument(input), argument(input)});
        } else if (step < 0xC0) {
            session.receive(frameOf(typeFromBox(input.byte()), input.bytes(input.byte() % 16)));
        } else if (step < 0xF0) {
            const int calls = input.byte() % 32;
            mischief.add({calls, actFrom(input)});
        } else if (step < 0xF8) {
            RecordingHost::instance().carModel = input.byte();
        } else {
            mischief.paused = true;
            session.wait(input.byte() * Q_INT64_C(160));
            mischief.paused = false;
        }
    }
    mischief.paused = true;
    RecordingHost::instance().setLogs(false);
    session.inspect();
    return 0;
}

#include "conversation.h"

#include "description.h"
#include "operations.h"
#include "recordinghost.h"
#include "virtualclock.h"

#include <QFile>
#include <QLoggingCategory>
#include <QRegularExpression>

namespace {

QStringList words(const QString& line)
{
    static const QRegularExpression word(QStringLiteral("'([^']*)'|(\\S+)"));
    QStringList result;
    for (auto match = word.globalMatch(line); match.hasNext();) {
        const auto next = match.next();
        result.append(
            next.captured(next.lastCapturedIndex()).replace(QLatin1String("\\0"), QString(QChar(0))));
    }
    return result;
}

// The types of the frames to the box that go with the port's flag.
const QSet<int> flaggedTypes{0x81, 0x98, 0xC7, 0xE0, 0xE2};

/// The journal's lines for "TYPE DATA, TYPE DATA...", each beginning with @p verb.
QStringList writes(const QString& verb, const QString& frames)
{
    static const QRegularExpression quoted(QStringLiteral("'([^']*)'"));
    QStringList lines;
    for (QString text : frames.split(QStringLiteral(", "))) {
        for (auto match = quoted.match(text); match.hasMatch(); match = quoted.match(text)) {
            QString units;
            for (const QChar unit : match.captured(1))
                units += QStringLiteral("%1%2")
                             .arg(unit.cell(), 2, 16, QLatin1Char('0'))
                             .arg(unit.row(), 2, 16, QLatin1Char('0'));
            text.replace(match.capturedStart(), match.capturedLength(), units);
        }
        const QByteArray bytes = hex(text);
        const auto type = static_cast<unsigned char>(bytes.at(0));
        const protocol::Frame* frame = protocol::Description::standard().frame(type);
        if (!frame || bytes.size() > frame->length + 1)
            qFatal("no frame to the box is %s", qPrintable(text));
        const QByteArray data = bytes.mid(1).leftJustified(frame->length, '\0');
        lines.append(QStringLiteral("%1 %2 %3")
                         .arg(verb, QString::fromLatin1(frameOf(type, data).toHex(' ').toUpper()),
                              flaggedTypes.contains(type) ? "true" : "false"));
    }
    return lines;
}

QStringList expectedLines(const QString& line)
{
    if (line.startsWith(QLatin1String("sends ")))
        return writes(QStringLiteral("write"), line.mid(6));
    if (line.startsWith(QLatin1String("loses ")))
        return writes(QStringLiteral("lost"), line.mid(6));
    return {line};
}

// A good frame is acknowledged and reported alive before anything else is done about it.
QStringList withoutSignOfLife(const QStringList& lines, const QByteArray& frame)
{
    QStringList first{QStringLiteral("write FF true"), QStringLiteral("notifyCanbusStatus(3)")};
    if (QLoggingCategory::defaultCategory()->isDebugEnabled())
        first = QStringList{QStringLiteral("debug \"/plugins/test.so\""), "debug \"" + frame.toHex() + '"'} +
                first;
    if (lines.mid(0, first.size()) != first)
        return QStringList(QStringLiteral("not acknowledged and reported alive first:")) + lines;
    return lines.mid(first.size());
}

// Getters are asked with the log off: what they log and ask is not part of the step.
QStringList stateOf(RecordingHost& host)
{
    QLoggingCategory& category = *QLoggingCategory::defaultCategory();
    const bool debug = category.isDebugEnabled();
    const bool critical = category.isCriticalEnabled();
    const bool listsQuestions = std::exchange(host.listsQuestions, false);
    category.setEnabled(QtDebugMsg, false);
    category.setEnabled(QtCriticalMsg, false);
    const auto onCall = std::exchange(host.onCall, nullptr);
    QStringList lines = snapshot(host.service());
    host.onCall = onCall;
    category.setEnabled(QtDebugMsg, debug);
    category.setEnabled(QtCriticalMsg, critical);
    host.listsQuestions = listsQuestions;
    return lines;
}

/// What happens within the calls that the plug-in makes.
class Slots
{
public:
    explicit Slots(RecordingHost& host)
        : m_host(host)
    {
    }

    /// The steps for the next @p call.
    void add(const QString& call, const QStringList& steps) { m_acts.append({call, steps}); }
    /// The calls whose steps were not done.
    QStringList left() const;
    void called(const QString& call);

private:
    RecordingHost& m_host;
    QList<QPair<QString, QStringList>> m_acts;
};

/// Does what the step says. @return the result of a host call.
QString perform(RecordingHost& host, const QString& verb, const QStringList& arguments)
{
    const QString all = arguments.join(QLatin1Char(' '));
    if (verb == QLatin1String("box"))
        host.receiveFrame(arguments.value(0).toInt(nullptr, 16), hex(all.mid(2)));
    else if (verb == QLatin1String("chunk"))
        host.receive(hex(all));
    else if (verb == QLatin1String("wait"))
        VirtualClock::instance().advance(all.toLongLong());
    else if (verb == QLatin1String("call"))
        return operation(arguments.value(0)).call(host.service(), arguments.mid(1));
    else if (verb == QLatin1String("new"))
        host.shutDown(), host.create();
    else if (verb == QLatin1String("car"))
        host.carModel = all.toInt();
    else if (verb == QLatin1String("index"))
        host.carModelIndex = all.toInt();
    else if (verb == QLatin1String("position"))
        host.driverPosition = all.toInt();
    else if (verb == QLatin1String("text"))
        host.texts[arguments.value(0).toInt()] = arguments.value(1);
    else if (verb == QLatin1String("questions"))
        host.listsQuestions = all == QLatin1String("on");
    else if (verb == QLatin1String("logs")) {
        host.setLogs(all != QLatin1String("off"));
        if (all == QLatin1String("errors"))
            QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, false);
    } else
        qFatal("a conversation has no step \"%s\"", qPrintable(verb));
    return {};
}

QStringList Slots::left() const
{
    QStringList lines;
    for (const auto& act : m_acts)
        lines.append("never called: " + act.first);
    return lines;
}

void Slots::called(const QString& call)
{
    if (!m_acts.isEmpty() &&
        (call == m_acts.first().first || call.contains("::" + m_acts.first().first + '('))) {
        for (const QString& step : m_acts.takeFirst().second) {
            QStringList arguments = words(step);
            const QString verb = arguments.takeFirst();
            perform(m_host, verb, arguments);
        }
    }
}

/// Does @p step. @return what it brings about.
QStringList outcome(RecordingHost& host, Slots& inCalls, const Step& step, QStringList& state)
{
    QStringList arguments = words(step.text);
    const QString verb = arguments.takeFirst();
    QStringList results;
    if (verb == QLatin1String("in")) {
        const int colon = step.text.indexOf(QLatin1String(": "));
        inCalls.add(step.text.mid(3, colon - 3), step.text.mid(colon + 2).split(QStringLiteral("; ")));
    } else if (verb == QLatin1String("ask")) {
        for (const QString& line : step.expected) {
            const QString name = line.section(' ', 0, 0);
            results.append((name + ' ' + operation(name).call(host.service(), {})).trimmed());
        }
    } else {
        const QString result = perform(host, verb, arguments);
        if (!result.isEmpty())
            results.append((QStringLiteral("returns ") + result).trimmed());
    }
    QStringList lines = host.take();
    const QStringList newState = stateOf(host);
    if (verb == QLatin1String("box"))
        lines = withoutSignOfLife(lines,
                                  frameOf(arguments[0].toInt(nullptr, 16), hex(arguments.mid(1).join(' '))));
    // A change of the car or of the texts is no doing of the plug-in: what the getters make of it is not
    // listed.
    static const QStringList doings{"box", "chunk", "wait", "call"};
    if (doings.contains(verb))
        lines += changes(state, newState);
    state = newState;
    return lines + results;
}

} // namespace

std::vector<Scene> readConversation(const QString& fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        qFatal("cannot read %s", qPrintable(fileName));
    bool inside = !fileName.endsWith(QLatin1String(".md"));
    std::vector<Scene> scenes;
    for (int number = 1; !file.atEnd(); ++number) {
        const QString line = QString::fromUtf8(file.readLine()).remove(QLatin1Char('\n'));
        if (line.startsWith(QLatin1String("```"))) {
            inside = line == QLatin1String("```conversation");
        } else if (!inside || line.trimmed().isEmpty() || line.startsWith(QLatin1Char('#'))) {
            continue;
        } else if (line.startsWith(QLatin1String("== "))) {
            scenes.push_back({line.mid(3), {}});
        } else {
            QStringList parts = line.trimmed().split(QStringLiteral(" | "));
            if (!line.startsWith(QLatin1Char(' ')))
                scenes.back().steps.push_back({number, parts.takeFirst(), {}});
            for (const QString& part : qAsConst(parts))
                scenes.back().steps.back().expected.append(expectedLines(part));
        }
    }
    return scenes;
}

QString play(const Scene& scene)
{
    RecordingHost& host = RecordingHost::instance();
    host.restart();
    host.take();
    Slots inCalls(host);
    host.onCall = [&](const QString& call) { inCalls.called(call); };
    QStringList state = stateOf(host);
    QString difference;
    for (const Step& step : scene.steps) {
        QStringList actual = outcome(host, inCalls, step, state);
        if (&step == &scene.steps.back())
            actual += inCalls.left();
        if (actual == step.expected)
            continue;
        difference =
            QStringLiteral("line %1: %2\n  expected:\n    %3\n  came:\n    %4")
                .arg(QString::number(step.line), step.text, step.expected.join(QLatin1String("\n    ")),
                     actual.join(QLatin1String("\n    ")));
        break;
    }
    host.onCall = nullptr;
    return difference;
}

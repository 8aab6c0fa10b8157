#include "conversation.h"

#include "operations.h"
#include "recordinghost.h"
#include "virtualclock.h"

#include <QFile>
#include <QRegularExpression>

namespace {

QStringList words(const QString& line)
{
    static const QRegularExpression word(QStringLiteral("'([^']*)'|(\\S+)"));
    QStringList result;
    for (auto match = word.globalMatch(line); match.hasNext();) {
        const auto next = match.next();
        result.append(next.captured(next.lastCapturedIndex()));
    }
    return result;
}

// A good frame is acknowledged and reported alive before anything else is done about it.
QStringList withoutSignOfLife(QStringList lines)
{
    const QStringList signOfLife{QStringLiteral("write FF true"), QStringLiteral("notifyCanbusStatus(3)")};
    if (lines.mid(0, 2) != signOfLife)
        return QStringList(QStringLiteral("not acknowledged and reported alive first:")) + lines;
    return lines.mid(2);
}

// Getters are asked with the log off: what they log is not part of the step.
QStringList stateOf(RecordingHost& host)
{
    const bool logs = host.logs();
    host.setLogs(false);
    QStringList lines = snapshot(host.service());
    host.setLogs(logs);
    return lines;
}

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
    else if (verb == QLatin1String("car"))
        host.carModel = all.toInt();
    else if (verb == QLatin1String("index"))
        host.carModelIndex = all.toInt();
    else if (verb == QLatin1String("position"))
        host.driverPosition = all.toInt();
    else if (verb == QLatin1String("text"))
        host.texts[arguments.value(0).toInt()] = arguments.value(1);
    else if (verb == QLatin1String("logs"))
        host.setLogs(all == QLatin1String("on"));
    else
        qFatal("a conversation has no step \"%s\"", qPrintable(verb));
    return {};
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
        } else if (line.startsWith(QLatin1Char(' '))) {
            scenes.back().steps.back().expected.append(line.trimmed());
        } else {
            scenes.back().steps.push_back({number, line, {}});
        }
    }
    return scenes;
}

QString play(const Scene& scene)
{
    RecordingHost& host = RecordingHost::instance();
    host.restart();
    host.take();
    QStringList state = stateOf(host);
    for (const Step& step : scene.steps) {
        QStringList arguments = words(step.text);
        const QString verb = arguments.takeFirst();
        const QString result = perform(host, verb, arguments);
        QStringList actual = host.take();
        if (verb == QLatin1String("box") && !host.logs())
            actual = withoutSignOfLife(actual);
        const QStringList newState = stateOf(host);
        // A change of the car or of the texts is no doing of the plug-in: what the getters make of it is not
        // listed.
        if (verb == QLatin1String("box") || verb == QLatin1String("chunk") || verb == QLatin1String("wait") ||
            verb == QLatin1String("call"))
            actual += changes(state, newState);
        state = newState;
        if (!result.isEmpty())
            actual.append((QStringLiteral("returns ") + result).trimmed());
        if (actual != step.expected)
            return QStringLiteral("line %1: %2\n  expected:\n    %3\n  came:\n    %4")
                .arg(QString::number(step.line), step.text, step.expected.join(QLatin1String("\n    ")),
                     actual.join(QLatin1String("\n    ")));
    }
    return {};
}

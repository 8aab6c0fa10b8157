#include "report.h"

#include <utility>

namespace {

QJsonObject valuesOf(const QVector<Reading>& readings)
{
    QJsonObject values;
    for (const Reading& reading : readings)
        values[reading.name] = QJsonValue::fromVariant(reading.data);
    return values;
}

// The texts of that member that are not empty, by the readings' names.
template<typename Readings> QJsonObject textsOf(const Readings& readings, QString Reading::*member)
{
    QJsonObject texts;
    for (const Reading& reading : readings) {
        if (!(reading.*member).isEmpty())
            texts[reading.name] = reading.*member;
    }
    return texts;
}

double secondsSince(std::chrono::nanoseconds time)
{
    return std::chrono::duration<double>(now() - time).count();
}

QString lineOf(const KnownReading& reading)
{
    const QString line = QString("  %1 ").arg(reading.name, -22);
    if (reading.time)
        return line +
               QString("%1 %2 s ago").arg(reading.text(), -20).arg(secondsSince(*reading.time), 0, 'f', 1);
    const char* why = reading.isCarried ? "not received" : "in no frame";
    return line +
           QString("%1 reads as %2").arg(why, -20).arg(reading.text().isEmpty() ? "nothing" : reading.text());
}

QJsonObject jsonOf(const Traffic& traffic)
{
    const auto number = [](quint64 count) { return static_cast<qint64>(count); };
    return {{"bytes", number(traffic.bytes)},
            {"frames", number(traffic.frames)},
            {"badFrames", number(traffic.badFrames)},
            {"droppedBytes", number(traffic.dropped)},
            {"acknowledgements", number(traffic.acknowledgements)},
            {"rejections", number(traffic.rejections)}};
}

} // namespace

Report::Report(Print print, bool json, const QDateTime& date)
    : m_print(std::move(print))
    , m_begin(now())
    , m_lines(m_begin, date)
    , m_json(json)
{
}

QString Report::stamp() const
{
    return ::stamp(now() - m_begin);
}

void Report::restart(const QDateTime& date)
{
    m_begin = now();
    m_lines = JsonLines(m_begin, date);
}

void Report::print(const QString& line) const
{
    if (!m_isMuted)
        m_print(line);
}

void Report::printJson(const QJsonObject& object) const
{
    if (!m_isMuted)
        m_print(m_lines.line(object));
}

void Report::signal(const QString& name, const QVector<Reading>& arguments, const QVector<Reading>& changed,
                    const QStringList& parts) const
{
    if (m_json)
        return printJson({{"signal", name},
                          {"args", valuesOf(arguments)},
                          {"changed", valuesOf(changed)},
                          {"units", textsOf(changed, &Reading::unit)},
                          {"meanings", textsOf(arguments, &Reading::meaning)}});
    print((stamp() + ' ' + name + ' ' + parts.join(", ")).trimmed());
}

void Report::box(const QString& text) const
{
    if (m_json)
        return printJson({{"box", text}});
    for (const QString& line : text.split('\n'))
        print("box: " + line);
}

void Report::fault(const boxsim::Hit& hit) const
{
    if (m_json)
        return printJson(hit.keys());
    print("box: " + hit.text());
}

void Report::state(const QVector<KnownReading>& readings)
{
    QStringList lines;
    QJsonObject state;
    QJsonObject ages;
    for (const KnownReading& reading : readings) {
        QJsonObject topic = state[reading.topic].toObject();
        if (topic.isEmpty())
            lines.append(reading.topic);
        lines.append(lineOf(reading));
        if (reading.time)
            ages[reading.name] = secondsSince(*reading.time);
        topic[reading.name] = QJsonValue::fromVariant(reading.data);
        state[reading.topic] = topic;
    }
    m_answer["state"] = state;
    m_answer["units"] = textsOf(readings, &Reading::unit);
    m_answer["meanings"] = textsOf(readings, &Reading::meaning);
    m_answer["ages"] = ages;
    if (!m_json && lines.isEmpty())
        lines.append("nothing has changed, or no frame carries it; --all shows that too");
    if (!m_json)
        print(lines.join('\n'));
}

void Report::link(const LinkState& link)
{
    m_answer["link"] = QJsonObject{{"fromBox", jsonOf(link.fromBox())},
                                   {"toBox", jsonOf(link.toBox())},
                                   {"losses", link.losses()},
                                   {"frameRate", link.frameRate()},
                                   {"load", link.load()},
                                   {"diagnosis", link.diagnosis()}};
    if (!m_json)
        print((link.lines() << (link.diagnosis().isEmpty() ? "nothing is wrong" : link.diagnosis()))
                  .join('\n'));
}

void Report::result(const QString& command, const QVariant& value)
{
    m_answer["result"] = QJsonValue::fromVariant(value);
    if (!m_json)
        print(stamp() + ' ' + command + " returned " + value.toString());
}

void Report::text(const QString& text, const QString& teller)
{
    m_answer["text"] = text;
    if (!m_json)
        print(teller + QString(text).replace('\n', '\n' + teller));
}

void Report::answer(const QString& command, int line, const QString& key, const QString& text)
{
    if (!key.isEmpty())
        m_answer[key] = text;
    event(answerTo(command, line, std::exchange(m_answer, {})));
}

void Report::call(const QString& command, int line)
{
    QJsonObject call = answerTo(command, line, std::exchange(m_answer, {}));
    call["call"] = call.take("command");
    if (m_json)
        printJson(call);
}

void Report::event(const QJsonObject& keys) const
{
    if (m_json)
        m_print(m_lines.line(keys));
}

void Report::bytes(const QString& direction, const QString& hex, const std::vector<std::string>& units) const
{
    printJson({{"chunk", hex}, {"direction", direction}});
    for (const std::string& unit : units)
        print(m_lines.line(QByteArray::fromStdString(unit)));
}

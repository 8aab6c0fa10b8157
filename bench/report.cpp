#include "report.h"

#include "clock.h"

#include <QJsonDocument>

namespace {

constexpr int SchemaVersion = 1;

QJsonObject valuesOf(const QVector<Reading>& readings)
{
    QJsonObject values;
    for (const Reading& reading : readings)
        values[reading.name] = QJsonValue::fromVariant(reading.data);
    return values;
}

QJsonObject unitsOf(const QVector<Reading>& readings)
{
    QJsonObject units;
    for (const Reading& reading : readings) {
        if (!reading.unit.isEmpty())
            units[reading.name] = reading.unit;
    }
    return units;
}

} // namespace

Report::Report(Print print, bool json)
    : m_print(std::move(print))
    , m_begin(now())
    , m_json(json)
{
}

QString Report::stamp() const
{
    return ::stamp(now() - m_begin);
}

void Report::printJson(QJsonObject object) const
{
    object["v"] = SchemaVersion;
    object["time"] = std::chrono::duration<double>(now() - m_begin).count();
    m_print(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

void Report::signal(const QString& name, const QVector<Reading>& arguments, const QVector<Reading>& changed,
                    const QStringList& parts) const
{
    if (m_json)
        return printJson({{"signal", name},
                          {"args", valuesOf(arguments)},
                          {"changed", valuesOf(changed)},
                          {"units", unitsOf(changed)}});
    m_print((stamp() + ' ' + name + ' ' + parts.join(", ")).trimmed());
}

void Report::state(const QVector<Reading>& readings) const
{
    QStringList lines;
    QJsonObject state;
    for (const Reading& reading : readings) {
        QJsonObject topic = state[reading.topic].toObject();
        if (topic.isEmpty())
            lines.append(reading.topic);
        lines.append(QString("  %1 %2").arg(reading.name, -22).arg(reading.text()));
        topic[reading.name] = QJsonValue::fromVariant(reading.data);
        state[reading.topic] = topic;
    }
    if (m_json)
        return printJson({{"state", state}, {"units", unitsOf(readings)}});
    m_print(lines.join('\n'));
}

void Report::result(const QString& command, const QVariant& value) const
{
    if (m_json)
        return printJson({{"command", command}, {"result", QJsonValue::fromVariant(value)}});
    m_print(stamp() + ' ' + command + " returned " + value.toString());
}

void Report::text(const QString& text) const
{
    if (m_json)
        return printJson({{"text", text}});
    m_print(text);
}

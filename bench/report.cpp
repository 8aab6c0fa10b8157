#include "report.h"

#include <QJsonDocument>

#include <cerrno>
#include <iostream>

namespace {

constexpr int schemaVersion = 1;

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

Report::Report(bool json)
    : m_json(json)
{
    m_clock.start();
}

double Report::seconds() const
{
    return double(m_clock.nsecsElapsed()) / 1e9;
}

QString Report::stamp() const
{
    return QString("(%1)").arg(seconds(), 0, 'f', 6);
}

// Behind a line that could not be written no other one is.
void Report::print(const QString& line) const
{
    if (std::cout && !(std::cout << line.toStdString() << std::endl))
        onFailure(qt_error_string(errno));
}

void Report::printJson(QJsonObject object) const
{
    object["v"] = schemaVersion;
    object["time"] = seconds();
    print(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

void Report::signal(const QString& name, const QVector<Reading>& arguments, const QVector<Reading>& changed,
                    const QStringList& parts) const
{
    if (m_json)
        return printJson({{"signal", name},
                          {"args", valuesOf(arguments)},
                          {"changed", valuesOf(changed)},
                          {"units", unitsOf(changed)}});
    print((stamp() + ' ' + name + ' ' + parts.join(", ")).trimmed());
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
    print(lines.join('\n'));
}

void Report::result(const QString& command, const QVariant& value) const
{
    if (m_json)
        return printJson({{"command", command}, {"result", QJsonValue::fromVariant(value)}});
    print(stamp() + ' ' + command + " returned " + value.toString());
}

void Report::text(const QString& text) const
{
    if (m_json)
        return printJson({{"text", text}});
    print(text);
}

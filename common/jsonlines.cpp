#include "jsonlines.h"

#include "clock.h"
#include "words.h"

#include <QJsonArray>
#include <QJsonDocument>

using namespace std::chrono;

namespace {

constexpr int SchemaVersion = 1;

// Six digits.
QByteArray fractionOf(microseconds time)
{
    return QByteArray::number(static_cast<qint64>((time % 1s).count())).rightJustified(6, '0');
}

} // namespace

JsonLines::JsonLines(nanoseconds begin, const QDateTime& date)
    : m_begin(begin)
    , m_date(milliseconds(date.isValid() ? date.toMSecsSinceEpoch() : 0))
    , m_hasDate(date.isValid())
{
}

QString JsonLines::line(const QJsonObject& object) const
{
    return line(QJsonDocument(object).toJson(QJsonDocument::Compact).mid(1).chopped(1));
}

QString JsonLines::line(const QByteArray& keys) const
{
    const auto time = floor<microseconds>(now() - m_begin);
    QByteArray line = "{\"v\":" + QByteArray::number(SchemaVersion) +
                      ",\"time\":" + QByteArray::number(static_cast<qint64>(time / 1s)) + '.' +
                      fractionOf(time);
    if (m_hasDate)
        line += ",\"date\":\"" + textOf(m_date + time) + '"';
    return QString::fromUtf8(line + ',' + keys + '}');
}

// Most lines are of the same second as the one before, and a date takes long to put into words.
QByteArray JsonLines::textOf(microseconds date) const
{
    if (const auto second = floor<seconds>(date); second != m_second) {
        m_second = second;
        m_secondText =
            QDateTime::fromSecsSinceEpoch(second.count(), Qt::UTC).toString("yyyy-MM-ddTHH:mm:ss").toLatin1();
    }
    return m_secondText + '.' + fractionOf(date) + 'Z';
}

QJsonObject answerTo(const QString& command, int line, QJsonObject keys)
{
    QStringList words = wordsOf(command);
    keys["command"] = words.isEmpty() ? command : words.takeFirst();
    keys["arguments"] = QJsonArray::fromStringList(words);
    keys["line"] = line;
    return keys;
}

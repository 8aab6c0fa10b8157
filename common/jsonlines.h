#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QJsonObject>

#include <chrono>

/// Makes lines of JSON, one object each. They begin with the version of docs/events.schema.json, with the
/// time since a beginning in seconds and, where that is known, with the absolute time.
class JsonLines
{
public:
    /// Time 0 is @p begin, by now(), and was at @p date; an invalid one is not known.
    JsonLines(std::chrono::nanoseconds begin, const QDateTime& date);

    /// The line that has the keys of @p object too.
    QString line(const QJsonObject& object) const;
    /// The line that has @p keys too, as they stand between the braces.
    QString line(const QByteArray& keys) const;

private:
    QByteArray textOf(std::chrono::microseconds date) const;

    std::chrono::nanoseconds m_begin;
    std::chrono::microseconds m_date; // of time 0, since 1970
    bool m_hasDate;
    mutable std::chrono::seconds m_second{-1}; // the last one that was put into words, and these
    mutable QByteArray m_secondText;
};

/// What answers a @p command: its name, its arguments, the line of the input that it stands on, and @p keys.
QJsonObject answerTo(const QString& command, int line, QJsonObject keys);

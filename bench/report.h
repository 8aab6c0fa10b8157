#pragma once

#include "carstate.h"

#include <QJsonObject>

#include <chrono>
#include <functional>

/// Puts what canbench has to tell into lines, one an item, for people or as JSON.
class Report
{
public:
    using Print = std::function<void(const QString& line)>;

    Report(Print print, bool json);

    /// The time since the report's beginning, in the form (seconds.micros).
    QString stamp() const;

    /// A signal with its arguments and the values that it changed; @p parts are all of them as text.
    void signal(const QString& name, const QVector<Reading>& arguments, const QVector<Reading>& changed,
                const QStringList& parts) const;

    /// How the car is, grouped by topic.
    void state(const QVector<Reading>& readings) const;

    /// What the host's operation behind @p command returned.
    void result(const QString& command, const QVariant& value) const;

    /// Plain text, of one line or more.
    void text(const QString& text) const;

private:
    void printJson(QJsonObject object) const;

    Print m_print;
    std::chrono::nanoseconds m_begin; // by now()
    bool m_json;
};

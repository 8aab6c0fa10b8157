#pragma once

#include "carstate.h"

#include <QElapsedTimer>
#include <QJsonObject>

#include <functional>

/// Writes what canbench has to tell on standard output, one line an item, for people or as JSON.
class Report
{
public:
    explicit Report(bool json);

    /// The time since the program's start, in the form (seconds.micros).
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

    std::function<void(const QString& why)> onFailure; ///< called once, when a line cannot be written

private:
    double seconds() const; // since the program's start
    void print(const QString& line) const;
    void printJson(QJsonObject object) const;

    QElapsedTimer m_clock;
    bool m_json;
};

#pragma once

#include "canservicebase.h"

#include <QHash>
#include <QVariant>
#include <QVector>

/// A value as it was read.
struct Reading
{
    QString topic;
    QString name;  ///< no two values have the same
    QVariant data; ///< a bool, an int, a double or a text
    QString unit;  ///< empty where there is none

    /// The value as people read it, for example "21.5 ℃".
    QString text() const;

    /// The value with its name, for example "leftTemperature=21.5 ℃".
    QString assignment() const { return name + '=' + text(); }
};

/// Everything that the host can ask the service for, and how it was when last looked at.
class CarState
{
public:
    /// Reads everything.
    explicit CarState(CanServiceBase& service);

    /// The topics, in the order in which they are shown.
    static QStringList topics();

    /// The topic whose values @p signal announces; empty where it carries its values itself.
    static QString topicOf(const QString& signal);

    /// Reads the values of @p topic, or all of them when it is empty.
    QVector<Reading> read(const QString& topic = {}) const;

    /// Reads the values of @p topic. @return those that are not what they were when last read here.
    QVector<Reading> takeChanges(const QString& topic);

private:
    CanServiceBase& m_service;
    QHash<QString, Reading> m_known; // by name
};

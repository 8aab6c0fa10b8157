#pragma once

#include "canservicebase.h"

#include <QVariant>
#include <QVector>

#include <chrono>

/// A value as it was read.
struct Reading
{
    QString topic;
    QString name;  ///< no two values have the same
    QVariant data; ///< a bool, an int, a double or a text
    QString unit;  ///< empty where there is none
    /// In a word, of a number that stands for something else ("lowest"); mostly empty.
    QString meaning = {};

    /// The value as people read it, for example "21.5 ℃" or "3 alive".
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

    /// The topics whose values @p signal announces; none where it carries its values itself.
    static QStringList topicsOf(const QString& signal);

    /// The values of @p topic, or all of them when it is empty, as blanks: each a null of its type.
    static QVector<Reading> blanks(const QString& topic);

    /// Reads the values of @p topic, or all of them when it is empty.
    QVector<Reading> read(const QString& topic = {}) const;

    /// Reads the values of @p topic. @return those that are not what they were when last read here.
    QVector<Reading> takeChanges(const QString& topic);

    /// A reading as it was when last looked at.
    struct Seen
    {
        Reading reading;
        std::chrono::nanoseconds changed; ///< when it was found to have, by now(); 0 where it never was
    };
    QVector<Seen> seen() const;

private:
    struct Known
    {
        QVariant data;
        QString unit;
        std::chrono::nanoseconds changed{0};
    };

    CanServiceBase& m_service;
    QVector<Known> m_known; // in the order of all values
};

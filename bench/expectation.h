#pragma once

#include "carstate.h"

#include <QStringList>

#include <chrono>

/// Something that has happened: a signal with what its line shows, or bytes of one direction.
struct Event
{
    QString what;              ///< the signal's name, or "rx" or "tx"
    QVector<Reading> readings; ///< the signal's arguments and the values that it changed
    QByteArray bytes;
    std::chrono::nanoseconds time{0}; ///< since the report's beginning
};

/// What the value of a name has to be, as in fan>=3.
struct Condition
{
    QString name;
    QString comparison; ///< one of = != < <= > >=
    QVariant value;     ///< of the type of the readings of that name
    QString unit;       ///< which the reading must have; empty for any
    QString text;       ///< as it was written

    bool holds(const Reading& reading) const;
};

/// What a script can expect: an event or a state of the car, or that it stays away.
struct Expectation
{
    QString what;  ///< a signal's name, "rx", "tx" or "state"
    QString topic; ///< of a state
    QVector<Condition> conditions;
    QByteArray bytes;       ///< of rx or tx
    bool isAbsence = false; ///< it must not come
    std::chrono::milliseconds limit{0};
    QString text; ///< as it was written

    /// How many of the conditions hold in @p readings; a value that is not there holds none.
    int holding(const QVector<Reading>& readings) const;
    bool isMetBy(const QVector<Reading>& readings) const { return holding(readings) == conditions.size(); }
};

/// Reads the words behind expect: a signal, rx, tx or state, with "no" before it for its absence.
/// @throw CommandError where they are none
Expectation readExpectation(const QStringList& words);

/// What can stand behind the words @p before of an expectation; of a condition its name, as in fan=.
QStringList expectable(const QStringList& before);

/// All that an expectation can begin with, but "no": rx, tx, state and the signals.
QStringList expectableNames();

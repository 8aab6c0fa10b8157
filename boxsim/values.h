#pragma once

#include "car.h"

#include <QStringList>
#include <QVector>

namespace boxsim {

/// How a value of the car is read and set as a number: false and true are 0 and 1, an enumerator is its
/// place, a missing number is NaN. Where the value is one of several alike, @p choice tells which.
struct Access
{
    double (*get)(const Car& car, size_t choice);
    void (*set)(Car& car, size_t choice, double number);
    bool isSwitch; ///< false or true
};

/// Bits of a payload's byte. A mask of more than eight bits is of that byte and the next, high byte first.
struct Place
{
    int byte;
    int mask;
};

/// One value of the car: the statement that sets it, and where the frames carry it.
struct ValueRow
{
    const char* words;  ///< all of the statement but the value; one may be a choice
    const char* values; ///< what the value can be, in the syntax of the scenario language
    const char* help;
    QList<int> frames; ///< the types that carry it, at the same places
    Access access;
    QVector<Place> places; ///< one for each choice; none where the code is no plain number
    int scale = 1;         ///< of the number on the wire

    bool isIn(int type) const { return frames.contains(type); }

    /// Adds the value, or all of the choice, to @p payload.
    void put(const Car& car, QByteArray& payload) const;

    /// The statements that would set @p car's value.
    QStringList statements(const Car& car) const;
};

/// All values, in the order in which help lists them. Where two share bits, the frame carries both at once.
const QVector<ValueRow>& valueRows();

/// The row whose words are @p words.
const ValueRow& valueRow(const char* words);

/// The number that @p word stands for beside the numbers of a range: none, low or high.
Measured specialNumber(const QString& word);

/// How a statement writes @p number as the syntax element @p values.
QString wordFor(const QString& values, double number);

} // namespace boxsim

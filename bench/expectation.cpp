#include "expectation.h"

#include "arguments.h"

#include <QMetaMethod>
#include <QRegularExpression>

#include <algorithm>

namespace {

QVector<QMetaMethod> signalsOfCar()
{
    QVector<QMetaMethod> all;
    const QMetaObject& meta = CanServiceBase::staticMetaObject;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        if (meta.method(i).methodType() == QMetaMethod::Signal)
            all.append(meta.method(i));
    }
    return all;
}

// The arguments of a signal and the values that it announces, as blanks.
QVector<Reading> blanksOf(const QString& signal)
{
    QVector<Reading> blanks;
    for (const QMetaMethod& method : signalsOfCar()) {
        for (int i = 0; method.name() == signal && i < method.parameterCount(); ++i)
            blanks.append(
                {{}, method.parameterNames().at(i), QVariant(method.parameterType(i), nullptr), {}});
    }
    for (const QString& topic : CarState::topicsOf(signal))
        blanks += CarState::blanks(topic);
    return blanks;
}

// What conditions can be about, of a signal or of a state's topic, as blanks.
QVector<Reading> valuesOf(const QString& what, const QString& topic)
{
    return what == "state" ? CarState::blanks(topic) : blanksOf(what);
}

// Reads what a condition compares with, as a value of the type.
QVariant valueOf(const QString& text, QVariant::Type type)
{
    if (type == QVariant::String)
        return text;
    if (type == QVariant::Bool)
        return placeOf(text, {"false", "true"}) == 1;
    bool isNumber = false;
    const double number = text.toDouble(&isNumber);
    const std::optional<int> whole = numberOf(text);
    if (!whole && (type == QVariant::Int || !isNumber))
        throw CommandError{QString("\"%1\" is no %2number").arg(text, type == QVariant::Int ? "whole " : "")};
    return whole ? QVariant(*whole) : QVariant(number);
}

Condition readCondition(const QString& word, const QVector<Reading>& blanks)
{
    static const QRegularExpression form("^([^=!<>]*)(=|!=|<=?|>=?)(.*)$",
                                         QRegularExpression::DotMatchesEverythingOption);
    const auto match = form.match(word);
    if (!match.hasMatch())
        throw CommandError{
            QString("\"%1\" is no condition; write NAME=VALUE, or != < <= > >= for =").arg(word)};
    Condition condition{match.captured(1), match.captured(2), {}, {}, word};
    QStringList names;
    for (const Reading& blank : blanks)
        names.append(blank.name);
    if (names.isEmpty())
        throw CommandError{QString("\"%1\": this signal carries no values").arg(word)};
    const QVariant::Type type = blanks[placeOf(condition.name, names)].data.type();
    const bool isNumber = type == QVariant::Int || type == QVariant::Double;
    if (!isNumber && condition.comparison != "=" && condition.comparison != "!=")
        throw CommandError{QString("%1 is no number; compare it with = or !=").arg(condition.name)};
    const QString value = match.captured(3);
    condition.unit = isNumber ? value.section(' ', 1) : QString();
    try {
        condition.value = valueOf(isNumber ? value.section(' ', 0, 0) : value, type);
    } catch (const CommandError& error) {
        throw CommandError{condition.name + ": " + error.text};
    }
    return condition;
}

// Takes the words "within TIME" or "for TIME" from the end.
std::chrono::milliseconds takeLimit(QStringList& words, bool isAbsence)
{
    const QString limit = words.takeLast();
    if (words.isEmpty() || words.takeLast() != (isAbsence ? "for" : "within"))
        throw CommandError{isAbsence ? "the absence of something ends with a time, as in for 1s"
                                     : "an expectation ends with a time, as in within 1s"};
    return durationOf(limit);
}

} // namespace

bool Condition::holds(const Reading& reading) const
{
    if (reading.name != name || (!unit.isEmpty() && reading.unit != unit))
        return false;
    if (comparison == "=" || comparison == "!=")
        return (reading.data == value) == (comparison == "=");
    const double is = reading.data.toDouble();
    const double limit = value.toDouble();
    if (comparison.startsWith('<'))
        return comparison == "<" ? is < limit : is <= limit;
    return comparison == ">" ? is > limit : is >= limit;
}

int Expectation::holding(const QVector<Reading>& readings) const
{
    const auto holds = [&readings](const Condition& condition) {
        return std::any_of(readings.begin(), readings.end(),
                           [&condition](const Reading& reading) { return condition.holds(reading); });
    };
    return static_cast<int>(std::count_if(conditions.begin(), conditions.end(), holds));
}

Expectation readExpectation(const QStringList& words)
{
    Expectation expectation;
    QStringList rest = words;
    expectation.text = words.join(' ');
    expectation.isAbsence = rest.constFirst() == "no";
    if (expectation.isAbsence)
        rest.removeFirst();
    expectation.limit = takeLimit(rest, expectation.isAbsence);
    expectation.what = rest.isEmpty() ? QString() : rest.takeFirst();
    const int place = placeOf(expectation.what, expectableNames());
    if (place < 2) {
        expectation.bytes = bytesOf(rest.join(QString()));
        return expectation;
    }
    if (expectation.what == "state") {
        expectation.topic = rest.isEmpty() ? QString() : rest.takeFirst();
        placeOf(expectation.topic, CarState::topics());
        if (rest.isEmpty())
            throw CommandError{"a state is expected by its values, as in state climate fan>=3"};
    }
    const QVector<Reading> blanks = valuesOf(expectation.what, expectation.topic);
    for (const QString& word : qAsConst(rest))
        expectation.conditions.append(readCondition(word, blanks));
    return expectation;
}

QStringList expectable(const QStringList& before)
{
    if (before.isEmpty())
        return expectableNames() + QStringList("no");
    const bool isAbsence = before.constFirst() == "no";
    const QStringList words = before.mid(isAbsence ? 1 : 0);
    if (words.isEmpty())
        return expectableNames();
    if (words == QStringList("state"))
        return CarState::topics();
    QStringList candidates(isAbsence ? "for" : "within");
    for (const Reading& value : valuesOf(words[0], words.value(1)))
        candidates.append(value.name + '=');
    return candidates;
}

QStringList expectableNames()
{
    QStringList names{"rx", "tx", "state"};
    for (const QMetaMethod& method : signalsOfCar())
        names.append(method.name());
    return names;
}

#pragma once

#include "box.h"
#include "words.h"

#include <QString>
#include <QVector>

#include <functional>

namespace boxsim {

/// What a scenario can wait for.
struct Awaited
{
    enum Event { Nothing, Start, LinkUp, FrameTaken };
    Event event = Nothing;
    int type = 0; ///< of the frame of the head unit
};

/// What the statements work on: the box, and what it stands in.
struct Simulation
{
    Box& box;
    std::function<void(const QString&)> show = [](const QString&) {}; ///< tells whoever typed the statement
    std::function<void()> hangUp = [] {}; ///< closes the line and opens another one
    std::function<void(const Awaited&)> await = [](const Awaited&) {}; ///< holds the scenario
    std::function<void()> loop = [] {};                                ///< plays it from its start again
    std::function<void()> quit = [] {};
    std::function<void(const QString&)> log = [](const QString&) {}; ///< is told each statement that is run
};

/// The words of a statement that carry a value.
struct Arguments
{
    QVector<double> numbers; ///< numbers, times in ms, and the indexes of chosen words
    QByteArray bytes;        ///< a text in UTF-8, or the bytes given in hex

    int integer(int i) const { return static_cast<int>(numbers[i]); }
    size_t index(int i) const { return static_cast<size_t>(numbers[i]); }
};

/// One statement of the scenario language.
///
/// The syntax is a row of words: "closed|open" is one of these; "<0..7>" a whole number and "<0.0..25.5>" one
/// with decimals, behind which "none", "low" and "high" stand for NaN and the infinities; "<text>" is any
/// text, "<time>" a time such as 2s or 500ms, "<period>" one from 1 ms on, "<times>" a time or a range as in
/// 50ms..200ms, "<chance>" one as 1% or 1/1000, "<hex>..." bytes in hex up to the end of the line.
struct Statement
{
    QString syntax;
    QString help;
    std::function<void(Simulation&, const Arguments&)> run;
    bool isOfProgram = false;                                   ///< works the program boxsim, not the box
    std::function<QString(const Arguments&)> mistake = nullptr; ///< what is wrong with words that each fit
    bool isFault = false;                                       ///< turns a fault on that stays
    bool isOfCar = false; ///< sets values of the car, which Ranges::Ignored lets out of their ranges
};

/// All statements, in the order in which help lists them.
const QVector<Statement>& statements();

/// A statement with its arguments, or the reason why there is none.
struct Parsed
{
    const Statement* statement = nullptr;
    Arguments arguments;
    QString error; ///< tells what was expected
    QString line;  ///< as it was written; not known of mere words

    void run(Simulation& simulation) const;
    /// Runs it for somebody who has typed it. @return what it shows them, mostly nothing
    QString answer(Simulation simulation) const;
};

/// Reads one line of the scenario language, without the time that a scenario file puts in front of it.
Parsed parse(const QString& line, Ranges ranges = Ranges::Kept);
/// Reads the words of such a line.
Parsed parse(const QStringList& words, Ranges ranges = Ranges::Kept);

/// The words that can stand behind @p before, as far as they are known.
QStringList candidates(const QStringList& before);

/// The statements that have @p word in their words or their help, in any case; all have the empty one.
QVector<const Statement*> statementsWith(const QString& word);

/// The words that a statement can have, but values.
QStringList statementWords();

/// What the @p statements do.
QString statementHelp(const QVector<const Statement*>& statements);

} // namespace boxsim

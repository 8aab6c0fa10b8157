#pragma once

#include "box.h"

#include <QString>
#include <QStringList>
#include <QVariantList>

#include <functional>

namespace boxsim {

/// One statement of the scenario language.
///
/// The syntax is a row of words: "open|closed" is one of these, its value the index; "<0..7>" a whole number
/// and
/// "<0.0..25.5>" one with decimals, "|none" behind it stands for NaN; "<text>" any text, "<time>" a time such
/// as 2s or 500ms, its value in ms, "<hex>..." bytes in hex up to the end. Single words carry no value.
struct Statement
{
    QString syntax;
    QString help;
    std::function<void(Box&, const QVariantList& values)> run;
};

/// All statements, in the order in which help lists them.
const QVector<Statement>& statements();

/// A statement with its values, or the reason why there is none.
struct Parsed
{
    const Statement* statement = nullptr;
    QVariantList values;
    QString error; ///< tells what was expected

    void run(Box& box) const { statement->run(box, values); }
};

/// Reads one line of the scenario language, without the time that a scenario file puts in front of it.
Parsed parse(const QString& line);

/// The list of all statements with what they do.
QString statementHelp();

} // namespace boxsim

#include "statement.h"

#include "headunit.h"
#include "values.h"

#include <QRegularExpression>

#include <cmath>

namespace boxsim {

namespace {

struct Abbreviation
{
    const char* word;
    const char* full;
};

// Short words that may stand for the full ones wherever a full one is allowed.
constexpr Abbreviation abbreviations[] = {
    {"fl", "front-left"}, {"fr", "front-right"}, {"rl", "rear-left"}, {"rr", "rear-right"}};

// The word for the frame whose type @p hex tells.
QString wordOfFrame(const QString& hex)
{
    const int type = hex.toInt(nullptr, 16);
    if (frameTypes().contains(type))
        return frameWord(type);
    for (const HeadUnitFrame& frame : headUnitFrames())
        if (frame.type == type)
            return frame.word;
    return hex;
}

QString fullWord(const QString& word)
{
    for (const Abbreviation& row : abbreviations)
        if (word == row.word)
            return row.full;
    return word.startsWith("0x", Qt::CaseInsensitive) ? wordOfFrame(word) : word;
}

bool takeChoice(const QStringList& choices, const QString& word, Arguments& out)
{
    for (int i = 0; i < choices.size(); ++i) {
        if (choices[i].compare(fullWord(word), Qt::CaseInsensitive) != 0)
            continue;
        if (choices.size() > 1)
            out.numbers.append(i);
        return true;
    }
    return false;
}

// How a word fits an element of the syntax.
enum class Fit { None, OutOfRange, Full };

// Takes a number of the range @p low to @p high; a point in the limits allows one in the number. One out of
// the range is none where it is so large that what is made of it would be no int.
Fit takeNumber(const QString& low, const QString& high, const QString& word, Arguments& out)
{
    constexpr double MostByForce = 1'000'000;
    const std::optional<int> whole = numberOf(word);
    bool ok = whole.has_value();
    const double value = low.contains('.') && !ok ? word.toDouble(&ok) : whole.value_or(0);
    const bool isInside = value >= low.toDouble() && value <= high.toDouble();
    if (!ok || !(isInside || std::abs(value) <= MostByForce)) // it may be "nan"
        return Fit::None;
    out.numbers.append(value);
    return isInside ? Fit::Full : Fit::OutOfRange;
}

bool takeTime(const QString& word, Arguments& out)
{
    const std::optional<std::chrono::milliseconds> time = timeOf(word);
    if (time)
        out.numbers.append(static_cast<double>(time->count()));
    return time.has_value();
}

bool takePeriod(const QString& word, Arguments& out)
{
    return takeTime(word, out) && out.numbers.last() >= 1;
}

bool takeTimes(const QString& word, Arguments& out)
{
    const std::optional<QVector<double>> times = timesOf(word);
    out.numbers += times.value_or(QVector<double>());
    return times.has_value();
}

bool takeChance(const QString& word, Arguments& out)
{
    const std::optional<double> chance = chanceOf(word);
    if (chance)
        out.numbers.append(*chance);
    return chance.has_value();
}

bool takeHex(const QString& word, Arguments& out)
{
    const QByteArray bytes = QByteArray::fromHex(word.toLatin1());
    out.bytes += bytes;
    return QLatin1String(bytes.toHex()).compare(word, Qt::CaseInsensitive) == 0;
}

// Takes @p word as an element that is no range. @return false when it does not fit.
bool takeWord(const QString& element, const QString& word, Arguments& out)
{
    if (element == "<text>") {
        out.bytes = word.toUtf8();
        return true;
    }
    if (element == "<time>")
        return takeTime(word, out);
    if (element == "<period>")
        return takePeriod(word, out);
    if (element == "<times>")
        return takeTimes(word, out);
    if (element == "<chance>")
        return takeChance(word, out);
    if (element == "<hex>...")
        return takeHex(word, out);
    return takeChoice(element.split('|'), word, out);
}

// Takes @p word as the syntax element @p element.
Fit take(const QString& element, const QString& word, Arguments& out)
{
    static const QRegularExpression range("^<([\\d.]+)\\.\\.([\\d.]+)>");
    const QRegularExpressionMatch match = range.match(element);
    if (!match.hasMatch())
        return takeWord(element, word, out) ? Fit::Full : Fit::None;
    const Measured special = specialNumber(word);
    if (!special || !element.split('|').contains(word))
        return takeNumber(match.captured(1), match.captured(2), word, out);
    out.numbers.append(*special);
    return Fit::Full;
}

// A statement that fits the words read so far.
struct Candidate
{
    const Statement* statement;
    QStringList elements;
    Arguments arguments;
    QString mistake = {}; // the first number out of its range

    // The element for the word @p i; empty behind the last one.
    QString element(int i) const
    {
        const bool goesOn = i >= elements.size() && elements.last().endsWith("...");
        return goesOn ? elements.last() : elements.value(i);
    }
};

QVector<Candidate> allStatements()
{
    QVector<Candidate> candidates;
    for (const Statement& statement : statements())
        candidates.append({&statement, statement.syntax.split(' '), {}});
    return candidates;
}

// What could stand at the word @p i.
QStringList choices(const QVector<Candidate>& candidates, int i)
{
    QStringList all;
    for (const Candidate& candidate : candidates) {
        const QString element = candidate.element(i);
        all += element.isEmpty() ? QStringList("the end of the line") : element.split('|');
    }
    all.removeDuplicates();
    return all;
}

QString expected(const QStringList& choices)
{
    return "expected " + choices.join(", ");
}

// What is wrong with @p word, which is none of the choices.
QString refusal(const QString& word, const QStringList& choices)
{
    const QString remedy = meant(word, choices);
    return QString("\"%1\": %2").arg(word, remedy.isEmpty() ? expected(choices) : remedy);
}

// What is wrong with @p word, a number out of the range that the element @p i of the @p candidate has.
QString outOfRange(const QString& word, const Candidate& candidate, int i)
{
    const QStringList choices = candidate.element(i).split('|');
    const QString rest = candidate.elements.mid(i + 1).join(' ');
    const QString text = QString("\"%1\": %2 %3").arg(word, expected(choices), rest).trimmed();
    return candidate.statement->isOfCar ? text + ForceRemedy : text;
}

// Those of the @p candidates that the word @p i fits.
QVector<Candidate> fitting(const QVector<Candidate>& candidates, int i, const QString& word, Ranges ranges)
{
    QVector<Candidate> fitting;
    for (Candidate candidate : candidates) {
        const Fit fit = take(candidate.element(i), word, candidate.arguments);
        const bool isForced = ranges == Ranges::Ignored && candidate.statement->isOfCar;
        if (fit == Fit::OutOfRange && !isForced && candidate.mistake.isEmpty())
            candidate.mistake = outOfRange(word, candidate, i);
        if (fit != Fit::None)
            fitting.append(candidate);
    }
    return fitting;
}

// The statement of the first of the @p candidates, which fit all words, that has no mistake; else the mistake
// of the first.
Parsed chosen(const QVector<Candidate>& candidates)
{
    for (const Candidate& candidate : candidates) {
        if (!candidate.mistake.isEmpty())
            continue;
        const auto& mistake = candidate.statement->mistake;
        const QString error = mistake ? mistake(candidate.arguments) : QString();
        return error.isEmpty() ? Parsed{candidate.statement, candidate.arguments, {}, {}}
                               : Parsed{nullptr, {}, error, {}};
    }
    return {nullptr, {}, candidates.first().mistake, {}};
}

} // namespace

Parsed parse(const QString& line, Ranges ranges)
{
    Parsed parsed{nullptr, {}, QString("a quote is not closed") + ForceRemedy, {}};
    if (ranges == Ranges::Ignored || !hasOpenQuote(line))
        parsed = parse(wordsOf(line), ranges);
    parsed.line = line.trimmed();
    return parsed;
}

// Follows the words through the syntax of all statements at once, so that it can tell what fits at a
// mistake.
Parsed parse(const QStringList& words, Ranges ranges)
{
    QVector<Candidate> candidates = allStatements();
    for (int i = 0; i < words.size(); ++i) {
        const QVector<Candidate> left = fitting(candidates, i, words[i], ranges);
        if (left.isEmpty())
            return {nullptr, {}, refusal(words[i], choices(candidates, i)), {}};
        candidates = left;
    }
    QVector<Candidate> complete;
    for (const Candidate& candidate : qAsConst(candidates))
        if (words.size() >= candidate.elements.size())
            complete.append(candidate);
    if (complete.isEmpty())
        return {nullptr, {}, "the line ends too early: " + expected(choices(candidates, words.size())), {}};
    return chosen(complete);
}

QStringList candidates(const QStringList& before)
{
    QVector<Candidate> left = allStatements();
    for (int i = 0; i < before.size(); ++i)
        left = fitting(left, i, before[i], Ranges::Kept);
    QStringList words;
    for (const Candidate& candidate : qAsConst(left))
        for (const QString& word : candidate.element(before.size()).split('|', Qt::SkipEmptyParts))
            if (!word.startsWith('<'))
                words.append(word);
    words.removeDuplicates();
    return words;
}

void Parsed::run(Simulation& simulation) const
{
    simulation.log(line);
    statement->run(simulation, arguments);
}

QString Parsed::answer(Simulation simulation) const
{
    QString shown;
    simulation.show = [&shown](const QString& text) { shown = text; };
    run(simulation);
    return shown;
}

QVector<const Statement*> statementsWith(const QString& word)
{
    QVector<const Statement*> found;
    for (const Statement& statement : statements())
        if ((statement.syntax + ' ' + statement.help).contains(word, Qt::CaseInsensitive))
            found.append(&statement);
    return found;
}

QStringList statementWords()
{
    static const QRegularExpression separators("[ |]");
    static const QRegularExpression name("^[a-z]");
    QStringList words;
    for (const Statement& statement : statements())
        words += statement.syntax.split(separators).filter(name);
    words.removeDuplicates();
    return words;
}

QString statementHelp(const QVector<const Statement*>& statements)
{
    QStringList lines;
    for (const Statement* statement : statements)
        lines.append(QString("%1\n    %2").arg(statement->syntax, statement->help));
    lines.append("fl, fr, rl and rr stand for front-left and so on, a type in hex as 0x28 for a frame. Quote "
                 "a text that has blanks; a quote in it is three quotes.");
    lines.append(
        "<chance> is 1% or 1/1000, <time> and <period> are 2s or 500ms, <times> is that or 50ms..200ms.");
    return lines.join('\n');
}

} // namespace boxsim

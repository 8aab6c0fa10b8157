#include "statement.h"

#include "headunit.h"
#include "values.h"
#include "words.h"

#include <QRegularExpression>

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

// Takes a number of the range @p low to @p high; a point in the limits allows one in the number.
bool takeNumber(const QString& low, const QString& high, const QString& word, Arguments& out)
{
    const bool isHex = word.startsWith("0x");
    bool ok = false;
    const double value = low.contains('.') ? word.toDouble(&ok) : word.toInt(&ok, isHex ? 16 : 10);
    if (!ok || !(value >= low.toDouble() && value <= high.toDouble()))
        return false;
    out.numbers.append(value);
    return true;
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

// Takes @p word as the syntax element @p element. @return false when it does not fit.
bool take(const QString& element, const QString& word, Arguments& out)
{
    static const QRegularExpression range("^<([\\d.]+)\\.\\.([\\d.]+)>");
    const QRegularExpressionMatch match = range.match(element);
    if (match.hasMatch()) {
        const Measured special = specialNumber(word);
        if (special && element.split('|').contains(word)) {
            out.numbers.append(*special);
            return true;
        }
        return takeNumber(match.captured(1), match.captured(2), word, out);
    }
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

// A statement that fits the words read so far.
struct Candidate
{
    const Statement* statement;
    QStringList elements;
    Arguments arguments;

    // The element for the word @p i; empty behind the last one.
    QString element(int i) const
    {
        const bool goesOn = i >= elements.size() && elements.last().endsWith("...");
        return goesOn ? elements.last() : elements.value(i);
    }
};

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

// @p parsed or, where its arguments do not go together, why.
Parsed checked(const Parsed& parsed)
{
    const auto& mistake = parsed.statement->mistake;
    const QString error = mistake ? mistake(parsed.arguments) : QString();
    return error.isEmpty() ? parsed : Parsed{nullptr, {}, error, {}};
}

} // namespace

Parsed parse(const QString& line)
{
    Parsed parsed = parse(wordsOf(line));
    parsed.line = line.trimmed();
    return parsed;
}

// Follows the words through the syntax of all statements at once, so that it can tell what fits at a
// mistake.
Parsed parse(const QStringList& words)
{
    QVector<Candidate> candidates;
    for (const Statement& statement : statements())
        candidates.append({&statement, statement.syntax.split(' '), {}});
    for (int i = 0; i < words.size(); ++i) {
        QVector<Candidate> fitting;
        for (Candidate candidate : qAsConst(candidates))
            if (take(candidate.element(i), words[i], candidate.arguments))
                fitting.append(candidate);
        if (fitting.isEmpty())
            return {nullptr, {}, refusal(words[i], choices(candidates, i)), {}};
        candidates = fitting;
    }
    for (const Candidate& candidate : qAsConst(candidates))
        if (words.size() >= candidate.elements.size())
            return checked({candidate.statement, candidate.arguments, {}, {}});
    return {nullptr, {}, "the line ends too early: " + expected(choices(candidates, words.size())), {}};
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

QString statementHelp()
{
    QStringList lines;
    for (const Statement& statement : statements())
        lines.append(QString("%1\n    %2").arg(statement.syntax, statement.help));
    lines.append("fl, fr, rl and rr stand for front-left and so on, a type in hex as 0x28 for a frame. Quote "
                 "a text that has blanks; "
                 "a quote in it is three quotes.");
    lines.append(
        "<chance> is 1% or 1/1000, <time> and <period> are 2s or 500ms, <times> is that or 50ms..200ms.");
    return lines.join('\n');
}

} // namespace boxsim

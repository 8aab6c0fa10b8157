#include "statement.h"

#include <QRegularExpression>

#include <array>
#include <cmath>
#include <limits>

namespace boxsim {

namespace {

struct Abbreviation
{
    const char* word;
    const char* full;
};

// Short words that may stand for the full ones wherever a full one is allowed.
constexpr std::array abbreviations{Abbreviation{"fl", "front-left"}, Abbreviation{"fr", "front-right"},
                                   Abbreviation{"rl", "rear-left"}, Abbreviation{"rr", "rear-right"}};

struct SpecialValue
{
    const char* word;
    double value;
};

constexpr double Infinity = std::numeric_limits<double>::infinity();
constexpr std::array specialValues{SpecialValue{"none", std::numeric_limits<double>::quiet_NaN()},
                                   SpecialValue{"low", -Infinity}, SpecialValue{"high", Infinity}};

QString fullWord(const QString& word)
{
    for (const Abbreviation& row : abbreviations)
        if (word == QLatin1String(row.word))
            return QLatin1String(row.full);
    return word;
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

/// Takes a number of the range @p low to @p high; a point in the limits allows one in the number.
bool takeNumber(const QString& low, const QString& high, const QString& word, Arguments& out)
{
    const bool isHex = word.startsWith(QLatin1String("0x"));
    bool ok = false;
    const double value = low.contains('.') ? word.toDouble(&ok) : word.toInt(&ok, isHex ? 16 : 10);
    if (!ok || !(value >= low.toDouble() && value <= high.toDouble()))
        return false;
    out.numbers.append(value);
    return true;
}

bool takeTime(const QString& word, Arguments& out)
{
    static const QRegularExpression form(QStringLiteral("^(\\d{1,5}(?:\\.\\d+)?)(s|ms)$"));
    const QRegularExpressionMatch match = form.match(word);
    if (match.hasMatch())
        out.numbers.append(match.captured(1).toDouble() *
                           (match.captured(2) == QLatin1String("s") ? 1000 : 1));
    return match.hasMatch();
}

bool takeHex(const QString& word, Arguments& out)
{
    const QByteArray bytes = QByteArray::fromHex(word.toLatin1());
    out.bytes += bytes;
    return QLatin1String(bytes.toHex()).compare(word, Qt::CaseInsensitive) == 0;
}

/// Takes @p word as the syntax element @p element. @return false when it does not fit.
bool take(const QString& element, const QString& word, Arguments& out)
{
    static const QRegularExpression range(QStringLiteral("^<([\\d.]+)\\.\\.([\\d.]+)>"));
    const QRegularExpressionMatch match = range.match(element);
    if (match.hasMatch()) {
        for (const SpecialValue& row : specialValues) {
            if (word != QLatin1String(row.word) || !element.split('|').contains(word))
                continue;
            out.numbers.append(row.value);
            return true;
        }
        return takeNumber(match.captured(1), match.captured(2), word, out);
    }
    if (element == QLatin1String("<text>")) {
        out.bytes = word.toUtf8();
        return true;
    }
    if (element == QLatin1String("<time>"))
        return takeTime(word, out);
    if (element == QLatin1String("<hex>..."))
        return takeHex(word, out);
    return takeChoice(element.split('|'), word, out);
}

/// The words of @p line stand between blanks; double quotes keep blanks in a word, and three in a row are one
/// of its own.
QStringList wordsOf(QString line)
{
    static const QRegularExpression word(QStringLiteral(R"(("[^"]*("|$)|[^"\s])+)"));
    const QChar quote = QChar::ObjectReplacementCharacter;
    line.replace(QStringLiteral(R"(""")"), QString(quote));
    QStringList words;
    for (auto i = word.globalMatch(line); i.hasNext();)
        words.append(i.next().captured().remove('"').replace(quote, '"'));
    return words;
}

/// A statement that fits the words read so far.
struct Candidate
{
    const Statement* statement;
    QStringList elements;
    Arguments arguments;

    /// The element for the word @p i; empty behind the last one.
    QString element(int i) const
    {
        const bool goesOn = i >= elements.size() && elements.last().endsWith(QLatin1String("..."));
        return goesOn ? elements.last() : elements.value(i);
    }
};

QString expected(const QVector<Candidate>& candidates, int i)
{
    QStringList all;
    for (const Candidate& candidate : candidates) {
        const QString element = candidate.element(i);
        all += element.isEmpty() ? QStringList(QStringLiteral("the end of the line")) : element.split('|');
    }
    all.removeDuplicates();
    return QStringLiteral("expected ") + all.join(QStringLiteral(", "));
}

} // namespace

/// Follows the words through the syntax of all statements at once, so that it can tell what fits at a
/// mistake.
Parsed parse(const QString& line)
{
    const QStringList words = wordsOf(line);
    QVector<Candidate> candidates;
    for (const Statement& statement : statements())
        candidates.append({&statement, statement.syntax.split(' '), {}});
    for (int i = 0; i < words.size(); ++i) {
        QVector<Candidate> fitting;
        for (Candidate candidate : qAsConst(candidates))
            if (take(candidate.element(i), words[i], candidate.arguments))
                fitting.append(candidate);
        if (fitting.isEmpty())
            return {nullptr, {}, QStringLiteral("\"%1\": %2").arg(words[i], expected(candidates, i))};
        candidates = fitting;
    }
    for (const Candidate& candidate : qAsConst(candidates))
        if (words.size() >= candidate.elements.size())
            return {candidate.statement, candidate.arguments, {}};
    return {nullptr, {}, QStringLiteral("the line ends too early: ") + expected(candidates, words.size())};
}

QString wordFor(const QString& element, double value)
{
    for (const SpecialValue& row : specialValues)
        if (value == row.value || (std::isnan(value) && std::isnan(row.value)))
            return QLatin1String(row.word);
    return element.contains('<') ? QString::number(value, 'g', 6)
                                 : element.split('|').value(static_cast<int>(value));
}

QString statementHelp()
{
    QStringList lines;
    for (const Statement& statement : statements())
        lines.append(QStringLiteral("%1\n    %2").arg(statement.syntax, statement.help));
    lines.append(
        QStringLiteral("fl, fr, rl and rr stand for front-left and so on. Quote a text that has blanks; "
                       "a quote in it is three quotes."));
    return lines.join('\n');
}

} // namespace boxsim

#include "words.h"

#include <QRegularExpression>
#include <QVector>

#include <algorithm>
#include <cmath>

namespace {

// How many characters have to be inserted, removed, replaced or exchanged with the next one to get from one
// word to the other.
int distance(const QString& from, const QString& to)
{
    QVector<QVector<int>> rows(from.size() + 1, QVector<int>(to.size() + 1));
    for (int i = 0; i <= from.size(); ++i) {
        for (int j = 0; j <= to.size(); ++j) {
            int& best = rows[i][j];
            if (i == 0 || j == 0) {
                best = i + j;
                continue;
            }
            const int replaced = rows[i - 1][j - 1] + (from[i - 1] == to[j - 1] ? 0 : 1);
            best = std::min({rows[i - 1][j] + 1, rows[i][j - 1] + 1, replaced});
            if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1])
                best = std::min(best, rows[i - 2][j - 2] + 1);
        }
    }
    return rows[from.size()][to.size()];
}

} // namespace

QStringList wordsOf(QString line)
{
    static const QRegularExpression word(R"(("[^"]*("|$)|[^"\s])+)");
    const QChar quote = QChar::ObjectReplacementCharacter;
    line.replace(R"(""")", quote);
    QStringList words;
    for (auto i = word.globalMatch(line); i.hasNext();)
        words.append(i.next().captured().remove('"').replace(quote, '"'));
    return words;
}

bool hasOpenQuote(QString line)
{
    return line.remove(R"(""")").count('"') % 2 == 1;
}

std::optional<std::chrono::milliseconds> captureTimeOf(const QString& word)
{
    return timeOf(word.endsWith('s') ? word : word + 's');
}

std::optional<double> speedOf(const QString& word)
{
    if (word == "max")
        return 0;
    bool valid = false;
    const double speed = word.toDouble(&valid);
    return valid && speed >= 0.01 && speed <= 1000 ? std::optional(speed) : std::nullopt;
}

std::optional<std::chrono::milliseconds> timeOf(const QString& word)
{
    static const QRegularExpression form("^(\\d{1,6}(?:\\.\\d+)?)(ms|s)$");
    const auto match = form.match(word);
    if (!match.hasMatch())
        return std::nullopt;
    const int unit = match.captured(2) == "s" ? 1000 : 1;
    return std::chrono::milliseconds(std::lround(match.captured(1).toDouble() * unit));
}

QString wordOf(std::chrono::milliseconds time)
{
    constexpr std::chrono::milliseconds::rep MostDigits = 999999;
    if (time.count() <= MostDigits)
        return QString("%1ms").arg(time.count());
    return QString("%1s").arg(std::chrono::duration<double>(time).count(), 0, 'f', 3);
}

std::optional<int> numberOf(const QString& word)
{
    bool isNumber = false;
    const int number = word.toInt(&isNumber, word.startsWith("0x", Qt::CaseInsensitive) ? 16 : 10);
    return isNumber ? std::optional(number) : std::nullopt;
}

QString nearest(const QString& word, const QStringList& words)
{
    const QString lower = word.toLower();
    int least = (word.size() + 1) / 3 + 1; // more is another word
    QString found;
    for (const QString& other : words) {
        const bool isBegun = !word.isEmpty() && other.startsWith(word, Qt::CaseInsensitive);
        if (!isBegun && std::abs(other.size() - word.size()) >= least) // whatever it is
            continue;
        const int far = isBegun ? 0 : distance(lower, other.toLower());
        if (far < least) {
            least = far;
            found = other;
        }
    }
    return found;
}

QString meant(const QString& word, const QStringList& words)
{
    const QString found = nearest(word, words);
    return found.isEmpty() ? QString() : QString("did you mean \"%1\"?").arg(found);
}

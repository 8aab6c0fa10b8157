#include "words.h"

#include <QRegularExpression>

#include <cmath>

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

std::optional<std::chrono::milliseconds> timeOf(const QString& word)
{
    static const QRegularExpression form("^(\\d{1,6}(?:\\.\\d+)?)(ms|s)$");
    const auto match = form.match(word);
    if (!match.hasMatch())
        return std::nullopt;
    const int unit = match.captured(2) == "s" ? 1000 : 1;
    return std::chrono::milliseconds(std::lround(match.captured(1).toDouble() * unit));
}

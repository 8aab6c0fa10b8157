#include "arguments.h"

#include <QRegularExpression>

QString unknown(const QString& word, const QStringList& words, const QString& remedy)
{
    const QString near = meant(word, words);
    return QString("unknown \"%1\"; %2").arg(word, near.isEmpty() ? remedy : near);
}

int placeOf(const QString& word, const QStringList& words)
{
    const int place = words.indexOf(word);
    if (place >= 0)
        return place;
    throw CommandError{unknown(word, words, "known: " + words.join(", "))};
}

QByteArray bytesOf(const QString& hex)
{
    static const QRegularExpression pairs("^([0-9A-Fa-f]{2})+$");
    if (!pairs.match(hex).hasMatch())
        throw CommandError{
            QString("\"%1\" is no sequence of bytes; write two hexadecimal digits each").arg(hex)};
    return QByteArray::fromHex(hex.toLatin1());
}

std::chrono::milliseconds durationOf(const QString& word)
{
    const std::optional<std::chrono::milliseconds> time = timeOf(word);
    if (!time)
        throw CommandError{
            QString("\"%1\" is no time; write 500ms or 1.5s, with up to six digits before the point")
                .arg(word)};
    return *time;
}

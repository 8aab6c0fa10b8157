#pragma once

#include "words.h"

/// Thrown by a command that cannot be carried out, with what is wrong and what would be right.
struct CommandError
{
    QString text;
};

/// What is wrong with @p word, which is none of @p words: the nearest is told, or @p remedy where none is.
QString unknown(const QString& word, const QStringList& words, const QString& remedy);

/// Where @p word stands among @p words. @throw CommandError where it does not, with the nearest or all of
/// them
int placeOf(const QString& word, const QStringList& words);

/// The bytes that @p hex tells. @throw CommandError where they are none
QByteArray bytesOf(const QString& hex);

/// The time that @p word tells, as timeOf() does. @throw CommandError where it tells none
std::chrono::milliseconds durationOf(const QString& word);

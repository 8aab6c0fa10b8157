#pragma once

#include <QStringList>

#include <chrono>
#include <optional>

/// Whether values out of their range are refused, or taken all the same, as --force has it.
enum class Ranges { Kept, Ignored };

/// What is added to the refusal of such a value.
constexpr char ForceRemedy[] = "; --force takes it all the same";

/// The words of @p line stand between blanks; double quotes keep blanks in a word, and three in a row are one
/// of its own.
QStringList wordsOf(QString line);

/// Whether the last double quote of @p line is not closed.
bool hasOpenQuote(QString line);

/// The time that @p word tells, as timeOf() does, or in plain seconds.
std::optional<std::chrono::milliseconds> captureTimeOf(const QString& word);

/// The speed that @p word tells: from 0.01 to 1000, or max, for which 0 stands.
std::optional<double> speedOf(const QString& word);

/// The time that @p word tells, as in 500ms or 1.5s, with up to six digits before the point.
std::optional<std::chrono::milliseconds> timeOf(const QString& word);

/// The word that tells @p time, as timeOf() reads it.
QString wordOf(std::chrono::milliseconds time);

/// The whole number that @p word tells, decimal, or hexadecimal behind 0x.
std::optional<int> numberOf(const QString& word);

/// The one of @p words that @p word begins, or the nearest; empty where none is near.
QString nearest(const QString& word, const QStringList& words);

/// What may have been meant by @p word, which is none of @p words: the nearest, as in did you mean "door"?
/// Empty where none is near.
QString meant(const QString& word, const QStringList& words);

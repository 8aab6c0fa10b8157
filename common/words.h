#pragma once

#include <QStringList>

#include <chrono>
#include <optional>

/// The words of @p line stand between blanks; double quotes keep blanks in a word, and three in a row are one
/// of its own.
QStringList wordsOf(QString line);

/// The time that @p word tells, as timeOf() does, or in plain seconds.
std::optional<std::chrono::milliseconds> captureTimeOf(const QString& word);

/// The speed that @p word tells: from 0.01 to 1000, or max, for which 0 stands.
std::optional<double> speedOf(const QString& word);

/// The time that @p word tells, as in 500ms or 1.5s, with up to six digits before the point.
std::optional<std::chrono::milliseconds> timeOf(const QString& word);

/// The word that tells @p time, as timeOf() reads it.
QString wordOf(std::chrono::milliseconds time);

/// What may have been meant by @p word, which is none of @p words: one that it begins, or the nearest, as in
/// did you mean "door"? Empty where none is near.
QString meant(const QString& word, const QStringList& words);

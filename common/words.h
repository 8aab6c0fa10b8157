#pragma once

#include <QStringList>

#include <chrono>
#include <optional>

/// The words of @p line stand between blanks; double quotes keep blanks in a word, and three in a row are one
/// of its own.
QStringList wordsOf(QString line);

/// The time that @p word tells, as in 500ms or 1.5s, with up to six digits before the point.
std::optional<std::chrono::milliseconds> timeOf(const QString& word);

#pragma once

#include <QStringList>

/// The languages that there are texts for.
QStringList languages();

/// Makes @p language, one of languages(), what Translator answers in.
void selectLanguage(const QString& language);

#pragma once

#include <QString>

/// The host's table of translated texts.
class Q_DECL_EXPORT Translator
{
public:
    /// The text with the host's string id @p id, in the language that the head unit is set to.
    static QString translate(int id);
};

#pragma once

#include <QString>

/// Writes one of canbench's own messages on standard error.
void note(const QString& text);

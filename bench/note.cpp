#include "note.h"

#include <iostream>

void note(const QString& text)
{
    std::cerr << "canbench: " << text.toStdString() << '\n';
}

#include "linewatch.h"

LineWatch& LineWatch::instance()
{
    static LineWatch watch;
    return watch;
}

LineWatch::LineWatch()
{
    connect(this, &LineWatch::absent, this, [this](const QString& why) { absence = why; });
    connect(this, &LineWatch::present, this, [this] { absence.clear(); });
}

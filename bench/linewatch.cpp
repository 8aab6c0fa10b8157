#include "linewatch.h"

LineWatch& LineWatch::instance()
{
    static LineWatch watch;
    return watch;
}

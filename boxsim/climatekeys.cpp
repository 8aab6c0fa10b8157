#include "climatekeys.h"

#include <algorithm>
#include <limits>

namespace boxsim {

namespace {

constexpr double Infinity = std::numeric_limits<double>::infinity();
constexpr double Coldest = 15.0;
constexpr double Warmest = 32.0;
constexpr int HighestCode = 7; // of fan and wind

double toggled(double value)
{
    return value != 0 ? 0 : 1;
}
double faster(double fan)
{
    return std::min<double>(fan + 1, HighestCode);
}
double slower(double fan)
{
    return std::max<double>(fan - 1, 0);
}
double nextWind(double wind)
{
    return wind < HighestCode ? wind + 1 : 0;
}
double previousWind(double wind)
{
    return wind > 0 ? wind - 1 : HighestCode;
}

// Seats go through the codes of their four levels: off, 1, 2 and 4.
double nextLevel(double level)
{
    return level < 1 ? 1 : level < 4 ? level * 2 : 0;
}

// Temperatures move by half a degree; beyond the scale stand "low" and "high".
double warmer(double degrees)
{
    const double next = std::max(degrees + 0.5, Coldest);
    if (next > Warmest)
        return Infinity;
    return next;
}

double colder(double degrees)
{
    const double next = std::min(degrees - 0.5, Warmest);
    return next < Coldest ? -Infinity : next;
}

constexpr ClimateKey keys[] = {
    {0x01, 0, 0x80, "climate power", toggled},
    {0x17, 0, 0x02, "climate ac", toggled},
    {0x10, 1, 0x08, "climate dual", toggled},
    {0x15, 0, 0x20, "climate auto", toggled},
    {0x19, 2, 0x01, "climate inside-air", toggled},
    {0x13, 0, 0x10, "climate front-defrost", toggled},
    {0x14, 1, 0x04, "climate rear-defrost", toggled},
    {0x00, 0, 0x40, "climate max-ac", toggled},
    {0x2A, 5, 0x08, "climate glass-heat", toggled},
    {0x0A, 1, 0x02, "climate fan", faster},
    {0x09, 1, 0x01, "climate fan", slower},
    {0x08, 0, 0x00, "climate wind", nextWind},
    {0x07, 0, 0x00, "climate wind", previousWind},
    {0x03, 3, 0x02, "climate left", warmer},
    {0x02, 3, 0x01, "climate left", colder},
    {0x05, 4, 0x02, "climate right", warmer},
    {0x04, 4, 0x01, "climate right", colder},
    {0x0C, 2, 0x40, "seat left heat", nextLevel},
    {0x0E, 2, 0x20, "seat right heat", nextLevel},
    {0x0B, 2, 0x10, "seat left ventilation", nextLevel},
    {0x0D, 2, 0x04, "seat right ventilation", nextLevel},
};

} // namespace

const ClimateKey* climateKey(int command)
{
    for (const ClimateKey& key : keys)
        if (key.command == command && command != 0)
            return &key;
    return nullptr;
}

QVector<const ClimateKey*> climateKeys(const QByteArray& bitField)
{
    QVector<const ClimateKey*> pressed;
    for (const ClimateKey& key : keys)
        if (bitField[key.byte] & key.mask)
            pressed.append(&key);
    return pressed;
}

} // namespace boxsim

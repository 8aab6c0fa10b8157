#include "climate.h"

#include <cmath>

namespace boxsim {

namespace {

constexpr double InitialDegrees = 22.0;

int halfDegrees(double degrees)
{
    return qRound(degrees * 2);
}
int fahrenheit(double degrees)
{
    return qRound(degrees * 1.8 + 32.0);
}

int frontCode(double degrees, bool inFahrenheit)
{
    if (std::isinf(degrees))
        return degrees < 0 ? 0 : inFahrenheit ? 0xFF : 0x1F;
    if (inFahrenheit)
        return fahrenheit(degrees);
    const int half = halfDegrees(degrees);
    if (half >= 2 * 18)
        return half - 2 * 18 + 0x01;
    return half >= 2 * 16 ? half - 2 * 16 + 0x20 : half - 2 * 15 + 0x24;
}

/// The rear scale begins at 16.0 degrees Celsius or at 60 Fahrenheit.
int rearCode(double degrees, bool inFahrenheit)
{
    return inFahrenheit ? fahrenheit(degrees) - 59 : halfDegrees(degrees) - 2 * 16 + 1;
}

} // namespace

Climate::Climate()
{
    values.fill(0);
    values[climateIndex("climate power")] = 1;
    values[climateIndex("climate fan")] = 2;
    for (std::string_view zone : {"climate left", "climate right", "climate rear"})
        values[climateIndex(zone)] = InitialDegrees;
}

QByteArray Climate::payload() const
{
    std::array<int, SeatBytes + 5> bytes{};
    for (size_t i = 0; i < climateFields.size(); ++i) {
        const ClimateField& field = climateFields[i];
        if (field.mask != 0)
            bytes[static_cast<size_t>(field.byte)] |=
                static_cast<int>(values[i]) * (field.mask & -field.mask);
    }
    bytes[0] ^= 0x80; // on the wire the power bit tells "off"
    bytes[2] = frontCode(value("climate left"), value("climate fahrenheit") != 0);
    bytes[3] = frontCode(value("climate right"), value("climate fahrenheit") != 0);
    bytes[7] |= rearCode(value("climate rear"), value("climate show") != 0);
    QByteArray out;
    for (int byte : bytes)
        out.append(static_cast<char>(byte));
    return out;
}

} // namespace boxsim

#include "climate.h"

#include <QtGlobal>

#include <cmath>

namespace boxsim {

namespace {

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

// The rear scale begins at 16.0 degrees Celsius or at 60 Fahrenheit.
int rearCode(double degrees, bool inFahrenheit)
{
    return inFahrenheit ? fahrenheit(degrees) - 59 : halfDegrees(degrees) - 2 * 16 + 1;
}

void add(QByteArray& payload, int byte, int code)
{
    payload[byte] = static_cast<char>(payload[byte] | code);
}

} // namespace

void addTemperatures(const Climate& climate, QByteArray& payload)
{
    add(payload, 2, frontCode(climate.left, climate.fahrenheit));
    add(payload, 3, frontCode(climate.right, climate.fahrenheit));
    add(payload, 7, rearCode(climate.rear, climate.showRequest));
}

} // namespace boxsim

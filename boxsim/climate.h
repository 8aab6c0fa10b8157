#pragma once

#include <QByteArray>

namespace boxsim {

/// The climate and the seats of a car. Temperatures are degrees Celsius; "low" and "high" are the infinities.
/// Air distributions, seat levels and the profile are the codes of the wire.
struct Climate
{
    bool power = true;
    bool ac = false;
    bool insideAir = false;
    bool automatic = false;
    bool dual = false;
    int wind = 0;
    bool steeringWheelHeat = false;
    bool showRequest = false; ///< also makes the rear temperature Fahrenheit
    int fan = 2;
    double left = 22;
    double right = 22;
    bool frontDefrost = false;
    bool rearDefrost = false;
    bool maxAc = false;
    bool rearClimate = false;
    bool fahrenheit = false; ///< the unit in which the front temperatures are sent
    bool glassHeat = false;
    int profile = 0;
    bool rearPower = false;
    double rear = 22;
    int rearLeftHeat = 0;
    int rearRightHeat = 0;
    int rearWind = 0;
    int rearFan = 0;
    int secondWind = 0;
    int leftHeat = 0;
    int rightHeat = 0;
    int leftVentilation = 0;
    int rightVentilation = 0;
};

/// Puts the temperatures of @p climate into the climate frame's @p payload. Their codes depend on the unit.
void addTemperatures(const Climate& climate, QByteArray& payload);

} // namespace boxsim

#include "car.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace boxsim {

namespace {

constexpr int NoValue = 0xFFFF;
constexpr int NoPressure = 0xFF;

/// One byte a value; the values are whole numbers.
template<typename... Values> QByteArray bytes(Values... values)
{
    const std::array all{static_cast<char>(static_cast<int>(values))...};
    return QByteArray(all.data(), static_cast<int>(all.size()));
}

/// @p value times @p scale in two bytes, high byte first.
QByteArray word(double value, int scale)
{
    const int raw = std::isnan(value) ? NoValue : qRound(value * scale);
    return bytes(raw >> 8, raw);
}

QByteArray radar(const std::array<double, 4>& levels)
{
    return bytes(levels[0], levels[1], levels[2], levels[3]);
}

QByteArray trip(const Car& car)
{
    return word(car.trip[0], 10) + word(car.trip[1], 1) + word(car.trip[2], 1) + bytes(car.tripUnit) +
           word(car.trip[3], 1);
}

QByteArray fuelHistory(const Car& car)
{
    QByteArray payload = bytes(car.fuelUnit);
    for (double value : car.fuelHistory)
        payload += word(value, 10);
    return payload;
}

QByteArray baseInfo(const Car& car)
{
    constexpr std::array doorBits{0x40, 0x80, 0x10, 0x20, 0x08};
    double open = 0;
    for (size_t door = 0; door < doorBits.size(); ++door)
        open += car.doors[door] * doorBits[door];
    return bytes(open, car.drivingPosition * 0x08);
}

QByteArray tyres(const Car& car)
{
    constexpr int Valid = 0x84;
    QByteArray payload = bytes(car.tyreUnit + car.tyresValid * Valid);
    const double step = tyreUnits[static_cast<size_t>(car.tyreUnit)].step;
    for (double pressure : car.tyrePressures)
        payload +=
            bytes(std::isnan(pressure) ? NoPressure : std::min(qRound(pressure / step), NoPressure - 1));
    return payload + bytes(0);
}

struct BoxFrame
{
    int type;
    const char* name;
    QByteArray (*payload)(const Car&);
};

constexpr std::array boxFrames{
    BoxFrame{FrameType::FrontRadar, "front radar", [](const Car& car) { return radar(car.frontRadar); }},
    BoxFrame{FrameType::RearRadar, "rear radar",
             [](const Car& car) { return radar(car.rearRadar) + bytes(car.otherInfo * 0x20); }},
    BoxFrame{FrameType::SteeringWheelKey, "steering-wheel key", [](const Car& car) { return car.keys[0]; }},
    BoxFrame{FrameType::Trip, "trip", trip},
    BoxFrame{FrameType::InstantFuel, "instantaneous fuel consumption",
             [](const Car& car) { return bytes(car.fuelUnit) + word(car.instantFuel, 10); }},
    BoxFrame{FrameType::FuelHistory, "fuel consumption history", fuelHistory},
    BoxFrame{FrameType::BaseInfo, "base info", baseInfo},
    BoxFrame{FrameType::Tyres, "tyres", tyres},
    BoxFrame{FrameType::Climate, "climate", [](const Car& car) { return car.climate.climatePayload(); }},
    BoxFrame{FrameType::PanelKey, "panel key", [](const Car& car) { return car.keys[1]; }},
    BoxFrame{FrameType::BluetoothKey, "Bluetooth key", [](const Car& car) { return car.keys[2]; }},
    BoxFrame{FrameType::Version, "version", [](const Car& car) { return car.version; }},
    BoxFrame{FrameType::SystemInfo, "system info",
             [](const Car& car) { return bytes(car.cameraMode * 0x04, 0); }},
    BoxFrame{FrameType::Seats, "seats", [](const Car& car) { return car.climate.seatPayload(); }},
};

const BoxFrame* find(int type)
{
    for (const BoxFrame& frame : boxFrames)
        if (frame.type == type)
            return &frame;
    return nullptr;
}

} // namespace

std::optional<QByteArray> Car::payload(int type) const
{
    const BoxFrame* frame = find(type);
    return frame ? std::optional(frame->payload(*this)) : std::nullopt;
}

QString frameName(int type)
{
    const BoxFrame* frame = find(type);
    return frame ? QString::fromLatin1(frame->name) : QStringLiteral("unknown frame");
}

QList<int> frameTypes()
{
    QList<int> types;
    for (const BoxFrame& frame : boxFrames)
        types.append(frame.type);
    return types;
}

} // namespace boxsim

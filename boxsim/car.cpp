#include "car.h"

#include "values.h"

#include <algorithm>

namespace boxsim {

namespace {

// A unit of tyre pressure, in the order of TyreUnit.
struct Pressure
{
    double kPa;  // one unit
    double step; // what one step on the wire is worth, in kPa
};

constexpr Pressure pressures[] = {{100.0, 10.0}, {6.894757, 6.894757}, {1.0, 2.5}};

constexpr int NoPressure = 0xFF;

const Pressure& pressureIn(TyreUnit unit)
{
    return pressures[static_cast<size_t>(unit)];
}

void addPressures(const Car& car, QByteArray& payload)
{
    int byte = 1;
    for (const Measured& kPa : car.tyrePressures) {
        const double steps = kPa.value_or(0) / pressureIn(car.tyreUnit).step;
        payload[byte++] = static_cast<char>(kPa ? std::min(qRound(steps), NoPressure - 1) : NoPressure);
    }
}

void addClimate(const Car& car, QByteArray& payload)
{
    payload[0] = static_cast<char>(payload[0] ^ 0x80); // on the wire the power bit tells "off"
    addTemperatures(car.climate, payload);
}

template<size_t Index> void addKey(const Car& car, QByteArray& payload)
{
    payload[0] = static_cast<char>(car.keys[Index].code);
    payload[1] = static_cast<char>(car.keys[Index].pressed);
}

// What no row of valueRows() can tell is added to the payload.
struct Addition
{
    int type;
    void (*add)(const Car&, QByteArray& payload);
};

constexpr Addition additions[] = {
    {FrameType::SteeringWheelKey, addKey<0>},
    {FrameType::Tyres, addPressures},
    {FrameType::Climate, addClimate},
    {FrameType::PanelKey, addKey<1>},
    {FrameType::BluetoothKey, addKey<2>},
    {FrameType::Version, [](const Car& car, QByteArray& payload) { payload = car.version; }},
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
    if (!frame)
        return std::nullopt;
    QByteArray payload(frame->size, 0);
    for (const ValueRow& row : valueRows())
        if (row.isIn(type))
            row.put(*this, payload);
    for (const Addition& addition : additions)
        if (addition.type == type)
            addition.add(*this, payload);
    return payload;
}

QString frameName(int type)
{
    const BoxFrame* frame = find(type);
    return frame ? frame->name : "unknown frame";
}

QList<int> frameTypes()
{
    QList<int> types;
    for (const BoxFrame& frame : boxFrames)
        types.append(frame.type);
    return types;
}

QString frameWord(int type)
{
    return frameName(type).toLower().replace(' ', '-');
}

QStringList frameWords()
{
    QStringList words;
    for (const BoxFrame& frame : boxFrames)
        words.append(frameWord(frame.type));
    return words;
}

double inKPa(TyreUnit unit)
{
    return pressureIn(unit).kPa;
}

double highestIn(TyreUnit unit)
{
    return (NoPressure - 1) * pressureIn(unit).step / pressureIn(unit).kPa;
}

} // namespace boxsim

#pragma once

#include "climate.h"

#include <QByteArray>
#include <QList>
#include <QStringList>

#include <array>
#include <optional>

namespace boxsim {

/// The frame types that the box sends.
namespace FrameType {
constexpr int FrontRadar = 0x1D;
constexpr int RearRadar = 0x1E;
constexpr int SteeringWheelKey = 0x20;
constexpr int Trip = 0x21;
constexpr int InstantFuel = 0x22;
constexpr int FuelHistory = 0x23;
constexpr int BaseInfo = 0x24;
constexpr int Tyres = 0x25;
constexpr int Climate = 0x28;
constexpr int PanelKey = 0x2A;
constexpr int BluetoothKey = 0x2F;
constexpr int Version = 0x30;
constexpr int SystemInfo = 0x32;
constexpr int Seats = 0x58;
} // namespace FrameType

/// A frame of the box. valueRows() tell where in it the car's values stand; it is filled up with zeros.
struct BoxFrame
{
    int type;
    const char* name;
    int size; ///< of the payload
};

constexpr BoxFrame boxFrames[] = {
    {FrameType::FrontRadar, "front radar", 4},
    {FrameType::RearRadar, "rear radar", 5},
    {FrameType::SteeringWheelKey, "steering-wheel key", 2},
    {FrameType::Trip, "trip", 9},
    {FrameType::InstantFuel, "instantaneous fuel consumption", 3},
    {FrameType::FuelHistory, "fuel consumption history", 11},
    {FrameType::BaseInfo, "base info", 2},
    {FrameType::Tyres, "tyres", 6},
    {FrameType::Climate, "climate", 10},
    {FrameType::PanelKey, "panel key", 2},
    {FrameType::BluetoothKey, "Bluetooth key", 2},
    {FrameType::Version, "version", 0},
    {FrameType::SystemInfo, "system info", 2},
    {FrameType::Seats, "seats", 5},
};

/// What the frame @p type of the box is about.
QString frameName(int type);

/// The word of the scenario language for it, as base-info.
QString frameWord(int type);

/// All frame types of the box, in ascending order.
QList<int> frameTypes();

/// The words for these, in the same order.
QStringList frameWords();

/// The units of tyre pressure, as the tyre frame codes them.
enum class TyreUnit { Bar, Psi, KPa };

/// How many kPa one @p unit is.
double inKPa(TyreUnit unit);

/// The highest pressure that the tyre frame tells in @p unit.
double highestIn(TyreUnit unit);

/// A number that may be missing, and is reported as such then.
using Measured = std::optional<double>;

/// Where a key is. Each place has a frame of its own.
enum class KeyPad { SteeringWheel, Panel, Bluetooth };

/// A key, as its frame tells it.
struct Key
{
    int code = 0;
    bool pressed = false;
};

/// The simulated car, as its decoder box knows it.
struct Car
{
    std::array<bool, 5> doors{};     ///< whether open: front left, front right, rear left, rear right, back
    int drivingPosition = 0;         ///< 0 or 1
    std::array<int, 4> frontRadar{}; ///< left to right: 0 no obstacle, 1 nearest to 5 farthest
    std::array<int, 4> rearRadar{};
    bool otherInfo = false; ///< chooses the text that comes with the rear radar
    std::array<Measured, 4> tyrePressures{230, 230, 240, 240}; ///< kPa: doors' order
    TyreUnit tyreUnit = TyreUnit::Bar;
    bool tyresValid = true;
    Measured tripA = 29.1;
    std::array<Measured, 3> tripBToD{45, 500, 100};
    int tripUnit = 1; ///< as it is coded on the wire
    Measured instantFuel = 7.2;
    std::array<Measured, 5> fuelHistory{6.8, 7.1, 6.5, 7.4, 6.9};
    int fuelUnit = 2; ///< as it is coded on the wire
    Climate climate;
    std::array<Key, 3> keys{};           ///< the last one of each KeyPad
    QByteArray version = "BOXSIM 1.0";   ///< UTF-8, 255 bytes at most
    int cameraMode = 0;                  ///< 0 or 1
    std::array<QString, 4> clusterTexts; ///< what the instrument cluster was told of the source, items 1 to 4

    /// The payload of the frame @p type with the car's present state; nothing when the box has no such frame.
    std::optional<QByteArray> payload(int type) const;
};

} // namespace boxsim

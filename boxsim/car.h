#pragma once

#include "climate.h"

#include <QByteArray>
#include <QList>
#include <QString>

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

/// What the frame @p type of the box is about.
QString frameName(int type);

/// All frame types of the box, in ascending order.
QList<int> frameTypes();

/// A unit of tyre pressure, as the tyre frame codes it.
struct TyreUnit
{
    double kPa;  ///< one unit
    double step; ///< what one step on the wire is worth, in kPa
};

/// bar, psi and kPa: the units by their code on the wire.
inline constexpr std::array tyreUnits{TyreUnit{100.0, 10.0}, TyreUnit{6.894757, 6.894757},
                                      TyreUnit{1.0, 2.5}};

/// The simulated car, as its decoder box knows it. Every value that a statement sets to a number is a double;
/// NaN is reported as a missing value.
struct Car
{
    std::array<double, 5> doors{};      ///< front left, front right, rear left, rear right, back: 1 open
    double drivingPosition = 0;         ///< 0 or 1
    std::array<double, 4> frontRadar{}; ///< left to right: 0 no obstacle, 1 nearest to 5 farthest
    std::array<double, 4> rearRadar{};
    double otherInfo = 0; ///< 0 or 1, chooses the text that comes with the rear radar
    std::array<double, 4> tyrePressures{230, 230, 240,
                                        240}; ///< kPa: front left, front right, rear left, rear right
    double tyreUnit = 0;                      ///< index into tyreUnits
    double tyresValid = 1;
    std::array<double, 4> trip{29.1, 45, 500, 100}; ///< values A, which has tenths, to D
    double tripUnit = 1;
    double instantFuel = 7.2;
    std::array<double, 5> fuelHistory{6.8, 7.1, 6.5, 7.4, 6.9};
    double fuelUnit = 2;
    Climate climate;
    std::array<QByteArray, 3> keys{QByteArray(2, 0), QByteArray(2, 0),
                                   QByteArray(2, 0)}; ///< swc, panel, bt: code, action
    QByteArray version = "BOXSIM 1.0";                ///< UTF-8, 255 bytes at most
    double cameraMode = 0;                            ///< 0 or 1
    std::array<QString, 4> clusterTexts; ///< what the instrument cluster was told of the source, items 1 to 4

    /// The payload of the frame @p type with the car's present state; nothing when the box has no such frame.
    std::optional<QByteArray> payload(int type) const;
};

} // namespace boxsim

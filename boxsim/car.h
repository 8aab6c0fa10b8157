#pragma once

#include "frame.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

namespace boxsim {

/// The simulated car, as its decoder box knows it.
struct Car
{
    quint8 openDoors = 0; ///< bits as in the base info frame
    int drivingPosition = 0;
    QByteArray version = "BOXSIM 1.0"; ///< UTF-8

    /// The payload of the frame @p type with the car's present state; nothing when the box has no such frame.
    std::optional<QByteArray> payload(int type) const;
};

/// The frame types that the box sends.
namespace FrameType {
constexpr int BaseInfo = 0x24;
constexpr int Version = 0x30;
} // namespace FrameType

/// What the frame @p type of the box is about.
QString frameName(int type);

/// All frame types of the box, in ascending order.
QList<int> frameTypes();

} // namespace boxsim

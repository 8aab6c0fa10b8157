// Body state: doors and driving position come from the base-info frame, and the driving position can be asked
// for; speed, outside temperature and rotation have fixed answers, since no frame carries them.

#include "log.h"
#include "payload.h"
#include "protocol.h"
#include "simpleservice.h"

namespace canservice {

namespace {

constexpr int BaseInfoBytes = 2;
constexpr int DoorBits = 0xF8; // of byte 0

enum Door {
    RightFrontDoor = 0x80,
    LeftFrontDoor = 0x40,
    RightRearDoor = 0x20,
    LeftRearDoor = 0x10,
    BackDoor = 0x08,
};

} // namespace

void SimpleService::doBaseInfo(int, QByteArray& payload)
{
    if (!hasSize(payload, BaseInfoBytes, Q_FUNC_INFO))
        return;
    const int doors = byteAt(payload, 0) & DoorBits;
    const int drivingPosition = byteAt(payload, 1) >> 3 & 1;
    if (update(m_doorStatus, doors))
        emit doorChanged();
    if (update(m_canDrivingPosition, drivingPosition)) {
        CAN_DEBUG("canDrivingPos ", m_canDrivingPosition);
        emit canDrivingPositionChanged();
    }
}

// The field follows the car's report, not this command.
void SimpleService::setCanDrivingPosition(int position)
{
    sendBodyConreolSet(command::DrivingPosition, static_cast<unsigned char>(position));
}

int SimpleService::getCanDrivingPosition()
{
    return m_canDrivingPosition;
}

int SimpleService::getDoorStatus()
{
    return m_doorStatus;
}

bool SimpleService::isFrontDoorOpen()
{
    return false;
}

bool SimpleService::isRearDoorOpen()
{
    return m_doorStatus & BackDoor;
}

bool SimpleService::isLeftRearDoorOpen()
{
    return m_doorStatus & LeftRearDoor;
}

bool SimpleService::isRightRearDoorOpen()
{
    return m_doorStatus & RightRearDoor;
}

bool SimpleService::isLeftFrontDoorOpen()
{
    return m_doorStatus & LeftFrontDoor;
}

bool SimpleService::isRightFrontDoorOpen()
{
    return m_doorStatus & RightFrontDoor;
}

float SimpleService::getSpeed()
{
    return 0.0F;
}

QString SimpleService::getSpeedUnit()
{
    return QLatin1String("speedUnit");
}

float SimpleService::getTemperature()
{
    return m_outsideTemperature;
}

QString SimpleService::getTemperatureUnit()
{
    return m_temperatureUnit;
}

QString SimpleService::getTemperatureStr()
{
    if (m_temperatureTextDirty) {
        m_temperatureTextDirty = false;
        m_temperatureText =
            QString::asprintf("%2.1f", static_cast<double>(m_outsideTemperature)) + m_temperatureUnit;
    }
    return m_temperatureText;
}

int SimpleService::getRotate()
{
    return m_rotate;
}

} // namespace canservice

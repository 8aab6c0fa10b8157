// Settings and small records: units, driving position, camera touch, other information, car settings,
// brightness.

#include "log.h"
#include "protocol.h"
#include "simpleservice.h"

#include <algorithm>

namespace canservice {

namespace {

constexpr int FuelUnitItem = 0; // of UnitData
constexpr int FuelUnits = 3;    // that can be selected

constexpr int TouchKey = 0;
constexpr float TouchScaleY = 1.6666666F; // picture height to touch height: just below 5/3

constexpr int HostBrightnessSteps = 20;

/// The low 16 bits, high byte first.
QByteArray word(int value)
{
    const char bytes[] = {static_cast<char>(value >> 8), static_cast<char>(value)};
    return QByteArray(bytes, sizeof bytes);
}

/// Towards zero; out of range, the nearest end of the range, as the head unit's processor converts.
qint32 truncated(float value)
{
    const auto whole = static_cast<qint64>(value);
    return static_cast<qint32>(std::clamp<qint64>(whole, INT32_MIN, INT32_MAX));
}

} // namespace

void SimpleService::initUnitMaxLevel()
{
    UnitData units;
    units.maxLevels[FuelUnitItem] = FuelUnits;
    m_unitData = units; // before the line: a frame that comes within it may report a unit
    CAN_DEBUG << units.maxLevels.size();
}

int SimpleService::getUnitData(UnitData& data)
{
    data = m_unitData;
    return 0;
}

// The record follows the car's report, not this request.
void SimpleService::setUnitCmd(int item)
{
    CAN_DEBUG << item;
    if (item != FuelUnitItem)
        return;
    int next = m_unitData.curLevels.at(FuelUnitItem) + 1;
    CAN_DEBUG << next << m_unitData.maxLevels.at(FuelUnitItem);
    if (m_unitData.maxLevels.at(FuelUnitItem) <= next)
        next = 0;
    sendBodyConreolSet(command::FuelUnit, static_cast<unsigned char>(next));
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

int SimpleService::sendCameraKey(int key, CameraData data)
{
    if (key != TouchKey)
        return 0;
    const int scaledY = truncated(static_cast<float>(data.touchY) * TouchScaleY);
    CAN_DEBUG << TouchScaleY << scaledY;
    sendTouchSet('\x01' + word(data.touchX) + word(scaledY) + '\0');
    return 0;
}

int SimpleService::getOtherInfoData(OtherInfoData& data)
{
    data = m_otherInfoData;
    return 0;
}

CarSettingData SimpleService::getCarSettingData()
{
    return m_carSettingData;
}

// The box takes no car settings.
int SimpleService::sendCarSettingKey(int, int)
{
    return 0;
}

void SimpleService::lightBrightnessTransform(unsigned char maxLevel, QMap<unsigned char, unsigned char>& map)
{
    int previous = -1;
    for (int level = 0; level <= maxLevel; ++level) {
        const int step = HostBrightnessSteps * level / maxLevel;
        if (maxLevel <= HostBrightnessSteps)
            map[static_cast<unsigned char>(step)] = static_cast<unsigned char>(level);
        else if (step != previous) // the lowest level of the step
            m_brightnessTable[static_cast<std::size_t>(step)] = static_cast<quint8>(level);
        previous = step;
    }
}

} // namespace canservice

// Parking radar: the front and the rear frame carry four distance codes each; the side sensors have no frame.
// The rear frame also carries the one bit of the other information.

#include "hostcall.h"
#include "log.h"
#include "payload.h"
#include "simpleservice.h"

#include <algorithm>

namespace canservice {

namespace {

constexpr int FrontRadarBytes = 4;
constexpr int RearRadarBytes = 5;
constexpr int SensorsPerFrame = 4;

// Entries of m_radarData.
enum Sensor {
    FrontLeft = 0,
    FrontMiddleLeft,
    FrontMiddleRight,
    FrontRight,
    RearLeft,
    RearMiddleLeft,
    RearMiddleRight,
    RearRight,
    LeftFront,
    LeftMiddleFront,
    LeftMiddleRear,
    LeftRear,
    RightFront,
    RightMiddleFront,
    RightMiddleRear,
    RightRear,
    SecondFrontMiddleLeft,
    SecondFrontMiddleRight,
    Entries = 19,
};

constexpr int FarthestLevel = 7;
constexpr unsigned char NoLevel = 0xFF; // no obstacle
constexpr int NoObstacle = 255;         // as a distance

// The level for each distance code of the box. A code beyond the table leaves its sensor as it was.
constexpr std::array<unsigned char, 6> levelOfCode{{NoLevel, 0, 1, 2, 4, 6}};

constexpr int OtherInfoBit = 0x20; // of byte 4 of the rear frame
constexpr int OtherInfoSetText = 655;
constexpr int OtherInfoClearText = 1177;

int distance(int level)
{
    return level <= FarthestLevel ? level + 1 : NoObstacle;
}

} // namespace

void SimpleService::initRadar()
{
    m_radarData.append(Entries, static_cast<char>(NoLevel));
}

bool SimpleService::applyRadarCodes(const QByteArray& payload, int firstEntry)
{
    bool changed = false;
    for (int i = 0; i < SensorsPerFrame; ++i) {
        const auto code = static_cast<std::size_t>(byteAt(payload, i));
        const int entry = firstEntry + i;
        if (code < levelOfCode.size() && byteAt(m_radarData, entry) != levelOfCode[code]) {
            m_radarData[entry] = static_cast<char>(levelOfCode[code]);
            changed = true;
        }
    }
    return changed;
}

void SimpleService::doFrontRadar(int, QByteArray& payload)
{
    if (!hasSize(payload, FrontRadarBytes, Q_FUNC_INFO))
        return;
    const bool changed = applyRadarCodes(payload, FrontLeft);
    CAN_DEBUG(m_radarData.size());
    if (changed)
        emit sigRadarChanged();
}

void SimpleService::doRearRadar(int, QByteArray& payload)
{
    if (!hasSize(payload, RearRadarBytes, Q_FUNC_INFO))
        return;
    const bool otherInfo = byteAt(payload, 4) & OtherInfoBit;
    const bool changed = applyRadarCodes(payload, RearLeft);
    CAN_DEBUG(m_radarData.size());
    if (changed)
        emit sigRadarChanged();
    if (update(m_otherInfoData.text6,
               translated(m_hostCalls, otherInfo ? OtherInfoSetText : OtherInfoClearText)))
        emit otherInfoDataChanged();
}

int SimpleService::getOtherInfoData(OtherInfoData& data)
{
    data = m_otherInfoData;
    return 0;
}

int SimpleService::getFrontRadarLeftDistance()
{
    return distance(byteAt(m_radarData, FrontLeft));
}

int SimpleService::getFrontRadarMiddleLeftDistance()
{
    return distance(
        std::min(byteAt(m_radarData, FrontMiddleLeft), byteAt(m_radarData, SecondFrontMiddleLeft)));
}

int SimpleService::getFrontRadarMiddleRightDistance()
{
    return distance(
        std::min(byteAt(m_radarData, FrontMiddleRight), byteAt(m_radarData, SecondFrontMiddleRight)));
}

int SimpleService::getFrontRadarRightDistance()
{
    return distance(byteAt(m_radarData, FrontRight));
}

int SimpleService::getRearRadarLeftDistance()
{
    return distance(byteAt(m_radarData, RearLeft));
}

int SimpleService::getRearRadarMiddleLeftDistance()
{
    return distance(byteAt(m_radarData, RearMiddleLeft));
}

int SimpleService::getRearRadarMiddleRightDistance()
{
    return distance(byteAt(m_radarData, RearMiddleRight));
}

int SimpleService::getRearRadarRightDistance()
{
    return distance(byteAt(m_radarData, RearRight));
}

int SimpleService::getLeftRadarFrontDistance()
{
    return distance(byteAt(m_radarData, LeftFront));
}

int SimpleService::getLeftRadarMiddleFrontDistance()
{
    return distance(byteAt(m_radarData, LeftMiddleFront));
}

int SimpleService::getLeftRadarMiddleRearDistance()
{
    return distance(byteAt(m_radarData, LeftMiddleRear));
}

int SimpleService::getLeftRadarRearDistance()
{
    return distance(byteAt(m_radarData, LeftRear));
}

int SimpleService::getRightRadarFrontDistance()
{
    return distance(byteAt(m_radarData, RightFront));
}

int SimpleService::getRightRadarMiddleFrontDistance()
{
    return distance(byteAt(m_radarData, RightMiddleFront));
}

int SimpleService::getRightRadarMiddleRearDistance()
{
    return distance(byteAt(m_radarData, RightMiddleRear));
}

int SimpleService::getRightRadarRearDistance()
{
    return distance(byteAt(m_radarData, RightRear));
}

} // namespace canservice

// Tyre pressure: one frame with a validity pattern, the unit and one raw pressure for each wheel.

#include "hostcall.h"
#include "log.h"
#include "payload.h"
#include "simpleservice.h"

namespace canservice {

namespace {

constexpr int TirePressureBytes = 6;
constexpr int ValidBits = 0x84; // of byte 0: both must be set
constexpr int UnitBits = 0x03;  // of byte 0
constexpr int FirstWheelByte = 1;
constexpr int NoRawValue = 255;
constexpr float NoPressure = -1.0F;

enum Wheel : std::size_t { FrontLeft, FrontRight, RearLeft, RearRight };

constexpr int KeepText = 0;

struct TireUnit
{
    float factor;
    int textId; ///< KeepText: the unit's text stays as it was
};

constexpr std::array<TireUnit, 4> tireUnits{{{0.1F, 1164}, {1.0F, 1166}, {2.5F, 1165}, {1.0F, KeepText}}};

} // namespace

void SimpleService::doTpnsInfo(int, QByteArray& payload)
{
    if (!hasSize(payload, TirePressureBytes, Q_FUNC_INFO))
        return;
    const int flags = byteAt(payload, 0);
    if ((flags & ValidBits) != ValidBits) {
        m_tirePressure.fill(NoPressure);
        m_tireStatus.fill(0);
        m_tireAlertType = 0;
        emit tireAlert();
        emit tireDataChanged();
        return;
    }
    const int unitCode = flags & UnitBits;
    CAN_DEBUG(unitCode);
    const TireUnit& unit = tireUnits[static_cast<std::size_t>(unitCode)];
    // A frame with a unit text is announced even when nothing differs.
    bool changed = unit.textId != KeepText;
    if (changed)
        m_tireUnit = translated(m_hostCalls, unit.textId);
    CAN_DEBUG(flags >> 6 & 1);
    for (std::size_t wheel = 0; wheel < m_tirePressure.size(); ++wheel) {
        const auto raw = static_cast<float>(byteAt(payload, FirstWheelByte + static_cast<int>(wheel)));
        CAN_DEBUG(static_cast<int>(wheel), raw);
        // Compared before "no value" is replaced: a wheel that keeps reporting it counts as changed every
        // time.
        const float pressure = raw * unit.factor;
        if (pressure != m_tirePressure[wheel]) {
            m_tirePressure[wheel] = raw == NoRawValue ? NoPressure : pressure;
            changed = true;
        }
    }
    if (changed)
        emit tireDataChanged();
}

int SimpleService::getTireAlertType()
{
    return m_tireAlertType;
}

QString SimpleService::getTireUnit()
{
    return m_tireUnit;
}

int SimpleService::getTireStatusFR()
{
    return m_tireStatus[FrontRight];
}

float SimpleService::getTirePressureValueFR()
{
    return m_tirePressure[FrontRight];
}

int SimpleService::getTireStatusFL()
{
    return m_tireStatus[FrontLeft];
}

float SimpleService::getTirePressureValueFL()
{
    return m_tirePressure[FrontLeft];
}

int SimpleService::getTireStatusRL()
{
    return m_tireStatus[RearLeft];
}

float SimpleService::getTirePressureValueRL()
{
    return m_tirePressure[RearLeft];
}

int SimpleService::getTireStatusRR()
{
    return m_tireStatus[RearRight];
}

float SimpleService::getTirePressureValueRR()
{
    return m_tirePressure[RearRight];
}

} // namespace canservice

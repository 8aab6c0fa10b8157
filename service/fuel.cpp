// Fuel consumption: the instantaneous value and five history values become display texts. Both frames begin
// with the unit code, which also updates the unit record; the host can ask for the next unit.

#include "hostcall.h"
#include "log.h"
#include "payload.h"
#include "protocol.h"
#include "simpleservice.h"

#include <algorithm>

namespace canservice {

namespace {

constexpr int FuelUnitItem = 0; // of UnitData
constexpr int FuelUnits = 3;    // that can be selected
constexpr int HistoryValues = 5;

struct FuelUnit
{
    int code;    ///< byte 0 of the frame
    int level;   ///< index of the value in UnitData::curLevels
    int textId;  ///< host text
    float limit; ///< highest instantaneous consumption that is shown
};

constexpr float Unlimited = 6553.5F; // the largest value of two bytes of tenths

constexpr FuelUnit fuelUnits[] = {
    {0x00, 0, 1141, 60.0F},     {0x01, 1, 1142, 30.0F},     {0x02, 2, 1143, 30.0F},
    {0x10, 3, 1278, Unlimited}, {0x11, 4, 1279, Unlimited}, {0x12, 5, 1280, Unlimited},
    {0x13, 6, 1281, Unlimited},
};

/// The unit that @p payload names, or null for an unknown code and for an empty payload.
const FuelUnit* findUnit(const QByteArray& payload)
{
    if (payload.isEmpty())
        return nullptr;
    const int code = byteAt(payload, 0);
    const auto* const end = std::end(fuelUnits);
    const auto* const unit =
        std::find_if(std::begin(fuelUnits), end, [code](const FuelUnit& u) { return u.code == code; });
    return unit == end ? nullptr : unit;
}

} // namespace

void SimpleService::initUnitMaxLevel()
{
    UnitData units;
    units.maxLevels[FuelUnitItem] = FuelUnits;
    m_unitData = units; // before the line: a frame that comes within it may report a unit
    CAN_DEBUG(units.maxLevels.size());
}

// The record changes when the text does: a new code with the same text changes nothing.
float SimpleService::applyFuelUnitCode(const QByteArray& payload, QString& unitText, const char* operation)
{
    const FuelUnit* const unit = findUnit(payload);
    if (unit)
        unitText = translated(m_hostCalls, unit->textId);
    if (unitText != m_unitData.curTexts.at(FuelUnitItem)) {
        const int level = unit ? unit->level : 0;
        CAN_DEBUG_OF(operation, level);
        m_unitData.curLevels[FuelUnitItem] = level;
        m_unitData.curTexts[FuelUnitItem] = unitText;
        emit unitDataChanged();
    }
    return unit ? unit->limit : Unlimited;
}

void SimpleService::doInsFuelInfo(int, QByteArray& payload)
{
    const float limit = applyFuelUnitCode(payload, m_insFuelUnitText, Q_FUNC_INFO);
    if (payload.size() < 3)
        return;
    const int raw = wordAt(payload, 1);
    const float value = tenths(raw);
    CAN_DEBUG(value);
    bool changed = false;
    updataString(std::min(value, limit), raw, NoValue, m_fuelConsumptionData.texts[0], changed, m_work,
                 m_insFuelUnitText);
    CAN_DEBUG(changed, m_fuelConsumptionData.texts[0]);
    if (changed)
        emit fuelDataChanged();
}

void SimpleService::doHisFuelInfo(int, QByteArray& payload)
{
    applyFuelUnitCode(payload, m_hisFuelUnitText, Q_FUNC_INFO);
    bool changed = false;
    for (int k = 1; k <= HistoryValues && payload.size() > 2 * k; ++k) {
        const int raw = wordAt(payload, 2 * k - 1);
        const float value = tenths(raw);
        CAN_DEBUG(value);
        QString& text = m_fuelConsumptionData.texts[k];
        updataString(value, raw, NoValue, text, changed, m_work, m_hisFuelUnitText);
        CAN_DEBUG(changed, text);
    }
    if (changed)
        emit fuelDataChanged();
}

int SimpleService::getFuelConsumptionData(FuelConsumptionData& data)
{
    data = m_fuelConsumptionData;
    return 0;
}

int SimpleService::getUnitData(UnitData& data)
{
    data = m_unitData;
    return 0;
}

// The record follows the car's report, not this request.
void SimpleService::setUnitCmd(int item)
{
    CAN_DEBUG(item);
    if (item != FuelUnitItem)
        return;
    int next = m_unitData.curLevels.at(FuelUnitItem) + 1;
    CAN_DEBUG(next, m_unitData.maxLevels.at(FuelUnitItem));
    if (m_unitData.maxLevels.at(FuelUnitItem) <= next)
        next = 0;
    sendBodyConreolSet(command::FuelUnit, static_cast<unsigned char>(next));
}

} // namespace canservice

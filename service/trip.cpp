// Trip computer: four values of one frame become display texts; a short frame carries fewer of them.

#include "hostcall.h"
#include "log.h"
#include "payload.h"
#include "simpleservice.h"

#include <cmath>

namespace canservice {

namespace {

constexpr int UnitByte = 6;

// Which unit text follows a value.
enum class Unit { ByCode, Fixed, Mileage };

struct TripValue
{
    int offset; ///< of its two bytes
    Unit unit;
    int text; ///< index in DrivingData
    const char* marker;
};

// In the order of the frame; the unit byte lies between the last two.
constexpr TripValue tripValues[] = {
    {0, Unit::ByCode, 0, "222222"}, // in tenths
    {2, Unit::Fixed, 2, "333333"},
    {4, Unit::Mileage, 1, "444444"},
    {7, Unit::Mileage, 4, "555555"},
};

constexpr int FixedText = 1172;

/// A host text id, or NoText for the empty text.
constexpr int NoText = 0;

struct UnitTexts
{
    int mileage;
    int byCode;
};

// By the unit code, from 0.
constexpr UnitTexts unitTexts[] = {{NoText, NoText}, {1147, 1205}, {1145, 1148}};
constexpr int UnitCodes = sizeof unitTexts / sizeof *unitTexts;

/// Entries past the end count as 0.
float mileage(const QByteArray& bytes, int first)
{
    int raw = 0;
    for (int i = first; i < first + 3; ++i)
        raw = raw << 8 | (i < bytes.size() ? byteAt(bytes, i) : 0);
    return tenths(raw);
}

/// Appends @p value, which lies within 2^59 of zero, with one digit behind the point. Ten times a float is
/// exact in double, so that rounding the product rounds the decimal.
void appendDecimal(QString& text, float value)
{
    char digits[24];
    char* const end = digits + sizeof digits;
    char* first = end;
    qint64 rest = qRound64(std::fabs(static_cast<double>(value)) * 10.0);
    *--first = static_cast<char>('0' + rest % 10);
    *--first = '.';
    do
        *--first = static_cast<char>('0' + (rest /= 10) % 10);
    while (rest >= 10);
    if (std::signbit(value))
        *--first = '-';
    text.append(QLatin1String(first, static_cast<int>(end - first)));
}

} // namespace

// Built in place and compared before it is kept, so that a text that did not change costs no memory.
void SimpleService::updataString(float value, int raw, int invalid, QString& target, bool& changed,
                                 QString& work, QString unit)
{
    work.resize(0);
    if (raw == invalid) {
        work.append(QLatin1String("--"));
    } else {
        appendDecimal(work, value);
        work.append(unit);
    }
    if (target == work)
        return;
    target = QString(work.constData(), work.size());
    changed = true;
}

void SimpleService::doMileageInfo(int, QByteArray& payload)
{
    CAN_DEBUG(payload.size(), payload.toHex());
    const auto hostText = [this](int id) { return id == NoText ? QString() : translated(m_hostCalls, id); };
    int unitCode = 0;
    if (payload.size() > UnitByte) {
        unitCode = byteAt(payload, UnitByte);
        if (unitCode < UnitCodes)
            m_mileageUnitText = hostText(unitTexts[unitCode].mileage);
        CAN_DEBUG("111111", unitCode);
        CAN_DEBUG("111111", m_mileageUnitText);
    }
    bool changed = false;
    for (const TripValue& v : tripValues) {
        if (payload.size() < v.offset + 2)
            break;
        const int raw = wordAt(payload, v.offset);
        float value = static_cast<float>(raw);
        QString unit;
        switch (v.unit) {
        case Unit::ByCode:
            value = tenths(raw);
            if (unitCode < UnitCodes)
                unit = hostText(unitTexts[unitCode].byCode);
            break;
        case Unit::Fixed:
            if (raw != NoValue)
                unit = translated(m_hostCalls, FixedText);
            break;
        case Unit::Mileage:
            unit = m_mileageUnitText;
            break;
        }
        updataString(value, raw, NoValue, m_drivingData.texts[v.text], changed, m_work, unit);
        CAN_DEBUG(v.marker, value, m_drivingData.texts[v.text]);
    }
    if (changed)
        emit drivingDataChanged();
}

int SimpleService::getDrivingData(DrivingData& data)
{
    data = m_drivingData;
    return 0;
}

float SimpleService::getTimeAllMileage()
{
    return mileage(m_totalMileageData, 6);
}

float SimpleService::getOilAllMileage()
{
    return mileage(m_totalMileageData, 4);
}

} // namespace canservice

// Climate state: two frames are kept as raw bytes, and every getter decodes what it needs on each call. A
// byte beyond the end of a short frame reads as 0 unless a getter says otherwise.

#include "log.h"
#include "payload.h"
#include "simpleservice.h"

#include <canbusmanager.h>
#include <translator.h>

namespace canservice {

namespace {

constexpr int SeatClimateBytes = 5;

bool bit(const QByteArray& bytes, int index, int number)
{
    return index < bytes.size() && (byteAt(bytes, index) >> number & 1);
}

/// The bits of byte @p index from @p shift up, as many as @p mask keeps; 0 beyond the end.
int field(const QByteArray& bytes, int index, int shift, int mask)
{
    return index < bytes.size() ? byteAt(bytes, index) >> shift & mask : 0;
}

// Front temperatures.
constexpr int FahrenheitByte = 4;
constexpr int FahrenheitBit = 0;
constexpr int FahrenheitText = 1163;
constexpr int CelsiusText = 1150;
constexpr float LowestTemperature = -100.0F;  // marker, not degrees
constexpr float HighestTemperature = -101.0F; // marker, not degrees
constexpr int LowestCode = 0;
constexpr int HighestFahrenheitCode = 0xFF;
constexpr int HighestCelsiusCode = 0x1F;

struct CelsiusRange
{
    int first;
    int last;
    float degrees; ///< of the first code; each further code is half a degree more
};

constexpr CelsiusRange celsiusRanges[] = {{1, 29, 18.0F}, {32, 35, 16.0F}, {36, 37, 15.0F}};

// Air distribution: host code by CAN code.
constexpr int windModes[] = {0, 2, 1, 3, 7, 5, 4, 6};
constexpr int windModesOfByte9[] = {0, 1, 3, 2};

/// Whether the car model reports the front air distribution in byte 9.
bool hasWindModeInByte9(int carModel)
{
    return carModel == 76 || carModel == 108 || carModel == 109;
}

// Seats: host level by CAN code; higher codes stand for themselves.
constexpr int seatLevels[] = {0, 1, 2, 2, 3};
constexpr int SeatLevels = sizeof seatLevels / sizeof *seatLevels;
constexpr int SeatNotReported = 3;
constexpr int CarModelWithoutVentilation = 20;
constexpr int HeatByte = 0;
constexpr int VentilationByte = 2;
constexpr int LeftSeat = 4;  // shift of the nibble
constexpr int RightSeat = 0; // shift of the nibble

} // namespace

void SimpleService::doConditioner(int, QByteArray& payload)
{
    if (payload == m_acData)
        return;
    CAN_DEBUG(payload.toHex());
    keep(m_acData, payload);
    emit acStatusChanged();
}

// Announced on every valid frame, changed or not.
void SimpleService::doConditioner2(int, QByteArray& payload)
{
    if (!hasSize(payload, SeatClimateBytes, Q_FUNC_INFO))
        return;
    update(m_acData2, payload);
    emit acStatusChanged();
}

bool SimpleService::isPowerOff()
{
    return bit(m_acData, 0, 7);
}

bool SimpleService::isPowerOffRear()
{
    return m_acData.size() > 7 && !bit(m_acData, 7, 7);
}

bool SimpleService::isRearClimate()
{
    return bit(m_acData, 4, 2);
}

bool SimpleService::isAcMax()
{
    return bit(m_acData, 4, 3);
}

bool SimpleService::isAc()
{
    return bit(m_acData, 0, 6);
}

bool SimpleService::isInside()
{
    return bit(m_acData, 0, 5);
}

bool SimpleService::isAuto()
{
    return bit(m_acData, 0, 3);
}

bool SimpleService::isDual()
{
    return bit(m_acData, 0, 2);
}

bool SimpleService::isRearDefrost()
{
    return bit(m_acData, 4, 6);
}

bool SimpleService::isFrontDefrost()
{
    return bit(m_acData, 4, 7);
}

// The lowest bit of the air-distribution code, read alone.
bool SimpleService::isAcSwcHeat()
{
    return bit(m_acData, 1, 5);
}

bool SimpleService::isAcGlassHeat()
{
    return bit(m_acData, 5, 3);
}

// One bit with the rear climate.
bool SimpleService::isAirCareActive()
{
    return isRearClimate();
}

int SimpleService::getAcRearLeftHeat()
{
    return field(m_acData, 8, 4, 0x07);
}

int SimpleService::getAcRearRightHeat()
{
    return field(m_acData, 8, 1, 0x07);
}

int SimpleService::getAirConProfile()
{
    return field(m_acData, 6, 0, 0x03);
}

int SimpleService::getAcWindScale()
{
    return field(m_acData, 1, 0, 0x07);
}

int SimpleService::getAcWindModeRear()
{
    const int mode = field(m_acData, 9, 5, 0x07);
    CAN_DEBUG(mode);
    return mode;
}

int SimpleService::getAcWindScaleRear()
{
    const int scale = field(m_acData, 9, 0, 0x0F);
    CAN_DEBUG(scale);
    return scale;
}

int SimpleService::getAcShowRequest()
{
    return bit(m_acData, 1, 4) ? 1 : 0;
}

int SimpleService::getAcWindMode()
{
    int mode = 0;
    if (hasWindModeInByte9(CanBusManager::instance()->getCarModelId())) {
        const int code = field(m_acData, 9, 0, 0x03);
        CAN_DEBUG("mode -->", code);
        mode = windModesOfByte9[code];
    } else {
        const int byte = field(m_acData, 1, 0, 0xFF);
        const int code = byte >> 5;
        CAN_DEBUG(byte, code);
        mode = windModes[code];
    }
    CAN_DEBUG(mode);
    return mode;
}

float SimpleService::frontTemperature(int byteIndex, const char* operation)
{
    const int code = field(m_acData, byteIndex, 0, 0xFF);
    const bool fahrenheit = bit(m_acData, FahrenheitByte, FahrenheitBit);
    CAN_DEBUG_OF(operation, static_cast<int>(fahrenheit));
    if (code == LowestCode)
        return LowestTemperature;
    if (code == (fahrenheit ? HighestFahrenheitCode : HighestCelsiusCode))
        return HighestTemperature;
    if (fahrenheit)
        return static_cast<float>(code);
    for (const CelsiusRange& range : celsiusRanges) {
        if (code >= range.first && code <= range.last)
            return range.degrees + static_cast<float>(code - range.first) * 0.5F;
    }
    CAN_ERROR_OF(operation, "index is ERROR!!!", code);
    return 0.0F;
}

float SimpleService::getAcTemperature()
{
    return frontTemperature(2, Q_FUNC_INFO);
}

float SimpleService::getAcRightTemperature()
{
    return frontTemperature(3, Q_FUNC_INFO);
}

// Bit 4 of byte 1 selects the whole-degree scale. There are no markers and no range on this path.
float SimpleService::getAcRearTemperature()
{
    if (m_acData.size() < 2)
        return 0.0F;
    const auto code = static_cast<float>(field(m_acData, 7, 0, 0xFF));
    return bit(m_acData, 1, 4) ? code + 59.0F : 16.0F + (code - 1.0F) * 0.5F;
}

QString SimpleService::getAcTemperatureUnit()
{
    return Translator::translate(bit(m_acData, FahrenheitByte, FahrenheitBit) ? FahrenheitText : CelsiusText);
}

QString SimpleService::getAcRightTemperatureUnit()
{
    return getAcTemperatureUnit();
}

int SimpleService::seatLevel(int byteIndex, int shift, const char* operation)
{
    const bool reported = onNotSuppHeatingCoolDisp();
    CAN_DEBUG_OF(operation, reported);
    if (!reported || byteIndex >= m_acData2.size())
        return SeatNotReported;
    const int code = field(m_acData2, byteIndex, shift, 0x0F);
    CAN_DEBUG_OF(operation, code);
    return code < SeatLevels ? seatLevels[code] : code;
}

int SimpleService::ventilationLevel(int shift, const char* operation)
{
    const int carModel = CanBusManager::instance()->getCarModelId();
    CAN_DEBUG_OF(operation, carModel, CarModelWithoutVentilation);
    return carModel == CarModelWithoutVentilation ? SeatNotReported
                                                  : seatLevel(VentilationByte, shift, operation);
}

int SimpleService::getAcFrontLeftHeat()
{
    return seatLevel(HeatByte, LeftSeat, Q_FUNC_INFO);
}

int SimpleService::getAcFrontRightHeat()
{
    return seatLevel(HeatByte, RightSeat, Q_FUNC_INFO);
}

int SimpleService::getLeftVentilation()
{
    return ventilationLevel(LeftSeat, Q_FUNC_INFO);
}

int SimpleService::getRightVentilation()
{
    return ventilationLevel(RightSeat, Q_FUNC_INFO);
}

} // namespace canservice

// Climate keys: each key of the host becomes a command in one of two forms, by the class of the car model.
//
//   vertical   a command byte, sent with value 1 and at once again with value 0: press and release
//   landscape  a field of six bytes with one bit set

#include "log.h"
#include "simpleservice.h"

#include <canbusmanager.h>

namespace canservice {

namespace {

enum class Form { Unsupported, Silent, Both, VerticalAlways, LandscapeOnly };

struct ClimateKey
{
    Form form;
    unsigned char command; ///< of the vertical form
    int byte;              ///< of the landscape form
    unsigned char value;   ///< of that byte
};

constexpr ClimateKey unsupported{Form::Unsupported, 0, 0, 0};
constexpr ClimateKey silent{Form::Silent, 0, 0, 0};

constexpr ClimateKey both(unsigned char command, int byte, unsigned char value)
{
    return {Form::Both, command, byte, value};
}

constexpr ClimateKey verticalAlways(unsigned char command)
{
    return {Form::VerticalAlways, command, 0, 0};
}

constexpr ClimateKey landscapeOnly(int byte, unsigned char value)
{
    return {Form::LandscapeOnly, 0, byte, value};
}

// By the host's key code, from 0.
constexpr ClimateKey climateKeys[] = {
    both(0x01, 0, 0x80),    // 0
    silent,                 // 1
    both(0x17, 0, 0x02),    // 2
    silent,                 // 3
    both(0x10, 1, 0x08),    // 4
    both(0x15, 0, 0x20),    // 5
    both(0x19, 2, 0x01),    // 6
    both(0x19, 2, 0x01),    // 7
    both(0x13, 0, 0x10),    // 8
    both(0x14, 1, 0x04),    // 9
    both(0x0C, 2, 0x40),    // 10
    both(0x0E, 2, 0x20),    // 11
    unsupported,            // 12
    unsupported,            // 13
    unsupported,            // 14
    both(0x0A, 1, 0x02),    // 15
    both(0x09, 1, 0x01),    // 16
    silent,                 // 17
    silent,                 // 18
    both(0x03, 3, 0x02),    // 19
    both(0x02, 3, 0x01),    // 20
    both(0x05, 4, 0x02),    // 21
    both(0x04, 4, 0x01),    // 22
    silent,                 // 23
    silent,                 // 24
    both(0x0B, 2, 0x10),    // 25
    both(0x0D, 2, 0x04),    // 26
    silent,                 // 27
    silent,                 // 28
    silent,                 // 29
    silent,                 // 30
    landscapeOnly(0, 0x40), // 31
    verticalAlways(0x08),   // 32
    verticalAlways(0x07),   // 33
    both(0x2A, 5, 0x08),    // 34
};
constexpr int ClimateKeys = sizeof climateKeys / sizeof *climateKeys;

constexpr int LandscapeBytes = 6;

/// Whether the car model takes no climate keys at all.
bool isBarred(int carModel)
{
    return carModel == SimpleService::Corolla_Taiwan__2019 || carModel == SimpleService::RAV4_Taiwan__2019 ||
           carModel == SimpleService::HC_Previa_Taiwan_JapanMalaysia__2006_2015_;
}

} // namespace

int SimpleService::sendAcKey(int key, int value)
{
    CAN_DEBUG(key, value);
    if (isBarred(CanBusManager::instance()->getCarModelId()))
        return -1;
    const ClimateKey& entry = key >= 0 && key < ClimateKeys ? climateKeys[key] : unsupported;
    switch (entry.form) {
    case Form::Unsupported:
        CAN_DEBUG("Function not supported,KEY = ", key);
        break;
    case Form::Silent:
        break;
    case Form::VerticalAlways:
        pressVerticalKey(entry.command);
        break;
    case Form::Both:
    case Form::LandscapeOnly:
        if (isLandscapeAc()) {
            initLandscapeAcData();
            m_landscapeAcData[entry.byte] = static_cast<char>(entry.value);
            const QByteArray data = m_landscapeAcData; // another key may be sent within the line
            CAN_DEBUG(data.toHex());
            sendLandscapeAcSet(data);
        } else if (entry.form == Form::Both) {
            pressVerticalKey(entry.command);
        }
        break;
    }
    return 0;
}

void SimpleService::pressVerticalKey(unsigned char command)
{
    sendVerticalAcSet(command, 1);
    sendVerticalAcSet(command, 0);
}

void SimpleService::initLandscapeAcData()
{
    m_landscapeAcData.fill('\0', LandscapeBytes);
}

} // namespace canservice

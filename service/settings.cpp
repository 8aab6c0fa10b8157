// The car's settings, of which the box reports none, and the brightness steps of host and car.

#include "simpleservice.h"

namespace canservice {

namespace {

constexpr int HostBrightnessSteps = 20;

} // namespace

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

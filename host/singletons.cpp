// The host's single objects, the same in every program of this project that stands in for the host. What they
// answer is each program's own.

#include "canbusmanager.h"
#include "configmanager.h"
#include "settings.h"

CanBusManager* CanBusManager::instance()
{
    static CanBusManager manager;
    return &manager;
}

canservice::ConfigManager* canservice::ConfigManager::instance()
{
    static ConfigManager manager;
    return &manager;
}

mem::SettingsUtil* mem::SettingsUtil::instance()
{
    static SettingsUtil util;
    return &util;
}

mem::SettingsExe* mem::SettingsUtil::getSaver()
{
    static SettingsExe saver;
    return &saver;
}

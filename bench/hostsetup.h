#pragma once

#include "carmodels.h"
#include "words.h"

#include <QString>

#include <chrono>

class SerialLine;

/// How the head unit is set up, as the command line says. The host services answer from it.
struct HostSetup
{
    static constexpr int NotTold = -1; ///< by the command line

    QString device;             ///< the serial device that is wired to the CAN box; empty where there is none
    SerialLine* line = nullptr; ///< what the serial port stands on; outlives the ports, one after the other
    QString pluginPath;         ///< the library that is loaded
    QString settingsRoot;       ///< the directory that stands for the head unit's root file system
    CarModels carModels;        ///< that the plug-in names
    int carModelId = NotTold;   ///< may change while the plug-in runs
    int carModelIndex = NotTold;      ///< 0 to 254, or 255 for none
    Ranges ranges = Ranges::Kept;     ///< of what commands hand to the plug-in
    bool waitsForDevice = true;       ///< that cannot be opened; else that is its end
    std::chrono::seconds giveUp{300}; ///< how long the device may be absent; 0 waits for ever
};

/// The one set-up of this process.
HostSetup& hostSetup();

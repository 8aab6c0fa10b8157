#pragma once

#include <QString>

#include <chrono>

/// How the head unit is set up, as the command line says. The host services answer from it.
struct HostSetup
{
    QString device;                   ///< the serial device that an empty port name stands for
    QString pluginPath;               ///< the library that is loaded
    QString settingsRoot;             ///< the directory that stands for the head unit's root file system
    int carModelId = 0;               ///< may change while the plug-in runs
    int carModelIndex = 255;          ///< 0 to 254, or 255 for none
    std::chrono::seconds giveUp{300}; ///< how long the device may be absent; 0 waits for ever
};

/// The one set-up of this process.
HostSetup& hostSetup();

#pragma once

#include "playback.h"

#include <QStringList>

#include <optional>

class VirtualClock;

/// What the command line asks for beside the HostSetup.
struct Options
{
    QString language;
    QStringList scripts; ///< files of commands, "-" for standard input as a script; none for standard input
    bool checksScripts;  ///< they are read and checked, and that is all
    CaptureOptions capture; ///< what is recorded
    QString replay;         ///< the capture that is the line; "-" for standard input, empty for none
    bool lenient;           ///< what is damaged in it is left out
    bool check;             ///< what the head unit sends is compared with it
    Playback::Options playback;
    bool json;
    bool trace;
    bool log;
    bool quiet;
    std::optional<QString> listedModels; ///< the car models with this word in their names are listed, no more
    bool watch;                          ///< the session is shown on the whole terminal
};

/// The clock that the command line asks for; nullptr stands for real time in Qt's own event loop. It is asked
/// before there is an application object. What is wrong with the arguments is left to readOptions().
VirtualClock* clockFor(const QStringList& arguments);

/// Reads the command line and fills hostSetup(). Ends the program where it asks for help or cannot be used.
Options readOptions(const QStringList& arguments);

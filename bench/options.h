#pragma once

#include <QString>

/// What the command line asks for beside the HostSetup.
struct Options
{
    QString language;
    QString script;  ///< a file of commands; empty for standard input
    QString record;  ///< the capture file to write; empty for none
    QString purpose; ///< what the capture says about itself
    bool json;
    bool trace;
    bool log;
};

/// Reads the command line and fills hostSetup(). Ends the program where it asks for help or cannot be used.
Options readOptions(const QStringList& arguments);

#pragma once

#include "statement.h"

namespace boxsim {

/// What the command line asks for.
struct Options
{
    QString device;   ///< empty for a pseudo-terminal
    QString link;     ///< to the pseudo-terminal; may be empty
    QString scenario; ///< a file, or a name of one that boxsim brings; may be empty
    bool exitAfterScenario;
    QString replay; ///< the capture whose box is played, "-" for standard input; may be empty
    bool lenient;   ///< what is damaged in it is left out
    Ranges ranges;
    bool json;
    bool trace;
    bool log;
    bool quiet;
    QVector<Parsed> faults; ///< the seed, and what is on from the start

    /// Whether boxsim stays where standard input is over.
    bool outlastsInput() const
    {
        return !link.isEmpty() || !device.isEmpty() || !scenario.isEmpty() || !replay.isEmpty();
    }
};

/// Reads the command line. Ends the program where it asks for help or cannot be used.
Options readOptions(const QStringList& arguments);

} // namespace boxsim

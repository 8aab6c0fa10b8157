#pragma once

#include "carstate.h"
#include "linkstate.h"
#include "report.h"
#include "script.h"

class Playback;

/// What the commands work on.
struct Bench
{
    CanServiceBase& service;
    CarState& car; ///< remembers what was last looked at
    const LinkState& link;
    Report& report;
    Script& script;
    Playback* playback = nullptr; ///< of the capture that is the line, if one is
    Ranges ranges = Ranges::Kept; ///< of the values in commands
};

/// What a command line is: a call of the host's, which a capture keeps; a question to canbench; or one that
/// waits, and leaves what has happened to a later expect.
enum class CommandKind { HostCall, Own, Waiting };

/// @throw CommandError where there is no such command
CommandKind kindOf(const QString& line);

/// Carries out one command line. Words are separated by blanks and may stand in double quotes.
/// @throw CommandError where there is no such command or its arguments are wrong
void execute(const Bench& bench, const QString& line);

/// The words of a command that can stand behind @p before, as far as they are known.
QStringList candidates(const QStringList& before);

/// What a bench has beside its service.
struct BenchParts
{
    bool box;                     ///< a simulated one is inside
    bool capture;                 ///< one is played
    Ranges ranges = Ranges::Kept; ///< of the values in commands
};

/// Reads a whole script without doing anything. @return its mistakes, one a line: file, line, what is wrong
/// and what would be right
QStringList mistakesIn(const ScriptFile& script, BenchParts has);

#pragma once

#include "carstate.h"
#include "report.h"
#include "script.h"

/// What the commands work on.
struct Bench
{
    CanServiceBase& service;
    const CarState& car;
    const Report& report;
    Script& script;
};

/// Carries out one command line. Words are separated by blanks and may stand in double quotes.
/// @throw CommandError where there is no such command or its arguments are wrong
void execute(const Bench& bench, const QString& line);

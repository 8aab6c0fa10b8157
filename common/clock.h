#pragma once

#include <QString>

#include <chrono>

/// The time that has passed on the one clock of this process: the VirtualClock's where that is the event
/// dispatcher, else the time since this was first asked. It never goes back.
std::chrono::nanoseconds now();

/// @p time in the form (seconds.micros) of logs and captures.
QString stamp(std::chrono::nanoseconds time);

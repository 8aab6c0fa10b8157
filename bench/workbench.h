#pragma once

#include "capture.h"
#include "commands.h"
#include "signaltap.h"

/// A service at work on the bench: the script's commands are carried out on it, and what it announces and
/// what the line carries is shown, told to the script and written to the capture.
class Workbench
{
public:
    /// With @p trace a status that repeats the last one is shown too, and the line's bytes on standard error.
    Workbench(CanServiceBase& service, const Report& report, bool trace);

    Script script;
    Capture capture; ///< is written to once it is open

private:
    Event show(const QString& signal, const QVector<Reading>& arguments);
    void showStatus(int status);
    void addBytes(const QString& direction, const QByteArray& bytes);

    const Report& m_report;
    const bool m_trace;
    CarState m_car;
    SignalTap m_tap;
    int m_status = -1; // the last one
    Event m_statusEvent;
};

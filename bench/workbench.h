#pragma once

#include "capture.h"
#include "commands.h"
#include "linkstate.h"
#include "signaltap.h"
#include "text.h"

#include <optional>

/// A service at work on the bench: the script's commands are carried out on it, and what it announces and
/// what the line carries is shown, told to the script and written to the capture.
class Workbench
{
public:
    /// With @p trace a status that repeats the last one is shown too, and the line's bytes on standard error
    /// or, as JSON, in the report.
    Workbench(CanServiceBase& service, Report& report, bool trace);

    Script script;
    Capture capture;              ///< is written to once it is open
    Playback* playback = nullptr; ///< is what commands for a capture turn to

    /// What the line has carried since the service began.
    const LinkState& link() const { return *m_link; }

    /// How the car was when last looked at.
    const CarState& car() const { return *m_car; }

    /// Works with @p service, which takes the place of the one before.
    void work(CanServiceBase& service);

    /// Carries out a host call, as a command line says it, and keeps it in the capture.
    /// @throw CommandError as execute() does
    void call(const QString& line, Ranges ranges);

private:
    void carryOut(const QString& line);
    Bench bench(Ranges ranges)
    {
        return {*m_service, *m_looked, *m_link, m_report, script, playback, ranges};
    }
    void record(const QString& what, const QString& detail);
    void recordCall();
    Event show(const QString& signal, QVector<Reading> arguments);
    void showStatus(int status);
    void trace(const QString& direction, const QString& hex, const QByteArray& bytes);
    void addBytes(const QString& direction, const QByteArray& bytes);

    CanServiceBase* m_service = nullptr;
    Report& m_report;
    const bool m_trace;
    protocol::Narrator m_toHeadUnit; // what a trace says of the bytes
    protocol::Narrator m_toBox;
    std::optional<CarState> m_car;    // as it was last announced
    std::optional<CarState> m_looked; // as it was last looked at
    std::optional<SignalTap> m_tap;
    std::optional<LinkState> m_link;
    int m_status = -1; // the last one
    Event m_statusEvent;
    QString m_call; // is under way, and not in the capture yet
};

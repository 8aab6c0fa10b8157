#pragma once

#include "statement.h"

#include <QObject>
#include <QTimer>

#include <chrono>

namespace boxsim {

/// A scenario: lines of "seconds statement", in the order of time. Blank lines and lines that begin with #
/// are passed over.
struct Scenario
{
    struct Step
    {
        int atMs; ///< since the scenario began
        Parsed statement;
    };

    QVector<Step> steps;
    bool isRead = false; ///< the file could be read
    QStringList errors;  ///< why not; or one a mistake: file, line, what was expected

    /// Reads the file @p path or, where there is none, the scenario of that name that boxsim brings. With an
    /// error, nothing of it should be played.
    static Scenario read(const QString& path, Ranges ranges = Ranges::Kept);
    /// The names of those that boxsim brings.
    static QStringList names();
};

/// Plays a scenario, each statement at its time by the one clock.
class Player : public QObject
{
    Q_OBJECT

public:
    /// @p simulation is that of the statements, and must outlive the player, which does what they ask of the
    /// scenario.
    Player(Simulation& simulation, Scenario scenario);

    void start();

signals:
    void finished();

private:
    void await(const Awaited& awaited);
    void resumeAt(Awaited::Event event, int type = 0);
    void loop();
    void playDue();
    void playNextInTime();

    Simulation& m_simulation;
    Scenario m_scenario;
    int m_next = 0;
    Awaited m_awaited;                   // stops the scenario and its clock
    std::chrono::nanoseconds m_begin{0}; // when the scenario's time was 0, by now()
    QTimer m_timer;
};

} // namespace boxsim

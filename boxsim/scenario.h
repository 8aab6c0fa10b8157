#pragma once

#include "statement.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

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
    QStringList errors; ///< one a mistake: file, line, what was expected

    /// Reads the file @p path or, where there is none, the scenario of that name that boxsim brings. With an
    /// error, nothing of it should be played.
    static Scenario read(const QString& path);
};

/// Plays a scenario in real time.
class Player : public QObject
{
    Q_OBJECT

public:
    Player(Box& box, Scenario scenario);

    void start();

    /// Stops the scenario and its clock until resume().
    void hold();
    void resume();

signals:
    void finished();

private:
    void playDue();
    void playNextInTime();

    Box& m_box;
    Scenario m_scenario;
    int m_next = 0;
    bool m_held = false;
    int m_startedAtMs = 0; ///< scenario time at which m_clock was started
    QElapsedTimer m_clock;
    QTimer m_timer;
};

} // namespace boxsim

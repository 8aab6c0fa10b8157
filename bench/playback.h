#pragma once

#include "frame.h"
#include "replay.h"
#include "sentcheck.h"
#include "workbench.h"

/// The head unit that a capture is played to.
struct PlayedHeadUnit
{
    std::function<void(const QByteArray& chunk)> receive; ///< hands the plug-in a chunk
    std::function<CanServiceBase&()> renew;               ///< puts a fresh plug-in in the old one's place
};

/// A capture at play on the bench: what was received reaches the plug-in in the same chunks, and the host's
/// calls are made again. At its end the script ends, behind what it has begun.
class Playback : public QObject
{
    Q_OBJECT

public:
    using Time = Replay::Time;

    struct Options
    {
        Time from{0};                   ///< up to here it is played in virtual time, and nothing is shown
        std::optional<Time> to;         ///< where it ends
        std::optional<Time> longestGap; ///< a longer one passes in virtual time
        int passes = 1;                 ///< how often it is played; 0 for ever
        bool steps = false;             ///< it stands until step() is called
    };

    /// All of them outlive this.
    Playback(CaptureReader& reader, Workbench& bench, Report& report, PlayedHeadUnit headUnit,
             Options options);

    /// Starts with the capture's beginning, on a plug-in that is already started.
    void start();

    // Commands. They throw a CommandError where they cannot be carried out.
    void pause() { m_replay.pause(); }
    bool isPaused() const { return m_replay.isPaused(); }
    void resume();
    void setSpeed(double speed) { m_replay.setSpeed(speed); }
    double speed() const { return m_replay.speed(); } ///< 0 for as fast as the work is done
    /// Plays up to @p time without showing anything; back there with a fresh plug-in. The script waits.
    void seek(Time time);
    /// Plays up to the end of the next frame, at once. The script waits.
    void step();

    /// How far it is, how fast, and whether it stands: "3.0 s of 12.5 s, speed 1, paused"
    QString progress() const;

    /// From now on what the head unit sends is compared with the capture.
    void startCheck();
    /// Tells how the comparison ended. @return whether nothing differed.
    bool finishCheck() { return !m_check || m_check->finish() == 0; }

private:
    void play(const CaptureRecord& record);
    void receive(const QByteArray& chunk);
    void call(const CaptureRecord& record);
    void arrive();
    void renew();
    void endStep();
    void finish();
    void endOver(const QString& error);
    QString portion() const;
    void showProgress();

    CaptureReader& m_reader;
    Workbench& m_bench;
    Report& m_report;
    const PlayedHeadUnit m_headUnit;
    const Options m_options;
    Replay m_replay;
    std::optional<Time> m_end; // of the whole, where that is known
    Time m_beganAt{0};         // by realTime()
    int m_passes = 0;          // that are over
    bool m_isStepping = false;
    bool m_pausesThere = false; // where a seek leads to
    boxsim::Receiver m_frames;  // of the box
    std::optional<SentCheck> m_check;
};

#pragma once

#include "replay.h"

namespace boxsim {

/// The box's half of a capture, for a head unit to which it is played as it was recorded. It begins when the
/// head unit is first heard, and answers nothing but what the capture holds.
class RecordedBox : public QObject
{
    Q_OBJECT

public:
    /// @p reader is open and outlives this.
    explicit RecordedBox(CaptureReader& reader);

    /// Takes a chunk from the line.
    void receive(const QByteArray& chunk);

signals:
    /// One chunk for the line.
    void chunkReady(QByteArray bytes, QString meaning);
    /// Something for the log.
    void noted(QString text);
    /// The capture is over.
    void finished();

private:
    void play(const CaptureRecord& record);

    Replay m_replay;
    bool m_isStarted = false;
};

} // namespace boxsim

#include "recordedbox.h"

#include <utility>

namespace boxsim {

RecordedBox::RecordedBox(CaptureReader& reader)
    : m_replay(reader)
{
    connect(&m_replay, &Replay::due, this, &RecordedBox::play);
    connect(&m_replay, &Replay::finished, this, &RecordedBox::finished);
}

void RecordedBox::receive(const QByteArray&)
{
    if (!std::exchange(m_isStarted, true))
        m_replay.start();
}

void RecordedBox::play(const CaptureRecord& record)
{
    if (record.kind == CaptureRecord::Received)
        emit chunkReady(record.bytes, "as recorded");
    else if (record.kind == CaptureRecord::Call)
        emit noted("the recorded head unit did: " + record.call);
}

} // namespace boxsim

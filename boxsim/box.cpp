#include "box.h"

#include "headunit.h"
#include "log.h"

#include <QTimer>

#include <algorithm>
#include <utility>

namespace boxsim {

namespace {

constexpr int ChunkPauseMs = 20;
const QByteArray AckBytes = QByteArrayLiteral("\xFF");
const QByteArray NakBytes = QByteArrayLiteral("\xF0");

} // namespace

void Box::receive(const QByteArray& chunk, qint64 now)
{
    if (faults.silent) {
        logBytes("rx", chunk, QStringLiteral("ignored, the box is silent"));
        return;
    }
    for (const Received& unit : m_receiver.feed(chunk, now))
        handle(unit);
}

void Box::handle(const Received& unit)
{
    switch (unit.kind) {
    case Received::Good:
        handleFrame(unit);
        break;
    case Received::BadChecksum:
        logBytes("rx", unit.bytes, QStringLiteral("wrong checksum"));
        sendRaw(NakBytes, QStringLiteral("reject"));
        break;
    case Received::Unfinished:
        logBytes("rx", unit.bytes, QStringLiteral("unfinished frame, given up"));
        break;
    case Received::Ack:
        logBytes("rx", unit.bytes, QStringLiteral("acknowledge"));
        break;
    case Received::Nak:
        logBytes("rx", unit.bytes, QStringLiteral("reject"));
        break;
    case Received::Noise:
        logBytes("rx", unit.bytes, QStringLiteral("noise"));
        break;
    }
}

void Box::handleFrame(const Received& unit)
{
    if (std::exchange(faults.rejectNext, false)) {
        logBytes("rx", unit.bytes, QStringLiteral("rejected on demand"));
        sendRaw(NakBytes, QStringLiteral("reject"));
        return;
    }
    const Reaction reaction = react(car, unit.frame);
    logBytes("rx", unit.bytes, reaction.meaning);
    if (reaction.shown)
        show(reaction.meaning);
    sendRaw(AckBytes, QStringLiteral("acknowledge"));
    m_stopped = !reaction.announced.value_or(!m_stopped);
    for (int type : reaction.answers)
        send(type);
    for (int type : reaction.reports)
        report(type);
    if (reaction.announced.value_or(false))
        emit announced();
}

void Box::report(int type)
{
    if (m_stopped)
        logNote(QStringLiteral("not sent, the head unit has stopped the box: ") + frameName(type));
    else
        send(type);
}

void Box::send(int type)
{
    if (faults.silent) // it uses up no fault
        return;
    const QByteArray intact = encode({type, car.payload(type).value()});
    QByteArray bytes = intact;
    if (std::exchange(faults.corruptNext, false))
        bytes.back() = static_cast<char>(~bytes.back());
    bytes.chop(std::exchange(faults.truncateNext, 0));
    bytes.prepend(std::exchange(faults.noiseNext, {}));
    const int chunkSize = std::exchange(faults.splitNext, 0);
    sendInChunks(bytes, chunkSize > 0 ? chunkSize : bytes.size(),
                 bytes == intact ? frameName(type) : frameName(type) + QStringLiteral(", spoilt on demand"));
}

void Box::sendRaw(const QByteArray& bytes, const QString& meaning)
{
    sendInChunks(bytes, bytes.size(), meaning);
}

void Box::fallSilent()
{
    faults.silent = true;
    m_chunks.clear();
}

void Box::sendInChunks(const QByteArray& bytes, int chunkSize, const QString& meaning)
{
    if (faults.silent)
        return;
    const int dropped = std::min(faults.dropBytes, bytes.size());
    faults.dropBytes -= dropped;
    for (int start = dropped; start < bytes.size(); start += chunkSize)
        m_chunks.enqueue({bytes.mid(start, chunkSize), meaning, start + chunkSize < bytes.size()});
    drain();
}

void Box::drain()
{
    while (!m_paused && !m_chunks.isEmpty()) {
        const Chunk chunk = m_chunks.dequeue();
        m_paused = chunk.pause;
        emit chunkReady(chunk.bytes, chunk.meaning);
        if (m_paused)
            QTimer::singleShot(ChunkPauseMs, this, [this] {
                m_paused = false;
                drain();
            });
    }
}

} // namespace boxsim

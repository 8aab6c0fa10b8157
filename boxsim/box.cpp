#include "box.h"

#include "headunit.h"

#include <QTimer>

#include <algorithm>
#include <utility>

using namespace std::chrono;

namespace boxsim {

namespace {

constexpr int ChunkPauseMs = 20;
const QByteArray AckBytes = QByteArrayLiteral("\xFF");
const QByteArray NakBytes = QByteArrayLiteral("\xF0");

} // namespace

void Box::receive(const QByteArray& chunk)
{
    if (faults.silent) {
        emit unitReceived(chunk, "ignored, the box is silent");
        return;
    }
    for (const Received& unit : m_receiver.feed(chunk, floor<milliseconds>(now()).count()))
        handle(unit);
}

void Box::handle(const Received& unit)
{
    switch (unit.kind) {
    case Received::Good:
        handleFrame(unit);
        break;
    case Received::BadChecksum:
        emit unitReceived(unit.bytes, "wrong checksum");
        sendRaw(NakBytes, "reject");
        break;
    case Received::Unfinished:
        emit unitReceived(unit.bytes, "unfinished frame, given up");
        break;
    case Received::Ack:
        emit unitReceived(unit.bytes, "acknowledge");
        break;
    case Received::Nak:
        emit unitReceived(unit.bytes, "reject");
        break;
    case Received::Noise:
        emit unitReceived(unit.bytes, "noise");
        break;
    }
}

void Box::handleFrame(const Received& unit)
{
    if (std::exchange(faults.rejectNext, false)) {
        emit unitReceived(unit.bytes, "rejected on demand");
        sendRaw(NakBytes, "reject");
        return;
    }
    const Reaction reaction = react(car, unit.frame);
    emit unitReceived(unit.bytes, reaction.meaning);
    if (reaction.shown)
        emit asked(reaction.meaning);
    sendRaw(AckBytes, "acknowledge");
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
        emit noted("not sent, the head unit has stopped the box: " + frameName(type));
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
                 bytes == intact ? frameName(type) : frameName(type) + ", spoilt on demand");
}

void Box::sendRaw(const QByteArray& bytes, const QString& meaning)
{
    sendInChunks(bytes, bytes.size(), meaning);
}

void Box::setKey(KeyPad pad, Key key)
{
    constexpr std::array frames{FrameType::SteeringWheelKey, FrameType::PanelKey, FrameType::BluetoothKey};
    const auto index = static_cast<size_t>(pad);
    car.keys[index] = key;
    report(frames[index]);
}

void Box::holdKey(KeyPad pad, int code, milliseconds duration)
{
    setKey(pad, {code, true});
    m_keysReleased = std::max(m_keysReleased, now() + duration);
    QTimer::singleShot(duration, Qt::PreciseTimer, this, [=] { setKey(pad, {code, false}); });
}

milliseconds Box::keysHeldFor() const
{
    return std::max(ceil<milliseconds>(m_keysReleased - now()), 0ms);
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
    while (!m_pause.isSet() && !m_chunks.isEmpty()) {
        const Chunk chunk = m_chunks.dequeue();
        m_pause.set(chunk.pause);
        emit chunkReady(chunk.bytes, chunk.meaning);
        if (m_pause.isSet())
            QTimer::singleShot(ChunkPauseMs, this, [this] {
                m_pause.set(false);
                drain();
            });
    }
}

} // namespace boxsim

#include "box.h"

#include "headunit.h"
#include "words.h"

#include <algorithm>
#include <utility>

using namespace std::chrono;

namespace boxsim {

namespace {

constexpr auto ChunkPause = 20ms;
constexpr auto FloodTick = 10ms;
constexpr double LineBytesPerMs = 3.84; // 38400 baud, ten bits a byte
const QByteArray AckBytes = QByteArrayLiteral("\xFF");
const QByteArray NakBytes = QByteArrayLiteral("\xF0");

// Lets @p timer fire at @p due, by now().
void startUntil(QTimer& timer, nanoseconds due)
{
    timer.start(std::max(ceil<milliseconds>(due - now()), 0ms));
}

} // namespace

Box::Box()
{
    for (QTimer* timer : {&m_delay, &m_line, &m_flood}) {
        timer->setSingleShot(timer != &m_flood);
        timer->setTimerType(Qt::PreciseTimer);
    }
    connect(&m_delay, &QTimer::timeout, this, &Box::release);
    connect(&m_line, &QTimer::timeout, this, &Box::drain);
    connect(&m_flood, &QTimer::timeout, this, &Box::flood);
}

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
        acknowledge(NakBytes, "reject");
        break;
    case Received::Unfinished:
        emit unitReceived(unit.bytes, "unfinished frame, given up");
        break;
    case Received::Ack:
        emit unitReceived(unit.bytes, "acknowledge");
        if (!std::exchange(m_linkUp, true))
            emit linkCameUp();
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
        acknowledge(NakBytes, "reject");
        return;
    }
    const Reaction reaction = react(car, unit.frame);
    emit unitReceived(unit.bytes, reaction.meaning);
    if (reaction.shown)
        emit asked(reaction.meaning);
    acknowledge(AckBytes, "acknowledge");
    m_stopped = !reaction.announced.value_or(!m_stopped);
    if (reaction.announced)
        m_linkUp = false;
    for (int type : reaction.answers)
        send(type);
    for (int type : reaction.reports)
        report(type);
    if (reaction.announced.value_or(false))
        emit announced();
    emit taken(unit.frame.type);
}

// The answer to a frame.
void Box::acknowledge(const QByteArray& answer, const QString& meaning)
{
    if (m_standing.isOn(Fault::NoAck))
        tellUnsent("no-ack", answer, meaning);
    else
        wait({answer, meaning, answer.size()}, Fault::AckDelay);
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
    send(type, frameName(type));
}

void Box::send(int type, const QString& meaning)
{
    const QByteArray intact = encode({type, car.payload(type).value()});
    if (const QString fault = swallower(type); !fault.isEmpty()) // it uses up no fault of a moment
        return tellUnsent(fault, intact, meaning);
    const int chunkSize = std::exchange(faults.splitNext, 0);
    if (chunkSize > 0)
        emit hit({"split", meaning, QString("in chunks of %1 bytes").arg(chunkSize), intact});
    const QByteArray bytes = spoil(intact, meaning);
    const Packet packet{bytes, meaning, chunkSize > 0 ? chunkSize : bytes.size()};
    wait(packet, Fault::Delay);
    if (m_standing.strikes(Fault::Duplicate)) {
        emit hit({"duplicate", meaning, "sent twice", intact});
        wait(packet, Fault::Delay);
    }
}

// The fault that keeps a frame of that type from being sent; empty where there is none.
QString Box::swallower(int type)
{
    if (faults.silent)
        return "silent";
    if (m_standing.mutes(type))
        return "mute";
    return m_standing.strikes(Fault::Loss) ? "loss" : QString();
}

void Box::tellUnsent(const QString& fault, const QByteArray& bytes, const QString& meaning)
{
    emit hit({fault, meaning, "not sent", bytes});
}

// The frame @p intact as it is sent.
QByteArray Box::spoil(const QByteArray& intact, const QString& meaning)
{
    QByteArray bytes = intact;
    const bool strikes = m_standing.strikes(Fault::Corrupt);
    if (std::exchange(faults.corruptNext, false) || strikes) {
        bytes.back() = static_cast<char>(~bytes.back());
        emit hit({"corrupt", meaning, "wrong checksum", intact});
    }
    if (const int missing = std::exchange(faults.truncateNext, 0); missing > 0) {
        bytes.chop(missing);
        emit hit({"truncate", meaning, QString("without its last %1 bytes").arg(missing), intact});
    }
    if (const QByteArray noise = std::exchange(faults.noiseNext, {}); !noise.isEmpty()) {
        bytes.prepend(noise);
        emit hit({"noise", meaning, QString("behind %1 bytes of noise").arg(noise.size()), intact});
    }
    return bytes;
}

void Box::sendRaw(const QByteArray& bytes, const QString& meaning)
{
    if (faults.silent)
        tellUnsent("silent", bytes, meaning);
    else
        enterLine({bytes, meaning, bytes.size()});
}

void Box::sendEvery(milliseconds period, int type)
{
    std::unique_ptr<QTimer>& timer = m_repeated[type];
    timer = std::make_unique<QTimer>();
    timer->setTimerType(Qt::PreciseTimer);
    connect(timer.get(), &QTimer::timeout, this, [this, type] {
        if (!m_stopped)
            send(type);
    });
    timer->start(period);
}

QStringList Box::repetitionStatements() const
{
    QStringList lines;
    for (const auto& [type, timer] : m_repeated)
        lines.append(QString("every %1 send %2").arg(wordOf(timer->intervalAsDuration()), frameWord(type)));
    return lines;
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
    m_lastDue.clear();
    for (const auto& [due, packet] : std::exchange(m_delayed, {}))
        tellUnsent("silent", packet.bytes, packet.meaning);
    for (const Chunk& chunk : std::exchange(m_chunks, {}))
        tellUnsent("silent", chunk.bytes, chunk.meaning);
    applyFaults();
}

void Box::answerAgain()
{
    faults.silent = false;
    applyFaults();
}

void Box::turnOn(Fault fault, const QVector<double>& numbers)
{
    m_standing.turnOn(fault, numbers);
    applyFaults();
}

void Box::turnOff(Fault fault)
{
    m_standing.turnOff(fault);
    applyFaults();
}

void Box::endFaults()
{
    faults = {};
    m_standing.turnAllOff();
    applyFaults();
}

// What waits may go at another time now.
void Box::applyFaults()
{
    if (!m_standing.isOn(Fault::Flood) || faults.silent) {
        m_flood.stop();
    } else if (!m_flood.isActive()) {
        m_floodBytes = 0;
        m_flood.start(FloodTick);
    }
    release();
    drain();
}

// Frames wait apart from answers, each kind in its order.
void Box::wait(Packet packet, Fault delay)
{
    const nanoseconds begin = now();
    nanoseconds& due = m_lastDue[delay];
    due = std::max(due, begin + m_standing.delay(delay));
    if (const auto late = ceil<milliseconds>(due - begin).count(); late > 0) {
        emit hit({faultRows()[static_cast<int>(delay)].name, packet.meaning, QString("%1 ms later").arg(late),
                  packet.bytes});
    }
    m_delayed.emplace(due, std::move(packet));
    release();
}

void Box::release()
{
    while (!m_delayed.empty() && m_delayed.begin()->first <= now())
        enterLine(m_delayed.extract(m_delayed.begin()).mapped());
    m_delays.set(!m_delayed.empty());
    if (!m_delayed.empty())
        startUntil(m_delay, m_delayed.begin()->first);
}

void Box::enterLine(const Packet& packet)
{
    const auto& [bytes, meaning, size] = packet;
    const int dropped = std::min(faults.dropBytes, bytes.size());
    faults.dropBytes -= dropped;
    if (dropped > 0)
        emit hit({"drop", meaning, QString("without its first %1 bytes").arg(dropped), bytes});
    for (int start = dropped; start < bytes.size(); start += size)
        m_chunks.enqueue({bytes.mid(start, size), meaning, start + size < bytes.size(), now()});
    drain();
}

// Hands on the chunks that are through by now. A slow line hands a chunk on as a whole when its last byte has
// gone.
void Box::drain()
{
    while (!m_chunks.isEmpty()) {
        const Chunk& next = m_chunks.head();
        const nanoseconds gone = std::max(m_lineFree, next.since) + m_standing.lineTime(next.bytes.size());
        const nanoseconds through = m_standing.stallEnd(gone);
        m_lines.set(through > now());
        if (m_lines.isSet())
            return startUntil(m_line, through);
        if (through > gone) {
            const auto late = ceil<milliseconds>(through - gone).count();
            emit hit({"stall", next.meaning, QString("%1 ms later").arg(late), next.bytes});
        }
        m_lineFree = next.pause ? now() + ChunkPause : through;
        handOn(m_chunks.dequeue());
    }
    m_lines.set(false);
}

void Box::handOn(Chunk chunk)
{
    const QByteArray intact = chunk.bytes;
    if (const int bits = m_standing.flip(chunk.bytes); bits > 0)
        emit hit({"flip", chunk.meaning, QString("%1 bits flipped").arg(bits), intact});
    m_floodBytes -= chunk.bytes.size();
    emit chunkReady(chunk.bytes, chunk.meaning);
}

// Fills up with frames what the line has room for since the last time.
void Box::flood()
{
    const QList<int> types = frameTypes();
    const double room = LineBytesPerMs * static_cast<double>(milliseconds(FloodTick).count());
    m_floodBytes = std::min(m_floodBytes + room, room);
    for (int tries = types.size(); tries > 0 && m_floodBytes > 0 && m_chunks.isEmpty(); --tries) {
        m_nextFlooding = (m_nextFlooding + 1) % types.size();
        const int type = types[m_nextFlooding];
        send(type, frameName(type) + ", flood");
    }
}

} // namespace boxsim

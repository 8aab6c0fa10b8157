// Receiving: frames are reassembled from the chunks of the serial line, checked, acknowledged and dispatched.
//
//   0x2E | type | length | payload | checksum      checksum: inverted 8-bit sum of the three before it
//
// Recovery: there is no escaping and no end mark, so a header byte is looked for only while idle. A bad
// checksum is answered with a rejection and drops the frame; the bytes behind it are scanned for a header
// again. A damaged length makes the parser take what follows for payload, until that many bytes have come or
// the watchdog ends the frame: it starts with the first chunk that finds a frame unfinished and fires 500 ms
// later.

#include "log.h"
#include "payload.h"
#include "protocol.h"
#include "simpleservice.h"

#include <configmanager.h>

#include <algorithm>
#include <utility>

namespace canservice {

namespace {

// The numbers stand in log lines. From AwaitPayload on, a payload is in the parser's hands.
enum ParseState { Idle = 0, AwaitLength = 1, AwaitType = 2, AwaitPayload = 3, AwaitChecksum = 4 };

constexpr int StatusAlive = 3;

// The lines of the steps below stand under the operation that they make up.
constexpr char Receiving[] = "void canservice::SimpleService::onDataReady(QByteArray)";

} // namespace

inline bool SimpleService::hasBytes() const
{
    return m_next != m_chunkEnd;
}

// The place in the chunk moves on before a byte takes effect, so that whatever the host does in a call that a
// step makes, no byte is read twice.
inline int SimpleService::takeByte()
{
    return static_cast<unsigned char>(*m_next++);
}

inline void SimpleService::readIdle()
{
    const int byte = takeByte();
    if (byte == FrameHeader)
        m_parseState = AwaitType;
    else if (byte == Acknowledge && m_next - m_chunkBegin == 1)
        acceptSignOfLife();
}

inline void SimpleService::readType()
{
    m_frameType = takeByte();
    m_frameSum = m_frameType;
    m_parseState = AwaitLength;
}

inline void SimpleService::readLength()
{
    m_frameRemaining = takeByte();
    m_frameSum += m_frameRemaining;
    m_payload.resize(m_frameRemaining); // keeps the memory
    m_parseState = m_frameRemaining > 0 ? AwaitPayload : AwaitChecksum;
}

// As much of the payload as the chunk holds. Payloads are short: one loop is cheaper than a call to copy.
inline void SimpleService::readPayload()
{
    const auto count = std::min<std::ptrdiff_t>(m_frameRemaining, m_chunkEnd - m_next);
    m_next += count;
    m_frameRemaining -= static_cast<int>(count);
    const char* const in = m_next;
    char* const out = m_payload.end() - m_frameRemaining;
    int sum = m_frameSum;
    for (auto i = -count; i != 0; ++i) {
        out[i] = in[i];
        sum += static_cast<unsigned char>(in[i]);
    }
    m_frameSum = sum;
    if (m_frameRemaining == 0)
        m_parseState = AwaitChecksum;
}

// Idle again before anything leaves the plug-in: the host may deliver the next chunk in any call.
inline void SimpleService::finishFrame(int checksum)
{
    m_parseState = Idle;
    if (checksum == (~m_frameSum & 0xFF))
        takeFrame();
    else
        rejectFrame();
}

void SimpleService::rejectFrame()
{
    m_serialPort.writeData(m_rejection, true);
    CAN_ERROR_OF(Receiving, "checksum err!");
}

// Frames take effect one after the other, in the order of the line: one that comes while the host is called
// for another is acknowledged and waits. A slot may run an event loop, so what comes there does not wait.
inline void SimpleService::takeFrame()
{
    const int type = m_frameType;
    QByteArray payload;
    payload.swap(m_payload);
    const bool isNext = m_hostCalls < 0 || (m_hostCalls == 0 && m_waiting.isEmpty());
    if (!isNext)
        wait({type, payload});
    const int outerCalls = std::exchange(m_hostCalls, 1);
    m_serialPort.writeData(m_acknowledgement, true);
    m_hostCalls = 0;
    if (isNext)
        dispatchEvent(type, payload);
    if (outerCalls <= 0 && !m_waiting.isEmpty())
        takeWaiting();
    m_hostCalls = outerCalls;
    // The memory is used again, unless a frame was left half received, in a payload of its own.
    if (m_parseState < AwaitPayload)
        payload.swap(m_payload);
}

void SimpleService::wait(const Frame& frame)
{
    m_waiting.enqueue(frame);
    m_parseOutTimer.stop();
}

void SimpleService::takeWaiting()
{
    while (!m_waiting.isEmpty()) {
        Frame frame = m_waiting.dequeue();
        dispatchEvent(frame.type, frame.payload);
    }
}

// The steps of a frame, in the order of its bytes: each leads to the next one while the chunk lasts.
void SimpleService::readChunk()
{
    while (hasBytes()) {
        if (m_parseState == Idle)
            readIdle();
        if (m_parseState == AwaitType && hasBytes())
            readType();
        if (m_parseState == AwaitLength && hasBytes())
            readLength();
        if (m_parseState == AwaitPayload && hasBytes())
            readPayload();
        if (m_parseState == AwaitChecksum && hasBytes())
            finishFrame(takeByte());
    }
}

inline void SimpleService::beginChunk(const Chunk& chunk)
{
    m_next = m_chunkBegin = chunk.begin;
    m_chunkEnd = chunk.end;
    if (m_parseState != Idle && !m_parseOutTimer.isActive())
        m_parseOutTimer.start();
}

void SimpleService::onDataReady(QByteArray buf)
{
    if (Q_UNLIKELY(hasBytes() || m_chunks || logCategory.isDebugEnabled())) {
        readInTurn(buf);
        return;
    }
    beginChunk({buf.constBegin(), buf.constEnd(), nullptr});
    readChunk();
}

// The host may bring us here again in every call that leaves the plug-in, the lines below included: each
// chunk takes its place behind those that came before it, and whoever gets to it first reads it.
void SimpleService::readInTurn(const QByteArray& bytes)
{
    Chunk chunk{bytes.constBegin(), bytes.constEnd(), nullptr};
    Chunk** place = &m_chunks;
    while (*place)
        place = &(*place)->following;
    *place = &chunk;
    CAN_DEBUG_OF(Receiving, ConfigManager::instance()->getPluginFullPath());
    CAN_DEBUG_OF(Receiving, bytes.toHex());
    readChunk();
    while (m_chunks) {
        beginChunk(*m_chunks);
        m_chunks = m_chunks->following;
        readChunk();
    }
}

void SimpleService::acceptSignOfLife()
{
    CAN_DEBUG_OF(Receiving, m_parseState, m_ackWaitCount);
    markAlive();
}

void SimpleService::onmParseOutTmrout()
{
    CAN_DEBUG("parse out!!!", m_parseState);
    m_parseState = Idle;
}

void SimpleService::markAlive()
{
    m_ackWaitCount = 0;
    m_ackWaitTimer.stop();
    m_requestConnectTimer.stop();
    m_checkConnectTimer.start();
    emit notifyCanbusStatus(StatusAlive);
}

void SimpleService::dispatchEvent(int type, QByteArray& payload)
{
    using Decoder = void (SimpleService::*)(int, QByteArray&);
    struct Row
    {
        frame::FromBox type;
        Decoder decoder;
    };
    // In the order of their types.
    static constexpr Row rows[] = {
        {frame::FrontRadar, &SimpleService::doFrontRadar},
        {frame::RearRadar, &SimpleService::doRearRadar},
        {frame::OilElectric, &SimpleService::doOilElecric},
        {frame::SteeringWheelKey, &SimpleService::doSWC},
        {frame::DrivingData, &SimpleService::doMileageInfo},
        {frame::InstantFuel, &SimpleService::doInsFuelInfo},
        {frame::FuelHistory, &SimpleService::doHisFuelInfo},
        {frame::BaseInfo, &SimpleService::doBaseInfo},
        {frame::TirePressure, &SimpleService::doTpnsInfo},
        {frame::BodySettings, &SimpleService::doBodySetStatus},
        {frame::PastFuel, &SimpleService::doPast15Fuel},
        {frame::Climate, &SimpleService::doConditioner},
        {frame::SteeringWheelAngle, &SimpleService::doSWCAngle},
        {frame::PanelKey, &SimpleService::doPanelKey},
        {frame::InstantPower, &SimpleService::doInsPowerInfo},
        {frame::BluetoothKey, &SimpleService::doSWCBtInfo},
        {frame::Version, &SimpleService::doVersion},
        {frame::Amplifier, &SimpleService::doAmpInfo},
        {frame::SystemInfo, &SimpleService::doSystemInfo},
        {frame::Touch, &SimpleService::doTouchInfo},
        {frame::CarSettings, &SimpleService::doCarSetStatus},
        {frame::CarSettingsAnswer, &SimpleService::doCarSetReturnStatus},
        {frame::SeatClimate, &SimpleService::doConditioner2},
        {frame::MultiCd, &SimpleService::doMultiCDStatus},
        {frame::MediaDisplay, &SimpleService::doMediaInfoDisplay},
        {frame::RearCeiling, &SimpleService::doRearCeiling},
        {frame::RearCeilingMedia, &SimpleService::doRearCeilingMedia},
    };
    constexpr int First = std::begin(rows)->type;
    constexpr int Last = std::rbegin(rows)->type;
    // By type, from the first: null where a type has no decoder.
    static constexpr auto decoders = [] {
        std::array<Decoder, Last - First + 1> table{};
        for (const Row& row : rows)
            table[static_cast<std::size_t>(row.type - First)] = row.decoder;
        return table;
    }();
    m_parseOutTimer.stop();
    markAlive();
    if (type < First || type > Last)
        return;
    if (const Decoder decoder = decoders[static_cast<std::size_t>(type - First)])
        (this->*decoder)(type, payload);
}

bool SimpleService::hasSize(const QByteArray& payload, int size, const char* decoder)
{
    const bool fits = payload.size() == size;
    if (fits)
        CAN_DEBUG_OF(decoder, payload.toHex());
    else
        CAN_DEBUG_OF(decoder, "paraBuf size:", payload.size());
    return fits;
}

int SimpleService::getCheckSum(QByteArray& bytes)
{
    int sum = 0;
    for (const char byte : qAsConst(bytes))
        sum += static_cast<unsigned char>(byte);
    return ~sum & 0xFF;
}

QString SimpleService::toString(unsigned char byte)
{
    return QString::asprintf("%02x", static_cast<unsigned>(byte));
}

QString SimpleService::toString(QByteArray& bytes)
{
    QString text;
    for (const char byte : qAsConst(bytes))
        text += toString(static_cast<unsigned char>(byte)) + QLatin1Char(' ');
    return text;
}

int SimpleService::combineBytes(unsigned char a, unsigned char b)
{
    return a << 8 | b;
}

int SimpleService::combineBytes(unsigned char a, unsigned char b, unsigned char c)
{
    return combineBytes(a, b) << 8 | c;
}

int SimpleService::combineBytes(unsigned char a, unsigned char b, unsigned char c, unsigned char d)
{
    return static_cast<int>(static_cast<quint32>(combineBytes(a, b, c)) << 8 | d);
}

} // namespace canservice

// Receiving: frames are reassembled from the chunks of the serial line, checked, acknowledged and dispatched.
//
//   0x2E | type | length | payload | checksum        checksum = inverted 8-bit sum of type, length and
//   payload
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

namespace canservice {

namespace {

// The numbers stand in log lines.
enum ParseState { Idle = 0, AwaitLength = 1, AwaitType = 2, AwaitPayload = 3, AwaitChecksum = 4 };

constexpr int SignOfLife = 0xFF;
constexpr int StatusAlive = 3;

const QByteArray& acknowledgement()
{
    static const QByteArray byte = QByteArrayLiteral("\xFF");
    return byte;
}

const QByteArray& rejection()
{
    static const QByteArray byte = QByteArrayLiteral("\xF0");
    return byte;
}

} // namespace

void SimpleService::onDataReady(QByteArray buf)
{
    CAN_DEBUG << ConfigManager::instance()->getPluginFullPath();
    CAN_DEBUG << buf.toHex();
    // A slot that runs an event loop brings us here while an earlier chunk is not yet read to its end.
    readChunk();
    if (m_parseState != Idle && !m_parseOutTimer.isActive())
        m_parseOutTimer.start();
    m_chunk = buf;
    m_chunkRead = 0;
    readChunk();
}

// The place in the chunk moves on before a byte takes effect, so that whatever a slot does, no byte is read
// twice.
void SimpleService::readChunk()
{
    while (m_chunkRead < m_chunk.size()) {
        if (m_parseState == AwaitPayload) {
            readPayload();
        } else {
            const int position = m_chunkRead++;
            readByte(byteAt(m_chunk, position), position == 0);
        }
    }
}

// As much of the payload as the chunk holds.
void SimpleService::readPayload()
{
    const int count = std::min(m_frameRemaining, m_chunk.size() - m_chunkRead);
    const char* const bytes = m_chunk.constData() + m_chunkRead;
    m_payload.append(bytes, count);
    for (int i = 0; i < count; ++i)
        m_frameSum += static_cast<unsigned char>(bytes[i]);
    m_chunkRead += count;
    m_frameRemaining -= count;
    if (m_frameRemaining == 0)
        m_parseState = AwaitChecksum;
}

void SimpleService::readByte(int byte, bool chunkStart)
{
    switch (m_parseState) {
    case Idle:
        if (byte == FrameHeader) {
            m_parseState = AwaitType;
        } else if (chunkStart && byte == SignOfLife) {
            CAN_DEBUG << m_parseState << m_ackWaitCount;
            markAlive();
        }
        break;
    case AwaitType:
        m_frameType = byte;
        m_frameSum = byte;
        m_parseState = AwaitLength;
        break;
    case AwaitLength:
        m_frameRemaining = byte;
        m_frameSum += byte;
        m_payload.resize(0); // keeps the memory
        m_parseState = m_frameRemaining > 0 ? AwaitPayload : AwaitChecksum;
        break;
    case AwaitChecksum:
        finishFrame(byte);
        break;
    }
}

// Idle again, and the payload out of the parser's hands, before the frame takes effect: a slot may run an
// event loop that receives the next frame.
void SimpleService::finishFrame(int checksum)
{
    m_parseState = Idle;
    if (checksum != (~m_frameSum & 0xFF)) {
        m_serialPort.writeData(rejection(), true);
        CAN_ERROR << "checksum err!";
        return;
    }
    m_serialPort.writeData(acknowledgement(), true);
    QByteArray payload;
    payload.swap(m_payload);
    dispatchEvent(m_frameType, payload);
    payload.swap(m_payload);
}

void SimpleService::onmParseOutTmrout()
{
    CAN_DEBUG << "parse out!!!" << m_parseState;
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
    // By type, from the first: null where a type has no decoder.
    static constexpr auto decoders = [] {
        std::array<Decoder, frame::RearCeilingMedia - frame::FrontRadar + 1> table{};
        for (const Row& row : rows)
            table[static_cast<std::size_t>(row.type - frame::FrontRadar)] = row.decoder;
        return table;
    }();
    if (m_parseOutTimer.isActive())
        m_parseOutTimer.stop();
    markAlive();
    if (type < frame::FrontRadar || type > frame::RearCeilingMedia)
        return;
    if (const Decoder decoder = decoders[static_cast<std::size_t>(type - frame::FrontRadar)])
        (this->*decoder)(type, payload);
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

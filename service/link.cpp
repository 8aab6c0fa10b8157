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
    if (m_parseState != Idle && !m_parseOutTimer.isActive())
        m_parseOutTimer.start();
    for (int i = 0; i < buf.size(); ++i)
        parseByte(byteAt(buf, i), i == 0);
}

void SimpleService::parseByte(int byte, bool chunkStart)
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
        m_payload.clear();
        m_parseState = m_frameRemaining > 0 ? AwaitPayload : AwaitChecksum;
        break;
    case AwaitPayload:
        m_payload.append(static_cast<char>(byte));
        m_frameSum += byte;
        if (--m_frameRemaining == 0)
            m_parseState = AwaitChecksum;
        break;
    case AwaitChecksum:
        finishFrame(byte);
        break;
    }
}

void SimpleService::finishFrame(int checksum)
{
    if (checksum == (~m_frameSum & 0xFF)) {
        m_serialPort.writeData(acknowledgement(), true);
        dispatchEvent(m_frameType, m_payload);
    } else {
        m_serialPort.writeData(rejection(), true);
        CAN_ERROR << "checksum err!";
    }
    m_parseState = Idle;
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
    if (m_parseOutTimer.isActive())
        m_parseOutTimer.stop();
    markAlive();
    for (const Row& row : rows) {
        if (row.type == type) {
            (this->*row.decoder)(type, payload);
            return;
        }
    }
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

// Construction, and the life of the link: announce the head unit, watch that the CAN box is alive.
//
//   announcing  m_requestConnectTimer runs: stop and start frame every 2 s
//   up          m_checkConnectTimer runs: any good frame or sign of life comes here, from every state
//   polling     30 s of silence: m_ackWaitTimer runs beside it; its fourth tick without an answer is the loss

#include "log.h"
#include "protocol.h"
#include "simpleservice.h"

#include <canbusmanager.h>
#include <settings.h>

namespace canservice {

namespace {

constexpr int BaudRate = 38400;
constexpr int CheckConnectMs = 30000;
constexpr int RequestConnectMs = 2000;
constexpr int AckWaitMs = 300;
constexpr int ParseOutMs = 500;
constexpr int LastQuietTick = 2; // ticks of the answer watch that pass before the one that declares the loss
constexpr int StatusLost = 0;

constexpr int ClimateBytes = 12;
constexpr int LongestPayload = 255;
constexpr int LongestText = 64; // characters; a longer unit text only costs an allocation
constexpr int CarBrightnessLevels = 20;

constexpr int NoCarModel = 255;

} // namespace

SimpleService::SimpleService()
    : m_acknowledgement(1, static_cast<char>(Acknowledge))
    , m_rejection(1, static_cast<char>(Reject))
{
    m_serialPort.open(QString(), BaudRate);
    connect(&m_serialPort, SIGNAL(read(QByteArray)), this, SLOT(onDataReady(QByteArray)));
    m_longPressTimer.setSingleShot(true);
    connect(&m_longPressTimer, SIGNAL(timeout()), this, SLOT(onLongPressTimeout()));
    m_checkConnectTimer.setInterval(CheckConnectMs);
    connect(&m_checkConnectTimer, SIGNAL(timeout()), this, SLOT(onCheckConnectTmrout()));
    m_requestConnectTimer.setInterval(RequestConnectMs);
    connect(&m_requestConnectTimer, SIGNAL(timeout()), this, SLOT(onRequestConnect()));
    m_ackWaitTimer.setInterval(AckWaitMs);
    connect(&m_ackWaitTimer, SIGNAL(timeout()), this, SLOT(onSendTmrout()));
    m_parseOutTimer.setInterval(ParseOutMs);
    m_parseOutTimer.setSingleShot(true);
    connect(&m_parseOutTimer, SIGNAL(timeout()), this, SLOT(onmParseOutTmrout()));
    m_acData.fill('\0', ClimateBytes);
    m_acData2.fill('\0', ClimateBytes);
    initData();
    initUnitMaxLevel();
    // Memory of their own, kept for good: receiving a frame that changes nothing allocates nothing.
    m_payload.reserve(LongestPayload);
    m_work.reserve(LongestText);
}

void SimpleService::initData()
{
    initRadar();
    lightBrightnessTransform(CarBrightnessLevels, m_brightnessMap);
}

void SimpleService::start()
{
    sendStop();
    sendStart();
    sendBodyConreolSet(command::Startup, 1);
    const int drivingPosition = mem::SettingsUtil::instance()->getSaver()->getValue(
        QLatin1String("DriverPosition"), QLatin1String("/media/flash/nvm/factory/settings.ini"), false);
    sendBodyConreolSet(command::DrivingPosition, static_cast<unsigned char>(drivingPosition));
    const int index = CanBusManager::instance()->getHwdCarModelIndex();
    const auto indexByte = static_cast<unsigned char>(index);
    CAN_DEBUG(index, static_cast<int>(indexByte));
    if (index != NoCarModel)
        sendCarModelSet(indexByte);
    sendRadarSet(command::Radar, 1);
    m_requestConnectTimer.start();
    sendTirePressureReset();
}

// The timers keep running: from now on their frames go to the closed port.
void SimpleService::stop()
{
    sendStop();
    disconnect(&m_serialPort, SIGNAL(read(QByteArray)), this, SLOT(onDataReady(QByteArray)));
    m_serialPort.close();
}

void SimpleService::onCheckConnectTmrout()
{
    sendRequest(frame::Version, frame::AllParameters);
    m_ackWaitTimer.start();
}

void SimpleService::onSendTmrout()
{
    if (m_ackWaitCount <= LastQuietTick) {
        ++m_ackWaitCount;
        return;
    }
    m_ackWaitCount = 0;
    m_ackWaitTimer.stop();
    m_checkConnectTimer.stop();
    m_requestConnectTimer.start();
    emit notifyCanbusStatus(StatusLost);
}

void SimpleService::onRequestConnect()
{
    sendStop();
    sendStart();
}

// NOLINTNEXTLINE(cert-dcl50-cpp): the host's trace hook is printf-style
void SimpleService::print(const char*, ...) {}

} // namespace canservice

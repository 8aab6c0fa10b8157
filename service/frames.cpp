// Sending: every frame to the CAN box is built here and written at once. There is no queue and no retry.

#include "log.h"
#include "protocol.h"
#include "simpleservice.h"

namespace canservice {

namespace {

constexpr unsigned char AllParameters = 0xFF;

QByteArray bytes(unsigned char a)
{
    return QByteArray(1, static_cast<char>(a));
}

QByteArray bytes(unsigned char a, unsigned char b)
{
    return bytes(a) + bytes(b);
}

} // namespace

// The length byte is the frame type's, whatever @p data holds: the callers always pass that many bytes.
void SimpleService::writeFrame(unsigned char type, unsigned char length, const QByteArray& data, bool flag)
{
    QByteArray body = bytes(type, length) + data;
    body.append(static_cast<char>(getCheckSum(body)));
    m_serialPort.writeData(static_cast<char>(FrameHeader) + body, flag);
}

void SimpleService::sendStart()
{
    writeFrame(frame::Link, 1, bytes(1), true);
}

void SimpleService::sendStop()
{
    writeFrame(frame::Link, 1, bytes(0), true);
}

void SimpleService::sendBodyConreolSet(unsigned char command, unsigned char value)
{
    writeFrame(frame::BodyControl, 2, bytes(command, value), false);
}

void SimpleService::sendRadarSet(unsigned char command, unsigned char value)
{
    sendBodyConreolSet(command, value);
}

void SimpleService::sendTirePressureReset()
{
    sendBodyConreolSet(command::TirePressureReset, 1);
}

void SimpleService::sendRequest(unsigned char type, unsigned char parameter)
{
    writeFrame(frame::Request, 2, bytes(type, parameter), false);
}

void SimpleService::sendTouchSet(QByteArray data)
{
    writeFrame(frame::CameraTouch, 6, data, true);
}

void SimpleService::sendMeterSet(QByteArray data)
{
    writeFrame(frame::SourceInformation, 34, data, false);
}

void SimpleService::sendLandscapeAcSet(QByteArray data)
{
    writeFrame(frame::LandscapeClimate, 6, data, true);
}

void SimpleService::sendVerticalAcSet(unsigned char command, unsigned char value)
{
    writeFrame(frame::VerticalClimate, 2, bytes(command, value), true);
}

void SimpleService::sendCarModelSet(unsigned char index)
{
    writeFrame(frame::CarModel, 1, bytes(index), true);
}

int SimpleService::sendAnyData(QByteArray& data)
{
    return m_serialPort.writeData(data, false);
}

void SimpleService::requsetClimate()
{
    sendRequest(frame::Climate, AllParameters);
    sendRequest(frame::SeatClimate, AllParameters);
}

void SimpleService::requsetParkAssist()
{
    sendRequest(frame::FrontRadar, AllParameters);
    sendRequest(frame::RearRadar, AllParameters);
}

void SimpleService::requsetVehicleInfo()
{
    sendRequest(frame::BaseInfo, AllParameters);
    sendRequest(frame::TirePressure, AllParameters);
}

void SimpleService::requsetDrinvingData()
{
    sendRequest(frame::DrivingData, AllParameters);
}

void SimpleService::requsetFuel()
{
    sendRequest(frame::InstantFuel, AllParameters);
    sendRequest(frame::FuelHistory, AllParameters);
}

// The instantaneous consumption carries the unit code.
void SimpleService::requsetUnitSettings()
{
    sendRequest(frame::InstantFuel, AllParameters);
}

// The rear radar frame carries the other-information bit.
void SimpleService::requsetOtherInfo()
{
    sendRequest(frame::RearRadar, AllParameters);
}

// The clock frame: hour, minute, and whether the clock shows 12 hours. The hour is cut to 8 bits.
GPSTimePacket SimpleService::GPSTimeSend(GPSTime& time)
{
    CAN_DEBUG << "GPSTimeSend";
    const bool twelveHours = time.clockFormat == 0;
    const bool afternoon = twelveHours && time.meridiem == 3;
    const auto hour = static_cast<unsigned char>(afternoon ? time.hour - 12 : time.hour);
    writeFrame(frame::Clock, 3, bytes(hour, time.minute) + bytes(twelveHours ? 1 : 0), false);
    return {0, 0, 1, 0, 0, 1, 1};
}

} // namespace canservice

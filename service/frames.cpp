// Sending: every frame to the CAN box is built here and written at once. There is no queue and no retry.

#include "payload.h"
#include "protocol.h"
#include "simpleservice.h"

namespace canservice {

// The length byte is the frame type's, whatever @p data holds: the callers always pass that many bytes.
void SimpleService::writeFrame(const frame::ToBox& frame, const QByteArray& data)
{
    QByteArray body = bytesOf(frame.type, frame.length) + data;
    body.append(static_cast<char>(getCheckSum(body)));
    m_serialPort.writeData(static_cast<char>(FrameHeader) + body, frame.flag);
}

void SimpleService::sendStart()
{
    writeFrame(frame::Link, bytesOf(1));
}

void SimpleService::sendStop()
{
    writeFrame(frame::Link, bytesOf(0));
}

void SimpleService::sendBodyConreolSet(unsigned char command, unsigned char value)
{
    writeFrame(frame::BodyControl, bytesOf(command, value));
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
    writeFrame(frame::Request, bytesOf(type, parameter));
}

void SimpleService::sendTouchSet(QByteArray data)
{
    writeFrame(frame::CameraTouch, data);
}

void SimpleService::sendMeterSet(QByteArray data)
{
    writeFrame(frame::SourceInformation, data);
}

void SimpleService::sendLandscapeAcSet(QByteArray data)
{
    writeFrame(frame::LandscapeClimate, data);
}

void SimpleService::sendVerticalAcSet(unsigned char command, unsigned char value)
{
    writeFrame(frame::VerticalClimate, bytesOf(command, value));
}

void SimpleService::sendCarModelSet(unsigned char index)
{
    writeFrame(frame::CarModel, bytesOf(index));
}

int SimpleService::sendAnyData(QByteArray& data)
{
    return m_serialPort.writeData(data, false);
}

void SimpleService::requsetClimate()
{
    sendRequest(frame::Climate, frame::AllParameters);
    sendRequest(frame::SeatClimate, frame::AllParameters);
}

void SimpleService::requsetParkAssist()
{
    sendRequest(frame::FrontRadar, frame::AllParameters);
    sendRequest(frame::RearRadar, frame::AllParameters);
}

void SimpleService::requsetVehicleInfo()
{
    sendRequest(frame::BaseInfo, frame::AllParameters);
    sendRequest(frame::TirePressure, frame::AllParameters);
}

void SimpleService::requsetDrinvingData()
{
    sendRequest(frame::DrivingData, frame::AllParameters);
}

void SimpleService::requsetFuel()
{
    sendRequest(frame::InstantFuel, frame::AllParameters);
    sendRequest(frame::FuelHistory, frame::AllParameters);
}

// The instantaneous consumption carries the unit code.
void SimpleService::requsetUnitSettings()
{
    sendRequest(frame::InstantFuel, frame::AllParameters);
}

// The rear radar frame carries the other-information bit.
void SimpleService::requsetOtherInfo()
{
    sendRequest(frame::RearRadar, frame::AllParameters);
}

} // namespace canservice

#pragma once

// The bytes of the CAN box's line protocol that more than one place names.

namespace canservice {

constexpr unsigned char FrameHeader = 0x2E;

// Single bytes outside of frames.
constexpr unsigned char Acknowledge = 0xFF; ///< from the box also its sign of life
constexpr unsigned char Reject = 0xF0;

namespace frame {

/// Frame types from the CAN box.
enum FromBox : unsigned char {
    FrontRadar = 0x1D,
    RearRadar = 0x1E,
    OilElectric = 0x1F,
    SteeringWheelKey = 0x20,
    DrivingData = 0x21,
    InstantFuel = 0x22,
    FuelHistory = 0x23,
    BaseInfo = 0x24,
    TirePressure = 0x25,
    BodySettings = 0x26,
    PastFuel = 0x27,
    Climate = 0x28,
    SteeringWheelAngle = 0x29,
    PanelKey = 0x2A,
    InstantPower = 0x2B,
    BluetoothKey = 0x2F,
    Version = 0x30,
    Amplifier = 0x31,
    SystemInfo = 0x32,
    Touch = 0x33,
    CarSettings = 0x50,
    CarSettingsAnswer = 0x52,
    SeatClimate = 0x58,
    MultiCd = 0x61,
    MediaDisplay = 0x62,
    RearCeiling = 0x66,
    RearCeilingMedia = 0x67,
};

/// A frame to the CAN box.
struct ToBox
{
    unsigned char type;
    unsigned char length; ///< data bytes
    bool flag;            ///< handed to SerialPort::writeData()
};

constexpr ToBox Link{0x81, 1, true};
constexpr ToBox BodyControl{0x83, 2, false};
constexpr ToBox Request{0x90, 2, false};
constexpr ToBox CameraTouch{0x98, 6, true};
constexpr ToBox SourceInformation{0x99, 34, false};
constexpr ToBox Clock{0x9D, 3, false};
constexpr ToBox LandscapeClimate{0xC7, 6, true};
constexpr ToBox VerticalClimate{0xE0, 2, true};
constexpr ToBox CarModel{0xE2, 1, true};

constexpr unsigned char AllParameters = 0xFF; ///< of a request

} // namespace frame

namespace command {

/// Commands of the body-control frame: its first data byte.
enum Body : unsigned char {
    Radar = 0x16,
    FuelUnit = 0x24,
    Startup = 0x32, ///< part of the announcement, with value 1
    DrivingPosition = 0x39,
    TirePressureReset = 0x68,
};

} // namespace command

} // namespace canservice

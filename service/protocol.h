#pragma once

// The bytes of the CAN box's line protocol that more than one place names.

namespace canservice {

constexpr int FrameHeader = 0x2E;

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

/// Frame types to the CAN box.
enum ToBox : unsigned char {
    Link = 0x81,
    BodyControl = 0x83,
    Request = 0x90,
    CameraTouch = 0x98,
    SourceInformation = 0x99,
    Clock = 0x9D,
    LandscapeClimate = 0xC7,
    VerticalClimate = 0xE0,
    CarModel = 0xE2,
};

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

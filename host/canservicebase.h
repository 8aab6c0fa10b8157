#pragma once

#include "canserviceiid.h"
#include "records.h"

#include <QMap>
#include <QObject>
#include <QString>
#include <QStringList>

/// The head unit's abstract CAN service. The host loads one plug-in whose instance implements it.
///
/// The host calls the operations through their virtual slots, so their order is part of the binary
/// interface: an operation is never moved, inserted or removed. Names are the host's, letter for letter.
/// Every call arrives, and every signal is emitted, on the thread that owns the object. A signal announces
/// that the matching getters already return the new values.
class Q_DECL_EXPORT CanServiceBase : public QObject
{
    Q_OBJECT

public:
    explicit CanServiceBase(QObject* parent = nullptr)
        : QObject(parent)
    {
    }

    // Link.
    /// Announces the head unit to the CAN box and watches the link from now on.
    virtual void start() = 0;
    /// Signs off and closes the serial port for good: what is sent later is lost.
    virtual void stop() = 0;
    virtual int request(int, int) = 0;
    /// The CAN box's version text; empty until the box has told it.
    virtual QString version() = 0;

    // Body.
    virtual void requestSpeed() = 0;
    // No frame carries the speed, the total mileages or the steering angle: their answers never change.
    virtual float getSpeed() = 0;
    virtual QString getSpeedUnit() = 0;
    virtual QString getTemperatureStr() = 0;
    /// Outside temperature; 1000.0 while it is unknown.
    virtual float getTemperature() = 0;
    virtual QString getTemperatureUnit() = 0;

    // Trip.
    virtual float getTimeAllMileage() = 0;
    virtual float getOilAllMileage() = 0;
    virtual int requestDrivingData() = 0;
    virtual int requestMaintenanceData() { return -1; }
    virtual int getVehicleData(QMap<QString, QString>& data) = 0;
    virtual int setSettings(int, int) = 0;
    virtual int getEarGlonass() { return -1; }
    virtual int getMileageUnits() { return -1; }
    virtual int flushDebugFile() = 0;
    virtual int getRotate() = 0;
    virtual int getCoolantTemp() { return -1; }
    virtual QString getCoolantTempUnit() { return {}; }

    // Doors.
    /// Bit 7 right front, 6 left front, 5 right rear, 4 left rear, 3 back door; bits 0 to 2 are 0.
    virtual int getDoorStatus() = 0;
    /// Always false: no bit tells of it.
    virtual bool isFrontDoorOpen() = 0;
    /// The back door, bit 3.
    virtual bool isRearDoorOpen() = 0;
    virtual bool isLeftRearDoorOpen() = 0;
    virtual bool isRightRearDoorOpen() = 0;
    virtual bool isLeftFrontDoorOpen() = 0;
    virtual bool isRightFrontDoorOpen() = 0;
    virtual bool isRadarStatus() { return true; }

    // Tyres. A pressure of -1.0 means no value.
    /// -1 until the box has reported that it has no valid pressures, then 0.
    virtual int getTireAlertType() = 0;
    /// The status of each wheel is always 0.
    virtual int getTireStatusFR() = 0;
    virtual int getTireStatusFL() = 0;
    virtual int getTireStatusRL() = 0;
    virtual int getTireStatusRR() = 0;
    virtual float getTirePressureValueFR() = 0;
    virtual float getTirePressureValueFL() = 0;
    virtual float getTirePressureValueRL() = 0;
    virtual float getTirePressureValueRR() = 0;
    virtual QString getTireUnit() = 0;
    virtual float getBatteryVoltageValue() { return -1.0F; }
    virtual QString getBatteryVoltageUnit() { return {}; }
    virtual int getBatteryVoltageAlertType() { return 0; }

    // Climate.
    virtual bool isPowerOff() = 0;
    virtual bool isPowerOffRear() = 0;
    virtual bool isRearClimate() = 0;
    virtual bool isAcMax() = 0;
    virtual bool isAc() = 0;
    virtual bool isInside() = 0;
    virtual bool isAuto() = 0;
    virtual bool isDual() = 0;
    virtual bool isRearDefrost() = 0;
    virtual bool isFrontDefrost() = 0;
    /// Front seats, heating here and ventilation below: 3 is the highest level, and also what a car model
    /// that reports none reads as.
    virtual int getAcFrontLeftHeat() = 0;
    virtual int getAcFrontRightHeat() = 0;
    virtual int getAcRearLeftHeat() = 0;
    virtual int getAcRearRightHeat() = 0;
    virtual bool isAcSwcHeat() = 0;
    virtual bool isAcGlassHeat() = 0;
    virtual bool isAirCareActive() = 0;
    virtual int getAirConProfile() = 0;
    virtual int getLeftVentilation() = 0;
    virtual int getRightVentilation() = 0;
    virtual int getAcWindMode() = 0;
    virtual int getAcWindScale() = 0;
    virtual int getAcWindModeRear() = 0;
    virtual int getAcWindScaleRear() = 0;
    /// 0 or 1. An int, which a host that declares bool reads the same.
    virtual int getAcShowRequest() = 0;
    /// Degrees in the unit of getAcTemperatureUnit(); -100.0 and -101.0 are the markers of the lowest and the
    /// highest setting, 0.0 stands for a code that no setting has.
    virtual float getAcTemperature() = 0;
    virtual float getAcRightTemperature() = 0;
    virtual float getAcRearTemperature() = 0;
    virtual QString getAcTemperatureUnit() = 0;
    virtual QString getAcRightTemperatureUnit() = 0;
    virtual int getAcAirClearStatus() { return -1; }

    // Commands to the car.
    /// @param key the host's climate key, 0 to 34. @param value only logged: every call is a press and a
    /// release.
    /// @return -1 for car models that take no climate keys, else 0, also for keys that send nothing.
    virtual int sendAcKey(int key, int value) = 0;
    /// Sends nothing. @return 0.
    virtual int sendCarSettingKey(int item, int value) = 0;
    /// Key 0 forwards the touch; all others do nothing. @return 0.
    virtual int sendCameraKey(int key, CameraData data) = 0;
    virtual void sendLangCode() {}
    virtual int getManualClimateMode() { return -1; }
    virtual int getDualControllableState() { return 1; }

    // Parking radar: 1 (nearest) to 8, or 255 for no obstacle.
    virtual int getFrontRadarLeftDistance() = 0;
    virtual int getFrontRadarMiddleLeftDistance() = 0;
    virtual int getFrontRadarMiddleRightDistance() = 0;
    virtual int getFrontRadarRightDistance() = 0;
    virtual int getRearRadarLeftDistance() = 0;
    virtual int getRearRadarMiddleLeftDistance() = 0;
    virtual int getRearRadarMiddleRightDistance() = 0;
    virtual int getRearRadarRightDistance() = 0;
    virtual int getLeftRadarFrontDistance() = 0;
    virtual int getLeftRadarMiddleFrontDistance() = 0;
    virtual int getLeftRadarMiddleRearDistance() = 0;
    virtual int getLeftRadarRearDistance() = 0;
    virtual int getRightRadarFrontDistance() = 0;
    virtual int getRightRadarMiddleFrontDistance() = 0;
    virtual int getRightRadarMiddleRearDistance() = 0;
    virtual int getRightRadarRearDistance() = 0;

    // Records. Each int is 0 where the record was filled.
    /// 0 or 1; -1 until the box has reported it.
    virtual int getCameraMode() = 0;
    virtual int getAmbientStatus() { return 1; }
    virtual CarSettingData getCarSettingData() = 0;
    virtual int getDrivingData(DrivingData& data) = 0;
    virtual QString getDrivingDataTitle1() { return {}; }
    virtual QString getDrivingDataTitle2() { return {}; }
    virtual QString getDrivingDataTitle3() { return {}; }
    virtual void setDrivingDataPage(int) {}
    virtual int getMaintenanceData(VehicleMaintenanceData&) { return -1; }
    virtual int getFuelConsumptionData(FuelConsumptionData& data) = 0;
    virtual int getUnitData(UnitData& data) = 0;
    /// Asks the car to switch unit @p item to its next value; only item 0, the fuel consumption, does
    /// anything.
    virtual void setUnitCmd(int item) = 0;
    virtual int getOtherInfoData(OtherInfoData& data) = 0;

    // Head-unit information to the car.
    /// @param band names the radio band; @param infoTexts for the radio the frequency and the station, for
    /// media title, artist and album; @param sourceType 0 radio, 1 to 4 media, 5 AUX, any other sends
    /// nothing.
    virtual void onRadioSourceInformation(QString band, QStringList infoTexts, int sourceType) = 0;
    /// Asks the car for it; getCanDrivingPosition() follows when the car reports it.
    virtual void setCanDrivingPosition(int position) = 0;
    /// 0 or 1; 2 until the car has reported it.
    virtual int getCanDrivingPosition() = 0;

    // Requests for the box's frames. Those of gauges, car settings and maintenance send nothing.
    virtual void requsetGauges() = 0;
    virtual void requsetClimate() = 0;
    virtual void requsetParkAssist() = 0;
    virtual void requsetVehicleInfo() = 0;
    virtual void requsetCarSetting() = 0;
    virtual void requsetDrinvingData() = 0;
    virtual void requsetMaintenance() = 0;
    virtual void requsetFuel() = 0;
    virtual void requsetUnitSettings() = 0;
    virtual void requsetOtherInfo() = 0;

    virtual GPSTimePacket GPSTimeSend(GPSTime& time) = 0;
    /// Writes @p data to the CAN box as it is. @return what SerialPort::writeData() returns.
    virtual int sendAnyData(QByteArray& data) = 0;

Q_SIGNALS:
    /// 3: the CAN box is alive, emitted for every good frame and sign of life. 0: the link is lost.
    void notifyCanbusStatus(int status);
    void acStatusChanged();
    void doorChanged();
    void canDrivingPositionChanged();
    void sigRadarChanged();
    void otherInfoDataChanged();
    void tireAlert();
    void tireDataChanged();
    void drivingDataChanged();
    void fuelDataChanged();
    void unitDataChanged();
    void sigVersionData();
    void sigCameraMode();
    /// @p key is the host's key code, @p state 0 pressed, 1 released, 2 held for 1.5 s, 3 released after
    /// that.
    void keyEvent(int key, int state, bool steeringWheel);
};

Q_DECLARE_INTERFACE(CanServiceBase, CanServiceBase_iid)

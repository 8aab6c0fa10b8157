#pragma once

#include <canservicebase.h>
#include <serialport.h>

#include <QByteArray>
#include <QMap>
#include <QQueue>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <array>
#include <limits>

namespace canservice {

namespace frame {
struct ToBox;
}

/// The CAN service for Toyota and Lexus cars: speaks with the CAN box over the serial line, keeps the car's
/// state and serves the host's CanServiceBase interface.
///
/// Everything runs on the thread that owns the object; nothing is locked. Decoded state is never reset: a
/// stop, a lost link or a missing frame leaves the last values in place. A decoder stores a value before it
/// emits the value's signal. What the overridden operations do stands at CanServiceBase.
class SimpleService : public CanServiceBase
{
    Q_OBJECT
    Q_INTERFACES(CanServiceBase)
    Q_PLUGIN_METADATA(IID CanServiceBase_iid)

public:
    /// Opens the port and configures the timers; writes nothing and starts nothing before start().
    SimpleService();

    // Link: lifecycle.cpp
    void start() override;
    void stop() override;
    int request(int, int) override { return 0; }
    QString version() override;

    // Body: body.cpp
    void requestSpeed() override {}
    float getSpeed() override;
    QString getSpeedUnit() override;
    QString getTemperatureStr() override;
    float getTemperature() override;
    QString getTemperatureUnit() override;

    // Trip: trip.cpp
    float getTimeAllMileage() override;
    float getOilAllMileage() override;
    int requestDrivingData() override { return 0; }

    int getVehicleData(QMap<QString, QString>&) override { return 0; }
    int setSettings(int, int) override { return 0; }
    int flushDebugFile() override { return -1; }
    int getRotate() override;

    // Doors: body.cpp
    int getDoorStatus() override;
    bool isFrontDoorOpen() override;
    bool isRearDoorOpen() override;
    bool isLeftRearDoorOpen() override;
    bool isRightRearDoorOpen() override;
    bool isLeftFrontDoorOpen() override;
    bool isRightFrontDoorOpen() override;

    // Tyres: tyres.cpp
    int getTireAlertType() override;
    int getTireStatusFR() override;
    int getTireStatusFL() override;
    int getTireStatusRL() override;
    int getTireStatusRR() override;
    float getTirePressureValueFR() override;
    float getTirePressureValueFL() override;
    float getTirePressureValueRL() override;
    float getTirePressureValueRR() override;
    QString getTireUnit() override;

    // Climate: climate.cpp
    bool isPowerOff() override;
    bool isPowerOffRear() override;
    bool isRearClimate() override;
    bool isAcMax() override;
    bool isAc() override;
    bool isInside() override;
    bool isAuto() override;
    bool isDual() override;
    bool isRearDefrost() override;
    bool isFrontDefrost() override;
    int getAcFrontLeftHeat() override;
    int getAcFrontRightHeat() override;
    int getAcRearLeftHeat() override;
    int getAcRearRightHeat() override;
    bool isAcSwcHeat() override;
    bool isAcGlassHeat() override;
    bool isAirCareActive() override;
    int getAirConProfile() override;
    int getLeftVentilation() override;
    int getRightVentilation() override;
    int getAcWindMode() override;
    int getAcWindScale() override;
    int getAcWindModeRear() override;
    int getAcWindScaleRear() override;
    int getAcShowRequest() override;
    float getAcTemperature() override;
    float getAcRightTemperature() override;
    float getAcRearTemperature() override;
    QString getAcTemperatureUnit() override;
    QString getAcRightTemperatureUnit() override;

    // Commands: climatekeys.cpp, settings.cpp, boxinfo.cpp
    int sendAcKey(int key, int value) override;
    int sendCarSettingKey(int item, int value) override;
    int sendCameraKey(int key, CameraData data) override;

    // Parking radar: radar.cpp
    int getFrontRadarLeftDistance() override;
    int getFrontRadarMiddleLeftDistance() override;
    int getFrontRadarMiddleRightDistance() override;
    int getFrontRadarRightDistance() override;
    int getRearRadarLeftDistance() override;
    int getRearRadarMiddleLeftDistance() override;
    int getRearRadarMiddleRightDistance() override;
    int getRearRadarRightDistance() override;
    int getLeftRadarFrontDistance() override;
    int getLeftRadarMiddleFrontDistance() override;
    int getLeftRadarMiddleRearDistance() override;
    int getLeftRadarRearDistance() override;
    int getRightRadarFrontDistance() override;
    int getRightRadarMiddleFrontDistance() override;
    int getRightRadarMiddleRearDistance() override;
    int getRightRadarRearDistance() override;

    // Camera: boxinfo.cpp; records: settings.cpp, trip.cpp, fuel.cpp, radar.cpp
    int getCameraMode() override;
    CarSettingData getCarSettingData() override;
    int getDrivingData(DrivingData& data) override;
    int getFuelConsumptionData(FuelConsumptionData& data) override;
    int getUnitData(UnitData& data) override;
    void setUnitCmd(int item) override;
    int getOtherInfoData(OtherInfoData& data) override;

    // Head-unit information: headunitinfo.cpp; driving position: body.cpp
    void onRadioSourceInformation(QString band, QStringList infoTexts, int sourceType) override;
    void setCanDrivingPosition(int position) override;
    int getCanDrivingPosition() override;

    // Requests: frames.cpp; clock: headunitinfo.cpp
    void requsetGauges() override {}
    void requsetClimate() override;
    void requsetParkAssist() override;
    void requsetVehicleInfo() override;
    void requsetCarSetting() override {}
    void requsetDrinvingData() override;
    void requsetMaintenance() override {}
    void requsetFuel() override;
    void requsetUnitSettings() override;
    void requsetOtherInfo() override;
    GPSTimePacket GPSTimeSend(GPSTime& time) override;
    int sendAnyData(QByteArray& data) override;

protected:
    /// A printf-style trace hook that does nothing.
    void print(const char* format, ...);

    // Link, receiving: link.cpp
    /// Marks the link alive and hands the frame to the decoder of its type. @p payload is the parser's
    /// buffer.
    void dispatchEvent(int type, QByteArray& payload);
    /// The inverted 8-bit sum over @p bytes (type, length and payload of a frame), 0 to 255.
    int getCheckSum(QByteArray& bytes);
    /// Two lower-case hexadecimal digits.
    static QString toString(unsigned char byte);
    /// Two lower-case hexadecimal digits and a blank for each byte.
    static QString toString(QByteArray& bytes);
    /// The big-endian value of the bytes.
    static int combineBytes(unsigned char a, unsigned char b);
    static int combineBytes(unsigned char a, unsigned char b, unsigned char c);
    static int combineBytes(unsigned char a, unsigned char b, unsigned char c, unsigned char d);

    // Decoders, one for each frame type of the box. None uses the type; the payload is valid during the call.
    void doFrontRadar(int type, QByteArray& payload);
    void doRearRadar(int type, QByteArray& payload);
    void doSWC(int type, QByteArray& payload);
    void doMileageInfo(int type, QByteArray& payload);
    void doInsFuelInfo(int type, QByteArray& payload);
    void doHisFuelInfo(int type, QByteArray& payload);
    void doBaseInfo(int type, QByteArray& payload);
    void doTpnsInfo(int type, QByteArray& payload);
    void doConditioner(int type, QByteArray& payload);
    void doPanelKey(int type, QByteArray& payload);
    void doSWCBtInfo(int type, QByteArray& payload);
    void doVersion(int type, QByteArray& payload);
    void doSystemInfo(int type, QByteArray& payload);
    void doConditioner2(int type, QByteArray& payload);
    // Accepted and ignored: signs of life and no more.
    void doOilElecric(int, QByteArray&) {}
    void doBodySetStatus(int, QByteArray&) {}
    void doPast15Fuel(int, QByteArray&) {}
    void doSWCAngle(int, QByteArray&) {}
    void doInsPowerInfo(int, QByteArray&) {}
    void doAmpInfo(int, QByteArray&) {}
    void doTouchInfo(int, QByteArray&) {}
    void doCarSetStatus(int, QByteArray&) {}
    void doCarSetReturnStatus(int, QByteArray&) {}
    void doMultiCDStatus(int, QByteArray&) {}
    void doMediaInfoDisplay(int, QByteArray&) {}
    void doRearCeiling(int, QByteArray&) {}
    void doRearCeilingMedia(int, QByteArray&) {}

    // Link, sending: frames.cpp. Each builds one frame and writes it at once.
    void sendStart();
    void sendStop();
    void sendBodyConreolSet(unsigned char command, unsigned char value);
    void sendRadarSet(unsigned char command, unsigned char value);
    void sendTirePressureReset();
    /// Asks for the frame of @p type; @p parameter is 0xFF in every use.
    void sendRequest(unsigned char type, unsigned char parameter);
    /// @p data holds 6 bytes.
    void sendTouchSet(QByteArray data);
    /// @p data holds 34 bytes.
    void sendMeterSet(QByteArray data);
    /// @p data holds 6 bytes.
    void sendLandscapeAcSet(QByteArray data);
    void sendVerticalAcSet(unsigned char command, unsigned char value);
    void sendCarModelSet(unsigned char index);
    // They send nothing.
    void sendAmpSet(unsigned char, unsigned char) {}
    void sendControlCommand(unsigned char, unsigned char) {}
    void sendVoiceSet(unsigned char, unsigned char) {}
    void sendBtPhoneSet(unsigned char, unsigned char) {}
    void sendHostDialngNum(unsigned char, unsigned char) {}
    void sendNaviSet(unsigned char, unsigned char) {}
    void sendTimeSet(unsigned char, unsigned char) {}

    /// The text rule of the trip computer: "--" where @p raw equals @p invalid, else @p value with one
    /// decimal directly followed by @p unit. Stores it in @p target and sets @p changed if it differs.
    static void updataString(float value, int raw, int invalid, QString& target, bool& changed, QString& work,
                             QString unit);

    /// Whether the current car model takes the landscape climate frame.
    bool isLandscapeAc();
    /// Whether the current car model reports seat heating and ventilation levels.
    bool onNotSuppHeatingCoolDisp();
    /// Makes the landscape command bit field six 0x00 bytes.
    void initLandscapeAcData();

    void initData();
    void initRadar();
    void initUnitMaxLevel();
    /// Maps the host's brightness steps 0 to 20 to the car's levels 0 to @p maxLevel (at least 1): in @p map
    /// for up to 20 levels, in m_brightnessTable for more.
    void lightBrightnessTransform(unsigned char maxLevel, QMap<unsigned char, unsigned char>& map);

    void onSendRadioInfo(QString band, QStringList infoTexts);
    void onSendRadioFreq(QString band, QStringList infoTexts);
    void onSendMediaSong(unsigned char sourceCode, QStringList infoTexts);
    void onSendMediaSongName(unsigned char sourceCode, QStringList infoTexts);
    void onSendMediaSinger(unsigned char sourceCode, QStringList infoTexts);
    void onSendMediaAlbum(unsigned char sourceCode, QStringList infoTexts);

private slots:
    void onDataReady(QByteArray buf);
    void onLongPressTimeout();
    void onCheckConnectTmrout();
    void onRequestConnect();
    void onSendTmrout();
    void onmParseOutTmrout();

private:
    /// What the port has delivered. It lives as long as the call of onDataReady() that got it.
    struct Chunk
    {
        const char* begin;
        const char* end;
        Chunk* following; ///< that was delivered next, while both wait
    };
    /// A good frame: type, 0 to 255, and payload.
    struct Frame
    {
        int type;
        QByteArray payload;
    };

    static constexpr int NoFrame = std::numeric_limits<int>::min() / 2; ///< below zero with any calls

    void readInTurn(const QByteArray& bytes);
    void beginChunk(const Chunk& chunk);
    void readChunk();
    bool hasBytes() const;
    int takeByte();
    void readIdle();
    void readType();
    void readLength();
    void readPayload();
    void finishFrame(int checksum);
    void takeFrame();
    void rejectFrame();
    void wait(const Frame& frame);
    void takeWaiting();
    void acceptSignOfLife();
    void markAlive();
    /// Whether @p payload holds @p size bytes. Writes the first line of the decoder with that signature: the
    /// payload, or its wrong size.
    bool hasSize(const QByteArray& payload, int size, const char* decoder);
    void writeFrame(const frame::ToBox& frame, const QByteArray& data);
    bool applyRadarCodes(const QByteArray& payload, int firstEntry);
    // The last argument is the signature of the operation that asks, for its log lines.
    /// @return the highest instantaneous consumption that is shown in the unit.
    float applyFuelUnitCode(const QByteArray& payload, QString& unitText, const char* operation);
    float frontTemperature(int byteIndex, const char* operation);
    int seatLevel(int byteIndex, int shift, const char* operation);
    int ventilationLevel(int shift, const char* operation);
    bool isCarModelListed(const char* enumeration, const char* label, const char* operation);
    void pressVerticalKey(unsigned char command);
    /// The UTF-16 code units of @p text, low byte first, as many as fit in @p size bytes, filled with zeros.
    QByteArray textField(const QString& text, int size, const char* operation);
    void handleKey(int key, int action, bool fromSteeringWheel);

protected:
    // The state. The order is fixed: it is the order of construction, and of destruction backwards.
    canservice::SerialPort m_serialPort;
    qint32 m_parseState = 0; ///< what the parser waits for: the numbers of link.cpp, which stand in log lines
    qint32 m_frameType = 0;  ///< of the frame that is being received
    qint32 m_frameRemaining = 0; ///< payload bytes still expected
    qint32 m_frameSum = 0;       ///< of type, length and payload bytes; only the low byte counts
    QByteArray m_payload; ///< of the frame's full length: the last m_frameRemaining bytes are still to come
    qint32 m_doorStatus = 0;              ///< door bits, see CanServiceBase::getDoorStatus()
    float m_outsideTemperature = 1000.0F; ///< no frame carries it
    bool m_temperatureTextDirty = false;  ///< m_temperatureText must be built anew
    QString m_temperatureUnit = QChar(0x2103);
    QString m_temperatureText;
    QTimer m_longPressTimer;
    qint32 m_pressedKey = 0; ///< host key code of the held key, 0 to 255
    QByteArray m_acData;     ///< last climate frame's payload; 12 zeros before the first
    QByteArray m_acData2;    ///< last seat frame's payload; 12 zeros before the first
    QByteArray m_radarData;  ///< 19 levels: front 0 to 3, rear 4 to 7, sides 8 to 15, 0xFF for no obstacle
    CarSettingData m_carSettingData;
    QByteArray m_totalMileageData; ///< no frame fills it
    QString m_versionString;       ///< of the CAN box
    OtherInfoData m_otherInfoData;
    FuelConsumptionData m_fuelConsumptionData;
    DrivingData m_drivingData;
    QString m_insFuelUnitText; ///< unit of the instantaneous consumption
    QString m_hisFuelUnitText; ///< unit of the consumption history
    QString m_mileageUnitText; ///< unit of the trip's distances
    qint32 m_tireAlertType = -1;
    std::array<qint32, 4> m_tireStatus{}; ///< front left, front right, rear left, rear right
    std::array<float, 4> m_tirePressure{{-1.0F, -1.0F, -1.0F, -1.0F}}; ///< same order, in the unit m_tireUnit
    QString m_tireUnit;
    qint32 m_rotate = 0;      ///< no frame carries it
    qint32 m_cameraMode = -1; ///< 0 or 1; -1 until the box has reported it
    bool m_keyFromSteeringWheel = false;
    bool m_keyDown = false;
    QTimer m_checkConnectTimer;   ///< link up: silence ends with a poll
    QTimer m_requestConnectTimer; ///< link down: announce the head unit again
    QTimer m_ackWaitTimer;        ///< a poll waits for an answer
    qint32 m_ackWaitCount = 0;    ///< ticks of m_ackWaitTimer since the poll
    QTimer m_parseOutTimer;       ///< watchdog of an unfinished frame
    QMap<unsigned char, unsigned char> m_brightnessMap;
    std::array<quint8, 21> m_brightnessTable{};
    qint32 m_canDrivingPosition = 2; ///< 0 or 1; 2 until the car has reported it
    QByteArray m_landscapeAcData;    ///< bit field of the last landscape climate command
    UnitData m_unitData;

    // Beyond the table above, each for its own topic.
    Chunk* m_chunks = nullptr;          ///< that wait, in the order of the line
    const char* m_chunkBegin = nullptr; ///< of the chunk that is being read
    const char* m_next = nullptr;       ///< its first byte that the parser has not read
    const char* m_chunkEnd = nullptr;   ///< its end
    int m_hostCalls = NoFrame; ///< that are being made for the frame that takes effect, signals not counted
    QQueue<Frame> m_waiting;   ///< acknowledged in such a call
    // With memory of their own, for a host that keeps what it is to write; made once, not for each frame.
    const QByteArray m_acknowledgement;
    const QByteArray m_rejection;
    QByteArray m_versionPayload; ///< the bytes of m_versionString
    QString m_work;              ///< room for updataString() to build a text in

public:
    // The car models: what isCarModelListed() looks up by name.
    /// Ids of the car models whose climate takes the vertical command frame; all others take the landscape
    /// frame.
    enum KelmoToyotaVerticalCarModle {
        Reiz_2005_2008_Portrait = 153,
        Prado_2010_Portrait = 132,
        LandCruiser_2022__Portrait = 86,
        Tundra_2010_2019__Portrait = 174,
        Yaris_Cross__Turkey__2023__Portrait = 188,
        Harrier_2022_Portrait = 62,
        Cross_2022_Portrait = 47,
        Frontlander_2022_Portrait = 58,
        Venza_2022_Portrait = 179,
        bZ4X_2023_Portrait = 11,
        Camry_2012_Portrait = 15,
        Prado_2010_2014_Auto_AC__Portrait = 133,
        Camry_2015_Portrait = 19,
        Reiz_2015_Portrait = 160,
        LandCruiser_2012_Portrait = 82,
        LandCruiser_2016_Portrait = 83,
        Reiz_2012_Portrait = 158,
        Camry_2008_2011_Portrait = 14,
        Prado_2014_Manual_AC__Portrait = 134,
        Highlander_2015_2018_Auto_AC__Portrait = 66,
        Highlander_2015_2018_Manua_AC__Portrait = 67,
        Highlander_2009_Auto_AC___Portrait = 64,
        Highlander_2009_Manual_AC__Portrait = 65,
        Corolla_2007_Auto_AC__Portrait = 35,
        Corolla_2014_Auto_AC__Portrait = 37,
        Reiz_2005_2009_Auto_AC__Portrait = 156,
        RAV4_2009_2012_Auto_AC__Portrait = 147,
        Tundra_2014_Auto_AC__Portrait = 175,
        Tundra_2014_Manual_AC__Portrait = 176,
        Prado_2018__Auto_AC__Portrait = 135,
        Prado_2018_Manual_AC__Portrait = 136,
        LandCruiser_2007_2015_Top_end_Auto_AC__Portrait = 81,
        Camry_2018_Auto_AC__Portrait = 21,
        RAV4__2016_2018_Auto_AC__Portrait = 146,
        Crown_13Gen_2010_2012___Portrait = 49,
        Reiz_2013_Auto_AC__Top_end_Portrait = 159,
        Sequoia_2010_Auto_AC__Portrait = 164,
        Sequoia_2010_ManualAC__Portrait = 165,
        Camry_2012_2017_Portrait = 18,
        Camry_2018_2021_Portrait = 23,
        LandCruiser_1998_2002_LC100_Portrait = 78,
        Avalon_2019_2021_Portrait = 9,
        RAV4_2016_2021_Portrait = 149,
        Wildlander_2020_2021_Portrait = 184,
        CHR_EV_2020_Portrait = 25,
        Lexus_RX_High_end_2009_2014__Portrait = 115,
        Lexus_LS_2004_2006_Portrait = 105,
        Lexus_GS_2004_2007_Portrait = 100,
        Complete_RAV4_Series_Portrait = 33,
        Complete_Corolla_Series_Portrait = 29,
        Complete_Levin_Series_Portrait = 32,
        Complete_Reiz_Series_Portrait = 34,
        Complete_CHR_Series_Portrait = 28,
        Complete_Izoa_Series_Portrait = 31,
        Complete_Hilux__Series_Portrait = 30,
        Complete_Ailon_Series_Portrait = 27,
        Lexus_RX_1998_2007__Portrait = 111,
        Previa_2006_2009_Portrait = 141,
        Alphard_2006_Portrait = 5,
        Lexus_NX_2014_2016_Vertical_screen = 110,
        Lexus_IS300C_2009_Portrait = 104,
        Lexus_LS460L_2007_Portrait = 109,
        Lexus_ES_2013_2017_Portrait = 98,
        Lexus_ES_2005_2020_Portrait = 97,
        Lexus_RX_2009_2014_Mid_to_low__Portrait = 114,
        LandCruiser_2016_2020_ = 84,
        Cross_2022 = 46,
        Camry_2012_2017_2012_Top_end_with_AMP__Hybrid = 17,
        LandCruiser_2007_2015_High_end_Portrait = 80,
        Corolla_Taiwan__2019 = 43,
        RAV4_Taiwan__2019 = 145,
        Previa__Malaysia__2016 = 139,
    };
    Q_ENUM(KelmoToyotaVerticalCarModle)

    /// Ids of the car models that do not report seat heating and ventilation levels.
    enum KelmoToyotaHeatingCoolingCarModle {
        HC_Complete_RAV4_Series_Portrait = 33,
        HC_Complete_Corolla_Series_Portrait = 29,
        HC_Complete_Levin_Series_Portrait = 32,
        HC_Camry_2012_2017 = 16,
        HC_Complete_Reiz_Series_Portrait = 34,
        HC_Complete_CHR_Series_Portrait = 28,
        HC_Complete_Izoa_Series_Portrait = 31,
        HC_Highlander_2009_Auto_AC___Portrait = 64,
        HC_Highlander_2009_Manual_AC__Portrait = 65,
        HC_Complete_Hilux__Series_Portrait = 30,
        HC_Complete_Ailon_Series_Portrait = 27,
        HC_Previa_2006_2009_Portrait = 141,
        HC_Alphard_2006_Portrait = 5,
        HC_LandCruiser_1998_2002_LC100_Portrait = 78,
        HC_Tundra_2010_2019__Portrait = 174,
        HC_LandCruiser_2022__Portrait = 86,
        HC_Yaris_Cross__Turkey__2023__Portrait = 188,
        HC_Camry_2018_2021_Hybrid_360_ = 22,
        HC_Avalon_2019_2021_Portrait = 9,
        HC_RAV4_2016_2021_Portrait = 149,
        HC_Wildlander_2020_2021_Portrait = 184,
        HC_CHR_EV_2020_Portrait = 25,
        HC_Prado_360__2008_2018 = 137,
        HC_Sienna_360__2015_2022 = 171,
        HC_Crown_Klliger_2022 = 52,
        HC_Runner_America_2020 = 0,
        HC_Harrier_2022_Portrait = 62,
        HC_Cross_2022_Portrait = 47,
        HC_Frontlander_2022_Portrait = 58,
        HC_Venza_2022_Portrait = 179,
        HC_bZ4X_2023_Portrait = 11,
        HC_Crown_13Gen_2010_2012___Portrait = 49,
        HC_Lexus_RX_High_end_2009_2014__Portrait = 115,
        HC_Lexus_LS_2004_2006_Portrait = 105,
        HC_Lexus_GS_2004_2007_Portrait = 100,
        HC_Lexus_RX_1998_2007__Portrait = 111,
        HC_Reiz_2005_2008_Portrait = 153,
        HC_Lexus_IS300C_2009_Portrait = 104,
        HC_Lexus_LS460L_2007_Portrait = 109,
        HC_Prado_2010_Portrait = 132,
        HC_Corolla_Taiwan__2019 = 43,
        HC_RAV_Taiwan__2019 = 145,
        HC_Previa_Taiwan_JapanMalaysia__2006_2015_ = 142,
        HC_Camry_2018_2021_Portrait = 23,
        HC_RAV4_2009_2012_Auto_AC__Portrait = 147,
        HC_Camry_2012_2017_Portrait = 18,
        HC_Highlander_2015_2022 = 68,
        HC_LandCruiser_2016_2020 = 84,
    };
    Q_ENUM(KelmoToyotaHeatingCoolingCarModle)
};

} // namespace canservice

#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

// The host's value records. Their layout is part of the binary interface: the order, the types and the sizes
// of the fields are the host's. Fields are numbered where the host gives them no meaning that the service
// knows.

/// Display texts of the trip computer. The service fills texts 0, 1, 2 and 4.
struct DrivingData
{
    QString texts[18];
};

/// Display texts of the fuel consumption: text 0 the instantaneous value, texts 1 to 5 the history.
struct FuelConsumptionData
{
    QString texts[6];
};

/// The car's units: three parallel lists of six unit items each. Item 0 is the fuel-consumption unit.
struct UnitData
{
    UnitData()
    {
        for (int item = 0; item < 6; ++item) {
            maxLevels.append(0);
            curLevels.append(0);
            curTexts.append(QString());
        }
    }

    QList<int> maxLevels; ///< how many values can be selected, 0 where the item is not used
    QList<int> curLevels; ///< index of the value that the car reported last
    QStringList curTexts; ///< display text of that value
};

/// The car's settings as the host's settings screen reads them.
struct CarSettingData
{
    quint8 setting0 = 1;
    quint8 setting1 = 255;
    quint8 setting2 = 255;
    quint8 setting3 = 1;
    quint8 setting4 = 1;
    QByteArray setting5 = QByteArray::number(16777215, 10);
    quint8 setting6 = 255;
    quint8 setting7 = 1;
    quint8 setting8 = 1;
    quint8 setting9 = 1;
    qint32 setting10 = 1;
};

/// Texts that belong to no other record. The service fills text6.
struct OtherInfoData
{
    QString text0;
    QString text1;
    QString text2;
    QString text3;
    QString text4;
    QString text5;
    QString text6; ///< which parking-radar text the car asks for
    QString text7;
    QString text8;
    quint8 otherFlag = 1;
};

/// A touch on the camera picture, passed by value. A host that declares more plain fields behind the two that
/// the service reads passes these two at the same place on 32-bit ARM. On 64-bit ARM a record of more than 16
/// bytes, and anywhere one with a field that is not trivially copyable, is passed by its address instead: the
/// declaration must then be the host's own.
struct CameraData
{
    qint32 touchX = 0;
    qint32 touchY = 0;
    qint32 hostFields[2] = {0, 0}; ///< stand for what the host declares here; not read
};

/// The time that the head unit knows.
struct GPSTime
{
    quint8 minute = 0;                   ///< 0 to 59
    quint8 hour = 0;                     ///< 0 to 23
    quint8 hostFields[4] = {0, 0, 0, 0}; ///< not read
    quint8 clockFormat = 0;              ///< 0: 12-hour clock, else 24-hour clock
    quint8 meridiem = 0;                 ///< with the 12-hour clock, 3 means that the hour counts 12 too many
};

/// The host's answer record of the clock call.
struct GPSTimePacket
{
    quint8 value0 = 0;
    quint8 value1 = 0;
    quint8 value2 = 0;
    qint32 value3 = 0;
    qint32 value4 = 0;
    quint8 value5 = 0;
    quint8 value6 = 0;
};

/// Only ever passed by reference, and never touched by the service.
struct VehicleMaintenanceData
{
};

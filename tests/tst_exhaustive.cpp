// What conversations cannot: every value of a byte, every length of a frame, every key and every car model,
// against tables.

#include "testmain.h"

#include "operations.h"

class ExhaustiveTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void fixedLengths();
    void radarCodes();
    void climateFields();
    void climateKeys();
    void unitCodes();
    void doors();
    void clock();
    void temperatures();
    void decimals();
    void carModels();

private:
    /// Sends a frame of @p size zero bytes but for @p bytes, offset to value. @return what it brings about
    /// besides its acknowledgement and the sign of life.
    QStringList receive(int type, int size, const QMap<int, int>& bytes, int filler = 0);

    RecordingHost& m_host = RecordingHost::instance();
};

void ExhaustiveTest::init()
{
    m_host.restart();
    m_host.take();
}

void ExhaustiveTest::cleanup()
{
    m_host.setLogs(false);
}

// A frame of another length is logged with its size, and changes nothing.
void ExhaustiveTest::fixedLengths()
{
    const QMap<int, int> lengths{{0x1D, 4}, {0x1E, 5}, {0x20, 2}, {0x24, 2}, {0x25, 6},
                                 {0x2A, 2}, {0x2F, 2}, {0x32, 2}, {0x58, 5}};
    for (auto frame = lengths.begin(); frame != lengths.end(); ++frame) {
        for (const int size : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 127, 128, 129, 254, 255}) {
            if (size == frame.value())
                continue;
            const QStringList state = snapshot(m_host.service());
            m_host.setLogs(true);
            m_host.receiveFrame(frame.key(), QByteArray(size, '\1'));
            QCOMPARE(m_host.take().mid(2), (QStringList{"write FF true", "notifyCanbusStatus(3)",
                                                        QString("debug paraBuf size: %1").arg(size)}));
            m_host.setLogs(false);
            QCOMPARE(snapshot(m_host.service()), state);
        }
    }
}

QStringList ExhaustiveTest::receive(int type, int size, const QMap<int, int>& bytes, int filler)
{
    QByteArray payload(size, static_cast<char>(filler));
    for (auto byte = bytes.begin(); byte != bytes.end(); ++byte)
        payload[byte.key()] = static_cast<char>(byte.value());
    m_host.receiveFrame(type, payload);
    const QStringList lines = m_host.take();
    const bool acknowledged = lines.mid(0, 2) == QStringList{"write FF true", "notifyCanbusStatus(3)"};
    return lines.mid(acknowledged ? 2 : 0);
}

// Every sensor stands at 5 before it receives each code.
void ExhaustiveTest::radarCodes()
{
    const QStringList levels{"255", "1", "2", "3", "5", "7"};
    const QStringList sensors{"FrontRadarLeft",       "FrontRadarMiddleLeft", "FrontRadarMiddleRight",
                              "FrontRadarRight",      "RearRadarLeft",        "RearRadarMiddleLeft",
                              "RearRadarMiddleRight", "RearRadarRight"};
    for (int sensor = 0; sensor < 8; ++sensor) {
        for (int code = 0; code < 256; ++code) {
            receive(0x1D, 4, {}, 4);
            receive(0x1E, 5, {}, 4);
            const int rear = sensor / 4;
            QCOMPARE(receive(0x1D + rear, 4 + rear, {{sensor % 4, code}}, 4),
                     code == 4 || code > 5 ? QStringList() : QStringList("sigRadarChanged()"));
            for (int other = 0; other < 8; ++other)
                QCOMPARE(operation("get" + sensors[other] + "Distance").call(m_host.service(), {}),
                         other == sensor ? levels.value(code, "5") : "5");
        }
    }
}

namespace {

/// What a getter reads of the climate frame.
struct Field
{
    std::function<int(CanServiceBase&)> get;
    int byte;
    int shift;
    int mask;
    QVector<int> values = {}; ///< by code, where they differ from it
    int beyond = 0;           ///< the answer where the frame ends before the byte
};

} // namespace

// Each value of each byte, among zeros, ones and mixed bits, and every length.
void ExhaustiveTest::climateFields()
{
    using S = CanServiceBase;
    const Field fields[] = {
        {&S::isPowerOff, 0, 7, 1},
        {&S::isAc, 0, 6, 1},
        {&S::isInside, 0, 5, 1},
        {&S::isAuto, 0, 3, 1},
        {&S::isDual, 0, 2, 1},
        {&S::getAcWindMode, 1, 5, 7, {0, 2, 1, 3, 7, 5, 4, 6}},
        {&S::isAcSwcHeat, 1, 5, 1},
        {&S::getAcShowRequest, 1, 4, 1},
        {&S::getAcWindScale, 1, 0, 7},
        {&S::isFrontDefrost, 4, 7, 1},
        {&S::isRearDefrost, 4, 6, 1},
        {&S::isAcMax, 4, 3, 1},
        {&S::isRearClimate, 4, 2, 1},
        {&S::isAirCareActive, 4, 2, 1},
        {[](S& s) { return s.getAcTemperatureUnit().midRef(1, 4).toInt(); }, 4, 0, 1, {1150, 1163}, 1150},
        {[](S& s) { return s.getAcRightTemperatureUnit().midRef(1, 4).toInt(); },
         4,
         0,
         1,
         {1150, 1163},
         1150},
        {&S::isAcGlassHeat, 5, 3, 1},
        {&S::getAirConProfile, 6, 0, 3},
        {&S::isPowerOffRear, 7, 7, 1, {1, 0}},
        {&S::getAcRearLeftHeat, 8, 4, 7},
        {&S::getAcRearRightHeat, 8, 1, 7},
        {&S::getAcWindModeRear, 9, 5, 7},
        {&S::getAcWindScaleRear, 9, 0, 15},
    };
    QByteArray last(12, '\0');
    const auto check = [&](const QByteArray& payload) {
        m_host.receiveFrame(0x28, payload);
        m_host.receiveFrame(0x28, payload);
        QCOMPARE(m_host.take().count("acStatusChanged()"), payload == last ? 0 : 1);
        last = payload;
        for (const Field& field : fields) {
            int expected = field.beyond;
            if (field.byte < payload.size()) {
                const int code = static_cast<unsigned char>(payload[field.byte]) >> field.shift & field.mask;
                expected = field.values.value(code, code);
            }
            const auto row = static_cast<int>(&field - fields);
            QVERIFY2(field.get(m_host.service()) == expected,
                     qPrintable(QString("row %1: %2").arg(row).arg(payload.toHex().constData())));
        }
    };
    for (const char filler : {'\x00', '\xFF', '\x55', '\xAA'}) {
        for (int byte = 0; byte < 10; ++byte) {
            for (int value = 0; value < 256; ++value) {
                QByteArray payload(10, filler);
                payload[byte] = static_cast<char>(value);
                check(payload);
                if (QTest::currentTestFailed())
                    return;
            }
        }
        for (const int size : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 255})
            check(QByteArray(size, filler));
    }
}

// A command of the vertical form, and a byte of the landscape form; none where the key does not have that
// form.
void ExhaustiveTest::climateKeys()
{
    struct Key
    {
        int key;
        const char* vertical;
        const char* landscape;
    };
    const Key keys[] = {
        {0, "01", "80 00 00 00 00 00"},
        {2, "17", "02 00 00 00 00 00"},
        {4, "10", "00 08 00 00 00 00"},
        {5, "15", "20 00 00 00 00 00"},
        {6, "19", "00 00 01 00 00 00"},
        {7, "19", "00 00 01 00 00 00"},
        {8, "13", "10 00 00 00 00 00"},
        {9, "14", "00 04 00 00 00 00"},
        {10, "0C", "00 00 40 00 00 00"},
        {11, "0E", "00 00 20 00 00 00"},
        {15, "0A", "00 02 00 00 00 00"},
        {16, "09", "00 01 00 00 00 00"},
        {19, "03", "00 00 00 02 00 00"},
        {20, "02", "00 00 00 01 00 00"},
        {21, "05", "00 00 00 00 02 00"},
        {22, "04", "00 00 00 00 01 00"},
        {25, "0B", "00 00 10 00 00 00"},
        {26, "0D", "00 00 04 00 00 00"},
        {31, "", "40 00 00 00 00 00"},
        {32, "08", ""},
        {33, "07", ""},
        {34, "2A", "00 00 00 00 00 08"},
    };
    const auto written = [](int type, const QByteArray& data) {
        return "write " + QString(frameOf(type, data).toHex(' ').toUpper()) + " true";
    };
    for (const int carModel : {20, 153, 43, 142, 145}) {
        m_host.carModel = carModel;
        const bool isBarred = carModel == 43 || carModel == 142 || carModel == 145;
        for (int key = -300; key < 600; ++key) {
            QStringList expected;
            for (const Key& row : keys) {
                if (row.key != key || isBarred)
                    continue;
                if (*row.landscape && carModel == 20)
                    expected << written(0xC7, hex(row.landscape));
                else if (*row.vertical)
                    expected << written(0xE0, hex(row.vertical) + '\1')
                             << written(0xE0, hex(row.vertical) + '\0');
            }
            QCOMPARE(m_host.service().sendAcKey(key, key % 3), isBarred ? -1 : 0);
            QVERIFY2(m_host.take() == expected,
                     qPrintable(QString("key %1, model %2").arg(key).arg(carModel)));
        }
    }
}

// A known code brings unit, level and limit to each fuel frame and two units to the trip, any other one
// nothing; of what follows the values, nothing counts.
void ExhaustiveTest::unitCodes()
{
    struct Unit
    {
        int level = 0;
        const char* text = "";
        const char* most = "6553.4";
        const char* overThirty = "30.1";
    };
    const QMap<int, Unit> units{{0x00, {0, "<1141>", "60.0"}},
                                {0x01, {1, "<1142>", "30.0", "30.0"}},
                                {0x02, {2, "<1143>", "30.0", "30.0"}},
                                {0x10, {3, "<1278>"}},
                                {0x11, {4, "<1279>"}},
                                {0x12, {5, "<1280>"}},
                                {0x13, {6, "<1281>"}}};
    const QMap<int, QPair<QString, QString>> tripUnits{{1, {"<1205>", "<1147>"}}, {2, {"<1148>", "<1145>"}}};
    for (int code = 0; code < 256; ++code) {
        const Unit unit = units.value(code);
        for (const int more : {0, 1, 200}) {
            for (const int type : {0x22, 0x23}) {
                CanServiceBase& service = m_host.restart();
                QCOMPARE(receive(type, 3 + more, {{0, code}, {1, 0xFF}, {2, 0xFE}}, 0x12)
                             .count("unitDataChanged()"),
                         units.count(code));
                UnitData data;
                service.getUnitData(data);
                QCOMPARE(data.curLevels, (QList<int>{unit.level, 0, 0, 0, 0, 0}));
                QCOMPARE(data.curTexts[0], QString(unit.text));
                QCOMPARE(data.maxLevels, (QList<int>{3, 0, 0, 0, 0, 0}));
                FuelConsumptionData fuel;
                service.getFuelConsumptionData(fuel);
                QCOMPARE(fuel.texts[type - 0x22], QString(type == 0x22 ? unit.most : "6553.4") + unit.text);
                receive(0x22, 3, {{0, code}, {1, 0x01}, {2, 0x2D}});
                service.getFuelConsumptionData(fuel);
                QCOMPARE(fuel.texts[0], QString(unit.overThirty) + unit.text);
            }
            m_host.restart();
            receive(0x21, 9 + more, {{0, 0}, {1, 1}, {6, code}, {7, 0x80}, {8, 0x80}}, 0x81);
            DrivingData trip;
            m_host.service().getDrivingData(trip);
            QCOMPARE(trip.texts[0], "0.1" + tripUnits.value(code).first);
            QCOMPARE(trip.texts[1], "33153.0" + tripUnits.value(code).second);
            QCOMPARE(trip.texts[2], QString("33153.0<1172>"));
            QCOMPARE(trip.texts[4], "32896.0" + tripUnits.value(code).second);
        }
    }
}

void ExhaustiveTest::doors()
{
    for (int byte = 0; byte < 256; ++byte) {
        receive(0x24, 2, {{0, 0xFF}, {1, byte}});
        CanServiceBase& service = m_host.service();
        QCOMPARE(service.getCanDrivingPosition(), byte / 8 % 2);
        const int doors = byte / 8 * 8;
        QCOMPARE(receive(0x24, 2, {{0, byte}, {1, byte}}).count("doorChanged()"), doors == 0xF8 ? 0 : 1);
        QCOMPARE(service.getDoorStatus(), doors);
        const bool open[] = {service.isRearDoorOpen(), service.isLeftRearDoorOpen(),
                             service.isRightRearDoorOpen(), service.isLeftFrontDoorOpen(),
                             service.isRightFrontDoorOpen()};
        for (int door = 0; door < 5; ++door)
            QCOMPARE(open[door], byte / (8 << door) % 2 == 1);
        QVERIFY(!service.isFrontDoorOpen());
    }
}

// Twelve hours go only from the 12-hour clock's (0) afternoon (3), whatever the hour.
void ExhaustiveTest::clock()
{
    for (int hour = 0; hour < 256; ++hour) {
        for (const int format : {0, 1, 2, 3, 128, 255}) {
            for (const int meridiem : {0, 2, 3, 4, 131, 255}) {
                GPSTime time;
                time.hour = static_cast<quint8>(hour);
                time.minute = static_cast<quint8>(255 - hour);
                time.clockFormat = static_cast<quint8>(format);
                time.meridiem = static_cast<quint8>(meridiem);
                m_host.service().GPSTimeSend(time);
                QByteArray data(3, '\0');
                data[0] = static_cast<char>(format == 0 && meridiem == 3 ? hour - 12 : hour);
                data[1] = static_cast<char>(255 - hour);
                data[2] = format == 0 ? 1 : 0;
                QCOMPARE(
                    m_host.take(),
                    QStringList("write " + QString(frameOf(0x9D, data).toHex(' ').toUpper()) + " false"));
                QVERIFY(time.hour == hour && time.minute == 255 - hour && time.clockFormat == format &&
                        time.meridiem == meridiem);
            }
        }
    }
}

// The left side runs up the codes while the right side runs down.
void ExhaustiveTest::temperatures()
{
    QVector<float> celsius{-100, 18,   18.5, 19,   19.5, 20,   20.5, 21,   21.5, 22,   22.5, 23,   23.5,
                           24,   24.5, 25,   25.5, 26,   26.5, 27,   27.5, 28,   28.5, 29,   29.5, 30,
                           30.5, 31,   31.5, 32,   0,    -101, 16,   16.5, 17,   17.5, 15,   15.5};
    celsius.resize(256);
    const auto fahrenheit = [](float c) { return c == 0 ? -100.0F : c == 255 ? -101.0F : c; };
    CanServiceBase& service = m_host.service();
    for (int code = 0; code < 256; ++code) {
        const float steps = static_cast<float>(code);
        receive(0x28, 8, {{2, code}, {3, 255 - code}, {7, code}});
        QCOMPARE(service.getAcTemperature(), celsius[code]);
        QCOMPARE(service.getAcRightTemperature(), celsius[255 - code]);
        QCOMPARE(service.getAcRearTemperature(), 15.5F + steps / 2);
        receive(0x28, 8, {{1, 0x10}, {2, code}, {3, 255 - code}, {4, 1}, {7, code}});
        QCOMPARE(service.getAcTemperature(), fahrenheit(steps));
        QCOMPARE(service.getAcRightTemperature(), fahrenheit(255 - steps));
        QCOMPARE(service.getAcRearTemperature(), 59 + steps);
    }
}

// Tenths in text 0 of the trip, whole units in text 2.
void ExhaustiveTest::decimals()
{
    for (int raw = 0; raw < 0xFFFF; ++raw) {
        receive(0x21, 4, {{0, raw >> 8}, {1, raw}, {2, raw >> 8}, {3, raw}});
        DrivingData data;
        m_host.service().getDrivingData(data);
        QCOMPARE(data.texts[0], QString("%1.%2").arg(raw / 10).arg(raw % 10));
        QCOMPARE(data.texts[2], QString("%1.0<1172>").arg(raw));
    }
}

// Which models have the vertical climate command or none, no seat levels or ventilation, another wind field.
void ExhaustiveTest::carModels()
{
    const QVector<int> vertical{5,   9,   11,  14,  15,  17,  18,  19,  21,  23,  25,  27,  28,  29,
                                30,  31,  32,  33,  34,  35,  37,  46,  47,  49,  58,  62,  64,  65,
                                66,  67,  78,  80,  81,  82,  83,  84,  86,  97,  98,  100, 104, 105,
                                109, 110, 111, 114, 115, 132, 133, 134, 135, 136, 139, 141, 146, 147,
                                149, 153, 156, 158, 159, 160, 164, 165, 174, 175, 176, 179, 184, 188};
    const QVector<int> seatless{0,   5,   9,   11,  16,  18,  22,  23,  25,  27,  28,  29,
                                30,  31,  32,  33,  34,  43,  47,  49,  52,  58,  62,  64,
                                65,  68,  78,  84,  86,  100, 104, 105, 109, 111, 115, 132,
                                137, 141, 142, 145, 147, 149, 153, 171, 174, 179, 184, 188};
    const int levels[] = {0, 1, 2, 2, 3, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
    const int usualWind[] = {0, 2, 1, 3, 7, 5, 4, 6};
    const int specialWind[] = {0, 1, 3, 2};
    CanServiceBase& service = m_host.service();
    for (int model = -1; model < 260; ++model) {
        m_host.carModel = model;
        const bool barred = model == 43 || model == 142 || model == 145;
        QCOMPARE(service.sendAcKey(0, 1), barred ? -1 : 0);
        const int frames = barred ? 0 : vertical.contains(model) ? 2 : 1;
        QVERIFY2(m_host.take().size() == frames, qPrintable(QString("model %1").arg(model)));
        const bool seats = !seatless.contains(model);
        const bool ventilated = seats && model != 20;
        for (int i = 0; i < 16; ++i) {
            receive(0x58, 5, {{0, i << 4 | (15 - i)}, {2, (15 - i) << 4 | i}});
            QCOMPARE(service.getAcFrontLeftHeat(), seats ? levels[i] : 3);
            QCOMPARE(service.getAcFrontRightHeat(), seats ? levels[15 - i] : 3);
            QCOMPARE(service.getLeftVentilation(), ventilated ? levels[15 - i] : 3);
            QCOMPARE(service.getRightVentilation(), ventilated ? levels[i] : 3);
        }
        const bool special = model == 76 || model == 108 || model == 109;
        for (int i = 0; i < 32; ++i) {
            receive(0x28, 10, {{1, i / 4 << 5}, {9, i % 4}});
            QCOMPARE(service.getAcWindMode(), special ? specialWind[i % 4] : usualWind[i / 4]);
        }
    }
}

VIRTUAL_TIME_TEST_MAIN(ExhaustiveTest)
#include "tst_exhaustive.moc"

// What conversations cannot: every value of a byte, every car model.

#include "testmain.h"

#include "operations.h"

class ExhaustiveTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void radarCodes();
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

// Members that neither a byte from the box nor a call of the host reaches.

#include "simpleservice.h"

#include <QtTest>

struct Service : canservice::SimpleService
{
    using SimpleService::combineBytes;
    using SimpleService::getCheckSum;
    using SimpleService::lightBrightnessTransform;
    using SimpleService::m_acData2;
    using SimpleService::m_brightnessMap;
    using SimpleService::m_brightnessTable;
    using SimpleService::m_frameSum;
    using SimpleService::m_serialPort;
    using SimpleService::m_temperatureTextDirty;
    using SimpleService::m_totalMileageData;
    using SimpleService::toString;
    using SimpleService::updataString;
};

class MembersTest : public QObject
{
    Q_OBJECT

private slots:
    void conversions();
    void frameSum();
    void brightness();
    void valuesWithoutFrame();
};

void MembersTest::conversions()
{
    Service service;
    QByteArray bytes = QByteArray::fromHex("0a00ff2e");
    QCOMPARE(service.toString(0x0A), QString("0a"));
    QCOMPARE(service.combineBytes(0xFE, 0x01), 0xFE01);
    QCOMPARE(service.combineBytes(0xFE, 0x80, 0x01), 0xFE8001);
    QCOMPARE(service.combineBytes(0x7E, 0x80, 0xFF, 0x01), 0x7E80FF01);
    QCOMPARE(service.getCheckSum(bytes), 0xC8);
    QCOMPARE(service.toString(bytes), QString("0a 00 ff 2e "));
}

void MembersTest::frameSum()
{
    Service service;
    emit service.m_serialPort.read(QByteArray::fromHex("2e2402ff80"));
    QCOMPARE(service.m_frameSum, 0x24 + 0x02 + 0xFF + 0x80);
}

// Up to 20 levels fill the map, more fill the table.
void MembersTest::brightness()
{
    using Map = QMap<unsigned char, unsigned char>;
    using Table = std::array<quint8, 21>;
    Service service;
    Map identity;
    for (unsigned char step = 0; step <= 20; ++step)
        identity[step] = step;
    QCOMPARE(service.m_brightnessMap, identity);
    const QMap<int, Map> expected{
        {1, {{0, 0}, {20, 1}}},
        {3, {{0, 0}, {6, 1}, {13, 2}, {20, 3}}},
        {10,
         {{0, 0}, {2, 1}, {4, 2}, {6, 3}, {8, 4}, {10, 5}, {12, 6}, {14, 7}, {16, 8}, {18, 9}, {20, 10}}}};
    for (auto row = expected.begin(); row != expected.end(); ++row) {
        Map map;
        service.lightBrightnessTransform(static_cast<unsigned char>(row.key()), map);
        QCOMPARE(map, row.value());
    }
    QCOMPARE(service.m_brightnessTable, Table{});
    Map map{{7, 7}};
    service.lightBrightnessTransform(30, map);
    QCOMPARE(service.m_brightnessTable,
             (Table{0, 2, 3, 5, 6, 8, 9, 11, 12, 14, 15, 17, 18, 20, 21, 23, 24, 26, 27, 29, 30}));
    service.lightBrightnessTransform(40, map);
    QCOMPARE(service.m_brightnessTable,
             (Table{0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30, 32, 34, 36, 38, 40}));
    QCOMPARE(map, (Map{{7, 7}}));
}

void MembersTest::valuesWithoutFrame()
{
    Service service;
    service.m_totalMileageData = QByteArray::fromHex("0000000001020304FF");
    QCOMPARE(service.getOilAllMileage(), 6605.1F);
    QCOMPARE(service.getTimeAllMileage(), 19788.7F);
    service.m_totalMileageData.chop(2);
    QCOMPARE(service.getTimeAllMileage(), 19660.8F);
    service.m_totalMileageData = QByteArray::fromHex("000000000101d3");
    QVERIFY(service.getOilAllMileage() == 6600.2998F); // to the last bit: QCOMPARE is lenient
    service.m_temperatureTextDirty = true;
    QCOMPARE(service.getTemperatureStr(), QString("1000.0\u2103"));
    QVERIFY(!service.m_temperatureTextDirty);
    service.m_acData2.clear();
    QCOMPARE(service.getAcFrontLeftHeat(), 3);
    QString text;
    QString work;
    bool changed = false;
    Service::updataString(-0.25F, 0, 1, text, changed, work, "km");
    QCOMPARE(text, QString("-0.3km"));
    QVERIFY(changed);
}

QTEST_GUILESS_MAIN(MembersTest)
#include "tst_members.moc"

// A host of a few lines, built from the installed headers alone: it loads the installed plug-in in the ways
// in which hosts load it, gets a door event, and is told clearly why a library does not fit.

#include <canbusmanager.h>
#include <canservicebase.h>
#include <configmanager.h>
#include <serialport.h>
#include <settings.h>
#include <translator.h>

#include <QLoggingCategory>
#include <QPluginLoader>
#include <QTemporaryFile>
#include <QtTest>

// The host services.

static canservice::SerialPort* port = nullptr;
static QElapsedTimer sinceLoad;
static qint64 firstByteNs = 0;

class canservice::SerialPort::Private
{
};

// clang-format off
canservice::SerialPort::SerialPort(QObject* parent) : QObject(parent) { port = this; }
canservice::SerialPort::~SerialPort() = default;
bool canservice::SerialPort::open(QString, int) { return true; }
void canservice::SerialPort::close() {}
int canservice::SerialPort::writeData(const QByteArray& data, bool)
{
    if (firstByteNs == 0)
        firstByteNs = sinceLoad.nsecsElapsed();
    return data.size();
}
CanBusManager* CanBusManager::instance() { static CanBusManager manager; return &manager; }
int CanBusManager::getCarModelId() { return 153; }
int CanBusManager::getHwdCarModelIndex() { return 255; }
canservice::ConfigManager* canservice::ConfigManager::instance() { static ConfigManager manager; return &manager; }
QString canservice::ConfigManager::getPluginFullPath() { return PLUGIN_FILE; }
mem::SettingsUtil* mem::SettingsUtil::instance() { static SettingsUtil util; return &util; }
mem::SettingsExe* mem::SettingsUtil::getSaver() { static SettingsExe saver; return &saver; }
int mem::SettingsExe::getValue(QString, QString, bool) { return 0; }
QString Translator::translate(int id) { return QString::number(id); }
// clang-format on

class ConsumerTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void doorEvent_data();
    void doorEvent();
    void refused_data();
    void refused();
    void firstByte();
};

void ConsumerTest::initTestCase()
{
    QLoggingCategory::setFilterRules("default.debug=false");
}

void ConsumerTest::doorEvent_data()
{
    QTest::addColumn<QLibrary::LoadHints>("hints");
    QTest::newRow("symbols are bound when they are used") << QLibrary::LoadHints();
    QTest::newRow("all symbols are bound at once") << QLibrary::LoadHints(QLibrary::ResolveAllSymbolsHint);
    QTest::newRow("loaded once more") << QLibrary::LoadHints();
}

// Two instances, one after the other, then out of memory.
void ConsumerTest::doorEvent()
{
    QFETCH(QLibrary::LoadHints, hints);
    QPluginLoader loader(PLUGIN_FILE);
    loader.setLoadHints(hints);
    for (int round = 0; round < 2; ++round) {
        std::unique_ptr<CanServiceBase> service(qobject_cast<CanServiceBase*>(loader.instance()));
        QVERIFY2(service, qPrintable(loader.errorString()));
        QCOMPARE(service->getDoorStatus(), 0);
        QSignalSpy doors(service.get(), &CanServiceBase::doorChanged);
        emit port->read(QByteArray::fromHex("2E2402400099"));
        QCOMPARE(doors.count(), 1);
        QCOMPARE(service->getDoorStatus(), 0x40);
    }
    QVERIFY(loader.unload());
    QFile maps("/proc/self/maps");
    QVERIFY(maps.open(QIODevice::ReadOnly));
    QVERIFY2(!maps.readAll().contains(QFileInfo(PLUGIN_FILE).fileName().toUtf8()), "it stays in memory");
}

// The metadata begins with a mark of twelve bytes; the format, Qt's major and Qt's minor version follow.
void ConsumerTest::refused_data()
{
    QTest::addColumn<QByteArray>("mark");
    QTest::addColumn<int>("offset");
    QTest::addColumn<int>("byte");
    QTest::addColumn<QString>("reason");
    const QByteArray metaData("QTMETADATA !");
    const QString otherQt("The plugin '%1' uses incompatible Qt library. (");
    QTest::newRow("Qt 6") << metaData << 13 << 6 << otherQt + "6.15.0)";
    QTest::newRow("newer") << metaData << 14 << 16 << otherQt + "5.16.0)";
    QTest::newRow("no metadata") << metaData << 0 << 0 << "Failed to extract plugin meta data from '%1'";
    QTest::newRow("word size") << QByteArray("\x7f\x45LF") << 4 << (sizeof(void*) == 4 ? 2 : 1)
                               << "'%1' is an invalid ELF object (wrong cpu architecture)";
}

void ConsumerTest::refused()
{
    QFETCH(QByteArray, mark);
    QFETCH(int, offset);
    QFETCH(int, byte);
    QFile original(PLUGIN_FILE);
    QVERIFY(original.open(QIODevice::ReadOnly));
    QByteArray bytes = original.readAll();
    bytes[bytes.indexOf(mark) + offset] = static_cast<char>(byte);
    QTemporaryFile copy;
    QVERIFY(copy.open());
    copy.write(bytes);
    copy.close();

    QPluginLoader loader(copy.fileName());
    QVERIFY(!loader.load());
    const QString reason = loader.errorString().replace(copy.fileName(), "%1");
    QTEST(reason.section(" [", 0, 0), "reason"); // behind it: whether the library is a debug build
}

// From the loading of the library to the first byte on the line. Comes last, for the library then stays in
// memory.
void ConsumerTest::firstByte()
{
    firstByteNs = 0;
    sinceLoad.start();
    QPluginLoader loader(PLUGIN_FILE);
    auto* service = qobject_cast<CanServiceBase*>(loader.instance());
    QVERIFY2(service, qPrintable(loader.errorString()));
    service->start();
    QVERIFY(firstByteNs > 0);
    qInfo("first byte after %.2f ms", static_cast<double>(firstByteNs) / 1e6);
    delete service;
}

QTEST_GUILESS_MAIN(ConsumerTest)
#include "tst_consumer.moc"

// Loads the installed plug-in in the ways in which hosts load it, with the host services of docs/hosting.md,
// gets a door event, and is told clearly why a library does not fit.

#include <canservicebase.h>

#include <QLoggingCategory>
#include <QPluginLoader>
#include <QTemporaryFile>
#include <QtTest>

#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

extern int lineIn; // the host's end of the line
extern int lineOut;
static int box = -1; // the other end

static QElapsedTimer sinceLoad;
static qint64 firstByteNs = 0;

class ConsumerTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void doorEvent();
    void refused_data();
    void refused();
    void firstByte();
};

void ConsumerTest::initTestCase()
{
    QLoggingCategory::setFilterRules("default.debug=false");
    int line[2];
    QCOMPARE(socketpair(AF_UNIX, SOCK_STREAM, 0, line), 0);
    lineIn = lineOut = line[0];
    box = line[1];
}

// Two instances, one after the other, then out of memory; and all of it once more.
void ConsumerTest::doorEvent()
{
    for (int load = 0; load < 2; ++load) {
        QPluginLoader loader(PLUGIN_FILE);
        loader.setLoadHints({});
        for (int round = 0; round < 2; ++round) {
            std::unique_ptr<CanServiceBase> service(qobject_cast<CanServiceBase*>(loader.instance()));
            QVERIFY2(service, qPrintable(loader.errorString()));
            QCOMPARE(service->getDoorStatus(), 0);
            QSignalSpy doors(service.get(), &CanServiceBase::doorChanged);
            QCOMPARE(write(box, "\x2E\x24\x02\x40\0\x99", 6), 6);
            QVERIFY(doors.wait());
            QCOMPARE(doors.count(), 1);
            QCOMPARE(service->getDoorStatus(), 0x40);
        }
        QVERIFY(loader.unload());
        QFile maps("/proc/self/maps");
        QVERIFY(maps.open(QIODevice::ReadOnly));
        QVERIFY2(!maps.readAll().contains(QFileInfo(PLUGIN_FILE).fileName().toUtf8()), "it stays in memory");
    }
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

// From the loading of the library to the first byte on the line, whose arrival is signalled. Comes last, for
// the library then stays in memory.
void ConsumerTest::firstByte()
{
    std::signal(SIGIO, [](int) {
        if (firstByteNs == 0)
            firstByteNs = sinceLoad.nsecsElapsed();
    });
    QCOMPARE(fcntl(box, F_SETOWN, getpid()), 0);
    QCOMPARE(fcntl(box, F_SETFL, O_ASYNC), 0);
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

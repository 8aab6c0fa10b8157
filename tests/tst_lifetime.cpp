// What the host may do from within a signal's slot: anything. Each kind of thing is done from the slot of
// every signal.

#include "operations.h"
#include "testmain.h"

#include <QEventLoop>
#include <QTimer>

namespace {

// Frames that between them cause every signal but the loss of the link: type and payload.
const char* const frames[] = {
    "24 80 08",
    "1D 01 02 03 04",
    "1E 01 02 03 04 20",
    "25 00 00 00 00 00 00",
    "25 84 17 17 17 17 00",
    "21 01 23 00 2D 01 F4 01 00 64",
    "22 01 01 2C",
    "23 02 00 64",
    "28 40",
    "58 12 00 12 00 00",
    "30 56 31",
    "32 04 00",
    "20 05 01",
    "20 05 00",
};

QSet<QString> allSignals()
{
    const QMetaObject& meta = CanServiceBase::staticMetaObject;
    QSet<QString> names;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        names.insert(QString::fromLatin1(meta.method(i).name()));
    return names;
}

} // namespace

class LifetimeTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void everyOperation();
    void stopAndStart();
    void nestedEventLoop_data();
    void nestedEventLoop();
    void deleteLater();

private:
    void receiveAll();

    RecordingHost& m_host = RecordingHost::instance();
};

void LifetimeTest::init()
{
    m_host.restart();
    m_host.take();
}

void LifetimeTest::receiveAll()
{
    for (const char* frame : frames)
        m_host.receiveFrame(static_cast<unsigned char>(hex(frame).at(0)), hex(frame).mid(1));
}

void LifetimeTest::everyOperation()
{
    QSet<QString> seen;
    m_host.onSignal = [&](const QString& signal) {
        seen.insert(signal.section('(', 0, 0));
        for (const Operation& operation : operations()) {
            if (operation.name != "stop")
                operation.call(m_host.service(), {});
        }
    };
    receiveAll();
    VirtualClock::instance().advance(40000);
    QCOMPARE(seen, allSignals());
    QCOMPARE(m_host.service().getDoorStatus(), 0x80);
}

// After a stop the rest of the chunk is still read, into the closed port; after that nothing is.
void LifetimeTest::stopAndStart()
{
    m_host.onSignal = [&](const QString&) {
        m_host.onSignal = nullptr;
        m_host.service().stop();
        m_host.service().start();
    };
    m_host.receive(hex("2E 24 02 80 00 59 2E 24 02 40 00 99"));
    QCOMPARE(m_host.service().getDoorStatus(), 0x40);
    m_host.receive(hex("2E 24 02 00 00 D9"));
    QCOMPARE(m_host.service().getDoorStatus(), 0x40);
    QCOMPARE(m_host.take().filter("write FF").size(), 1);
}

void LifetimeTest::nestedEventLoop_data()
{
    QTest::addColumn<QString>("begun");
    QTest::addColumn<QString>("rest");
    QTest::newRow("within the payload") << "2E 24 02 40"
                                        << "00 99";
    QTest::newRow("before the checksum") << "2E 24 02 40 00"
                                         << "99";
}

// The slot of the first signal runs an event loop that receives the end of a frame that the outer chunk
// began.
void LifetimeTest::nestedEventLoop()
{
    QFETCH(QString, begun);
    QFETCH(QString, rest);
    m_host.onSignal = [&](const QString& signal) {
        if (signal != "doorChanged()")
            return;
        m_host.onSignal = nullptr;
        QEventLoop loop;
        QTimer::singleShot(100, &loop, [&] { m_host.receive(hex("08 00 D1 2E 32 02 04 00 C7" + begun)); });
        QTimer::singleShot(200, &loop, &QEventLoop::quit);
        loop.exec();
        QCOMPARE(m_host.service().getDoorStatus(), 0x08);
    };
    m_host.receive(hex("2E 24 02 80 08 51 2E 24 02"));
    const QStringList expected{"write FF true", "notifyCanbusStatus(3)", "doorChanged()",
                               // from within its slot
                               "write FF true", "notifyCanbusStatus(3)", "doorChanged()",
                               "canDrivingPositionChanged()", "write FF true", "notifyCanbusStatus(3)",
                               "sigCameraMode()",
                               // and back: the outer frame's driving position
                               "canDrivingPositionChanged()"};
    QCOMPARE(m_host.take(), expected);
    QCOMPARE(m_host.service().getCanDrivingPosition(), 1);
    m_host.receive(hex(rest)); // the end of a frame that began in the slot
    QCOMPARE(m_host.service().getDoorStatus(), 0x40);
    m_host.take();
    VirtualClock::instance().advance(1000);
    receiveAll();
    QCOMPARE(m_host.take().filter("write FF").size(), static_cast<int>(std::size(frames)));
}

void LifetimeTest::deleteLater()
{
    for (const QString& name : allSignals()) {
        init();
        m_host.onSignal = [&](const QString& signal) {
            if (signal.section('(', 0, 0) == name)
                m_host.service().deleteLater();
        };
        const QPointer<QObject> service = &m_host.service();
        receiveAll();
        VirtualClock::instance().advance(40000);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY2(!service, qPrintable(name));
    }
}

VIRTUAL_TIME_TEST_MAIN(LifetimeTest)
#include "tst_lifetime.moc"

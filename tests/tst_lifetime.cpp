// What the host may do within a call that the plug-in makes, a signal's slot or a host service or a log line:
// anything. Each kind of thing is done within every such call that there is.

#include "operations.h"
#include "testmain.h"

#include <QEventLoop>
#include <QSet>
#include <QTimer>

#include <dlfcn.h>

namespace {

// Chunks that between them cause every signal but the loss of the link, and a rejection.
const char* const chunks[] = {
    "2E 24 02 80 08 51 2E 1D 04 01 02 03 04 D4",
    "FF 2E 24 02 80 08 50",
    "2E 1E 05 01 02 03 04 20 B2",
    "2E 25 06 00 00 00 00 00 00 D4 2E 25 06 84 17 17 17 17 00 F4",
    "2E 21 0A 01 23 00 2D 01 F4 01 00 64 00 29",
    "2E 22 03 01 01 2C AC",
    "2E 23 03 02 00 64 73 2E 23 03 02 00 65 72",
    "2E 28 02 40 01 94",
    "2E 58 05 12 00 12 00 00 7E",
    "2E 30 02 56 31 46",
    "2E 32 02 04 00 C7",
    "2E 20 02 05 01 D7 2E 2F 02 01 01 CC 2E 2A 02 05 00 CE",
};
constexpr int GoodFrames = 16;

// A frame whose only effect is a signal that comes each time.
const char version2[] = "2E 30 02 56 32 45";
const QStringList Taken{"notifyCanbusStatus(3)", "sigVersionData()", "write FF true"};

struct Command
{
    const char* operation;
    QStringList arguments;
};

const Command commands[] = {
    {"start", {}},
    {"sendAcKey", {"0", "0"}},
    {"sendCameraKey", {"0", "400", "240"}},
    {"setUnitCmd", {"0"}},
    {"GPSTimeSend", {"5", "15", "0", "3"}},
    {"onRadioSourceInformation", {"FM1", "87.5|STATION", "0"}},
    {"onRadioSourceInformation", {"", "TITLE|ARTIST|ALBUM", "4"}},
    {"onRadioSourceInformation", {"", "", "5"}},
    {"getAcTemperature", {}},
    {"getAcWindMode", {}},
    {"getLeftVentilation", {}},
    {"requsetClimate", {}},
};

using Act = std::function<void()>;

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
    void initTestCase();
    void init();
    void cleanup();
    void deliver();
    void deliverBeginning();
    void everyOperation();
    void stopAndStart();
    void deleteLater();
    void bytesOutliveTheLibrary();

private:
    /// A plug-in's whole life, with @p act done within the first call that is @p where.
    QStringList live(const QString& where, const Act& act);
    /// The same with @p act done within each call in turn; what it brings about beyond the usual is handed
    /// to @p check.
    void actEverywhere(const Act& act,
                       const std::function<void(const QString& call, const QStringList&)>& check);

    RecordingHost& m_host = RecordingHost::instance();
    QStringList m_calls; ///< all that there are, each once
    QStringList m_usual; ///< what a life without an act brings about, sorted
    bool m_wasMade;      ///< when the last act was done; before that the host can only use the port
    QStringList m_last;  ///< what the last frame of the last life brought about
};

// What the frames bring about and what the commands send. What the timers do depends on when frames come.
static QStringList effects(QStringList journal)
{
    static const QRegularExpression timed("^(debug|error)|2E 81|2E 90 02 30|notifyCanbusStatus\\(0\\)");
    for (const QString& line : journal.filter(timed))
        journal.removeOne(line);
    journal.replaceInStrings(QRegularExpression("^lost"), "write");
    journal.sort();
    return journal;
}

QStringList LifetimeTest::live(const QString& where, const Act& act)
{
    m_host.shutDown();
    m_host.take();
    m_host.carModel = 20;
    m_host.setLogs(true);
    bool acted = false;
    m_host.onCall = [&](const QString& call) {
        if (!acted && where.isNull() && !m_calls.contains(call))
            m_calls.append(call);
        if (acted || call != where)
            return;
        acted = true;
        m_wasMade = m_host.hasService();
        // What is logged within a message handler, Qt tells on stderr.
        for (const QtMsgType type : {QtDebugMsg, QtCriticalMsg})
            QLoggingCategory::defaultCategory()->setEnabled(type, false);
        act();
        for (const QtMsgType type : {QtDebugMsg, QtCriticalMsg})
            QLoggingCategory::defaultCategory()->setEnabled(type, true);
    };
    CanServiceBase& service = m_host.create();
    for (const char* chunk : chunks)
        m_host.receive(hex(chunk));
    for (const int carModel : {20, 153, 108}) {
        m_host.carModel = carModel;
        for (const Command& command : commands)
            operation(command.operation).call(service, command.arguments);
    }
    VirtualClock::instance().advance(40000); // a long press, a poll, the loss, the announcement
    m_host.receive({});
    VirtualClock::instance().advance(500); // the watchdog ends what an act left unfinished
    QStringList journal = m_host.take();
    m_host.receive(hex(version2));
    m_last = effects(m_host.take());
    if (m_host.hasService())
        service.stop();
    m_host.onCall = nullptr;
    m_host.setLogs(false);
    return effects(journal + m_host.take());
}

void LifetimeTest::actEverywhere(const Act& act,
                                 const std::function<void(const QString& call, const QStringList&)>& check)
{
    for (const QString& call : qAsConst(m_calls)) {
        QStringList more = live(call, act);
        for (const QString& line : qAsConst(m_usual))
            QVERIFY2(more.removeOne(line), qPrintable("missing \"" + line + "\" with an act in " + call));
        check(call, more);
    }
}

void LifetimeTest::initTestCase()
{
    m_usual = live({}, {});
    QSet<QString> names;
    for (const QString& call : qAsConst(m_calls))
        names.insert(call.section('(', 0, 0).section(' ', 0, 0));
    QVERIFY(names.contains(allSignals() + QSet<QString>{"open", "write", "close", "[DBG]", "[ERR]",
                                                        "getPluginFullPath", "getCarModelId",
                                                        "getHwdCarModelIndex", "getValue", "translate"}));
    QCOMPARE(m_usual.count("write FF true"), GoodFrames);
    QCOMPARE(m_usual.count("write F0 true"), 1);
}

void LifetimeTest::init()
{
    m_host.restart();
    m_host.take();
}

void LifetimeTest::cleanup()
{
    m_host.onCall = nullptr;
}

// A frame is acknowledged once and taken once, and so is every other one.
void LifetimeTest::deliver()
{
    const auto receive = [&] { m_host.receive(hex(version2)); };
    const auto loop = [&] {
        QEventLoop waiting;
        QTimer::singleShot(10, &waiting, receive);
        QTimer::singleShot(20, &waiting, &QEventLoop::quit);
        waiting.exec();
    };
    for (const Act& act : {Act(receive), Act(loop)}) {
        actEverywhere(act, [&](const QString& call, const QStringList& more) {
            QStringList expected;
            if (call != "open" && call != "close")
                expected = m_wasMade ? Taken : QStringList{Taken.last()};
            QVERIFY2(more == expected, qPrintable(call + ": " + more.join(' ')));
        });
    }
}

// The beginning of a long frame swallows what follows, until the watchdog ends it.
void LifetimeTest::deliverBeginning()
{
    for (const QString& call : qAsConst(m_calls)) {
        live(call, [&] { m_host.receive(hex("2E 30 FF")); });
        QCOMPARE(m_last, Taken);
    }
}

void LifetimeTest::everyOperation()
{
    const auto act = [&] {
        if (!m_host.hasService())
            return;
        for (const Operation& operation : operations()) {
            if (operation.name != "stop")
                operation.call(m_host.service(), {});
        }
    };
    actEverywhere(act, [](const QString&, const QStringList&) {});
}

void LifetimeTest::stopAndStart()
{
    for (const QString& call : qAsConst(m_calls)) {
        live(call, [&] {
            if (!m_host.hasService())
                return;
            m_host.service().stop();
            m_host.service().start();
        });
        QCOMPARE(m_last, m_wasMade && call != "close" ? QStringList() : Taken);
    }
}

// The service dies when the control is back in the event loop that the call came from.
void LifetimeTest::deleteLater()
{
    for (const QString& call : qAsConst(m_calls)) {
        live(call, [&] {
            if (m_host.hasService())
                m_host.service().deleteLater();
        });
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCOMPARE(m_host.hasService(), !m_wasMade);
    }
}

// A host may keep what it is given to write, and what it is told, for longer than the library is loaded.
void LifetimeTest::bytesOutliveTheLibrary()
{
    const auto inLibrary = [](const void* address) {
        Dl_info object;
        return dladdr(address, &object) && QByteArray(object.dli_fname).endsWith("libkelmo_Toyota.so");
    };
    CanServiceBase& service = m_host.service();
    QVERIFY(inLibrary(service.metaObject()));
    std::vector<QByteArray> kept;
    m_host.onWrite = [&](const QByteArray& bytes) { kept.push_back(bytes); };
    for (const char* chunk : chunks)
        m_host.receive(hex(chunk));
    for (const Command& command : commands)
        operation(command.operation).call(service, command.arguments);
    m_host.onWrite = nullptr;
    for (const QByteArray& bytes : kept)
        QVERIFY2(!inLibrary(bytes.constData()), bytes.toHex().constData());
    for (const QString& text :
         {service.version(), service.getSpeedUnit(), service.getTemperatureStr(),
          service.getTemperatureUnit(), service.getTireUnit(), service.getAcTemperatureUnit()})
        QVERIFY2(!inLibrary(text.constData()), qPrintable(text));
}

VIRTUAL_TIME_TEST_MAIN(LifetimeTest)
#include "tst_lifetime.moc"

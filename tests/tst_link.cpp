// What single conversations cannot show of the link: every way to cut a stream, the whole shape of log lines,
// threads.

#include "testmain.h"

#include "operations.h"

#include <QLoggingCategory>
#include <QRegularExpression>

#include <thread>

#include <unistd.h>

class LinkTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void chunks();
    void everyLostOrDamagedByte_data();
    void everyLostOrDamagedByte();
    void logLines_data();
    void logLines();
    void logLevels();
    void otherThread();
    void lostLinkIsNotPolled();

private:
    RecordingHost& m_host = RecordingHost::instance();
};

void LinkTest::init()
{
    m_host.restart();
    m_host.take();
}

// Two frames, cut into up to four chunks at every place: the answers are those of the whole stream.
void LinkTest::chunks()
{
    const QByteArray stream = hex("2E 24 02 80 08 51 2E 25 06 87 20 20 20 20 00 CD");
    const QStringList answers{
        "write FF true", "notifyCanbusStatus(3)", "doorChanged()",    "canDrivingPositionChanged()",
        "write FF true", "notifyCanbusStatus(3)", "tireDataChanged()"};
    for (int a = 0; a <= stream.size(); ++a) {
        for (int b = a; b <= stream.size(); ++b) {
            for (int c = b; c <= stream.size(); ++c) {
                m_host.restart();
                m_host.take();
                for (const QByteArray& chunk :
                     {stream.left(a), stream.mid(a, b - a), stream.mid(b, c - b), stream.mid(c)})
                    m_host.receive(chunk);
                QCOMPARE(m_host.take(), answers);
                VirtualClock::instance().advance(600);
                QCOMPARE(m_host.take(), QStringList());
            }
        }
    }
}

void LinkTest::everyLostOrDamagedByte_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<int>("gapMs");
    QTest::addColumn<int>("frames");
    QTest::addColumn<int>("lostByLength");
    QTest::addColumn<int>("lostElse");
    const QByteArray usual = hex("2E 24 02 80 00 59");
    const QByteArray headerInside = hex("2E 24 04 2E 00 0C 00 9D");
    QTest::newRow("half a second apart, the watchdog ends what a longer length swallows")
        << usual << 501 << 5 << 2 << 2;
    QTest::newRow("back to back, a length of 255 is filled with what follows") << usual << 1 << 60 << 44 << 2;
    QTest::newRow(
        "back to back, a payload that looks like a header is met again and again until the watchdog")
        << headerInside << 5 << 120 << 101 << 101;
    QTest::newRow("half a second apart, a payload that looks like a header")
        << headerInside << 501 << 5 << 2 << 2;
}

// A lost or flipped byte costs at most its frame and the next, save where it makes the length longer, since
// what follows is taken for payload then, and where a payload looks like a frame.
void LinkTest::everyLostOrDamagedByte()
{
    QFETCH(QByteArray, frame);
    QFETCH(int, gapMs);
    QFETCH(int, frames);
    QFETCH(int, lostByLength);
    QFETCH(int, lostElse);
    int worst[] = {0, 0};
    for (int position = 0; position < frame.size(); ++position) {
        for (int flip = 0; flip < 256; ++flip) { // 0: the byte is lost
            m_host.restart();
            m_host.take();
            for (int i = 0; i < frames; ++i) {
                QByteArray sent = frame;
                if (i == 1 && flip == 0)
                    sent.remove(position, 1);
                else if (i == 1)
                    sent[position] = static_cast<char>(sent.at(position) ^ flip);
                m_host.receive(sent);
                VirtualClock::instance().advance(gapMs);
            }
            const int lost = frames - m_host.take().count(QStringLiteral("write FF true"));
            const bool lengthDamaged =
                position <= 2; // a byte lost before the length puts another in its place
            worst[lengthDamaged] = std::max(worst[lengthDamaged], lost);
        }
    }
    QCOMPARE(worst[true], lostByLength);
    QCOMPARE(worst[false], lostElse);
}

void LinkTest::logLines_data()
{
    QTest::addColumn<QString>("chunk");
    QTest::addColumn<QString>("call");
    QTest::addColumn<QRegularExpression>("shape");
    const auto row = [](const char* name, const char* chunk, const char* call, const char* tag,
                        const char* signature, const char* values) {
        const auto text = QStringLiteral("^\\[%1\\] %2 %3 \\d+ -- %4$")
                              .arg(tag, QString::number(gettid()), QRegularExpression::escape(signature),
                                   QRegularExpression::escape(values));
        QTest::newRow(name) << chunk << call << QRegularExpression(text);
    };
    row("slot", "00", "", "DBG", "void canservice::SimpleService::onDataReady(QByteArray)", "\"00\"");
    row("step of a slot, error", "2E 24 00 00", "", "ERR",
        "void canservice::SimpleService::onDataReady(QByteArray)", "checksum err!");
    row("decoder, text and number", "2E 24 01 00 DA", "", "DBG",
        "void canservice::SimpleService::doBaseInfo(int, QByteArray&)", "paraBuf size: 1");
    row("step of a decoder", "2E 22 01 02 DA", "", "DBG",
        "void canservice::SimpleService::doInsFuelInfo(int, QByteArray&)", "2");
    row("step of an operation", "", "onRadioSourceInformation", "DBG",
        "void canservice::SimpleService::onSendRadioInfo(QString, QStringList)", "28");
    row("operation", "", "start", "DBG", "virtual void canservice::SimpleService::start()", "255 255");
    row("which of two operations with one body, error", "2E 28 04 00 00 00 1E B5", "getAcRightTemperature",
        "ERR", "virtual float canservice::SimpleService::getAcRightTemperature()", "index is ERROR!!! 30");
    row("which of two operations with one body", "", "getLeftVentilation", "DBG",
        "virtual int canservice::SimpleService::getLeftVentilation()", "20 20");
}

void LinkTest::logLines()
{
    QFETCH(QString, chunk);
    QFETCH(QString, call);
    QFETCH(QRegularExpression, shape);
    m_host.setLogs(true);
    m_host.receive(hex(chunk));
    if (!call.isEmpty())
        operation(call).call(m_host.service(), {});
    m_host.logLines.replaceInStrings(" &)", "&)"); // as one of the compilers writes it
    QVERIFY2(m_host.logLines.indexOf(shape) >= 0, qPrintable(m_host.logLines.join('\n')));
}

// Each line asks for its own level.
void LinkTest::logLevels()
{
    QStringList seen;
    for (const bool debug : {false, true}) {
        for (const bool critical : {false, true}) {
            m_host.setLogs(true);
            QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, debug);
            QLoggingCategory::defaultCategory()->setEnabled(QtCriticalMsg, critical);
            m_host.take();
            m_host.receive(hex("2E 24 00 00"));
            seen.append(m_host.take().join(", "));
        }
    }
    const QStringList expected{
        "write F0 true", "write F0 true, error checksum err!",
        "debug \"/plugins/test.so\", debug \"2e240000\", write F0 true",
        "debug \"/plugins/test.so\", debug \"2e240000\", write F0 true, error checksum err!"};
    QCOMPARE(seen, expected);
}

// A line names the thread that it comes from: a shape that is not the usual one would be told.
void LinkTest::otherThread()
{
    m_host.setLogs(true);
    std::thread([&] { m_host.service().setUnitCmd(1); }).join();
    QCOMPARE(m_host.take(), QStringList("debug 1"));
}

void LinkTest::lostLinkIsNotPolled()
{
    m_host.receiveFrame(ReservedType, {});
    VirtualClock::instance().advance(120000);
    QCOMPARE(m_host.take().filter("2E 90").size(), 1);
}

VIRTUAL_TIME_TEST_MAIN(LinkTest)
#include "tst_link.moc"

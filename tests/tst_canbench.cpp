// canbench as a process: how it ends, what it writes, and its line against a peer that the test plays itself
// and against boxsim. What waits here waits for a condition; the link's own 30 seconds of silence are part of
// what is shown.

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace {

// A raw pseudo-terminal under a link, which is hung up when the object goes.
class Peer
{
public:
    explicit Peer(const QString& link)
        : m_master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        grantpt(m_master);
        unlockpt(m_master);
        m_slave = open(ptsname(m_master), O_RDWR | O_NOCTTY | O_CLOEXEC);
        termios settings{};
        tcgetattr(m_slave, &settings);
        cfmakeraw(&settings);
        tcsetattr(m_slave, TCSANOW, &settings);
        QFile::remove(link);
        QFile::link(ptsname(m_master), link);
    }
    ~Peer()
    {
        close(m_slave);
        close(m_master);
    }
    Q_DISABLE_COPY(Peer)

    void send(const char* hex)
    {
        const QByteArray bytes = QByteArray::fromHex(hex);
        QCOMPARE(write(m_master, bytes.constData(), size_t(bytes.size())), ssize_t(bytes.size()));
    }

private:
    int m_master;
    int m_slave;
};

/// A program under test. Derived from QProcess, it starts its process in a way that emulators of user
/// programs know.
class Program : public QProcess
{
public:
    ~Program() override { end(); }

    void start(const QString& file, const QStringList& arguments)
    {
        m_output.clear();
        QProcess::start(file, arguments);
    }

    void end()
    {
        kill();
        waitForFinished();
    }

    void type(const QByteArray& line)
    {
        write(line + '\n');
        waitForBytesWritten();
    }

    /// Its output from where the last call ended through @p text; empty when that does not come within a
    /// minute: twice the link's own silence.
    QByteArray upTo(const QByteArray& text)
    {
        QElapsedTimer clock;
        for (clock.start(); !m_output.contains(text) && !clock.hasExpired(60000); m_output += readAll())
            waitForReadyRead(50);
        const int at = m_output.indexOf(text);
        QByteArray output = at < 0 ? QByteArray() : m_output.left(at + text.size());
        m_output.remove(0, output.size());
        return output;
    }

private:
    QByteArray m_output;
};

const char leftDoorOpen[] = "2E2402400099";
const char doorsClosed[] = "2E24020000D9";

} // namespace

class CanbenchTest : public QObject
{
    Q_OBJECT

private slots:
    void endings_data();
    void endings();
    void jsonAndCapture();
    void lineComesBack();
    void interruptedScript();
    void boxIsLostAndReturns();

private:
    void run(const QStringList& arguments, const QByteArray& input)
    {
        m_bench.start(CANBENCH_FILE, m_line + arguments);
        m_bench.write(input);
    }

    QTemporaryDir m_folder;
    QString m_device = m_folder.filePath("device");
    QStringList m_line = {"--port", m_device, "--car-model", "20", "--plugin", PLUGIN_FILE};
    Program m_bench;
};

void CanbenchTest::endings_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("told");
    const auto row = [](const char* name, const QStringList& arguments, const QByteArray& input, int code,
                        const QString& told) { QTest::newRow(name) << arguments << input << code << told; };
    const QString nowhere = m_folder.filePath("no/file");
    // The interface's identifier stands in the library's metadata and in its code.
    const QByteArray identifier(CANSERVICE_IID);
    const QByteArray otherIdentifier = identifier.chopped(1) + '?';
    const QString otherHost = m_folder.filePath("other.so");
    QFile library(PLUGIN_FILE);
    QFile copy(otherHost);
    QVERIFY(library.open(QIODevice::ReadOnly) && copy.open(QIODevice::WriteOnly));
    copy.write(library.readAll().replace(identifier, otherIdentifier));
    copy.close();
    row("an unknown option", {"--fly"}, "", 2, "Unknown option 'fly'; --help");
    row("an empty value", {"--port", ""}, "", 2, "--port needs a value; --help");
    row("a purpose of two lines", {"--purpose", "a\nb"}, "", 2, "one line");
    row("a model that is no number", {"--car-model", "x"}, "", 2, "a number from 0 to 65535");
    row("an unknown language", {"--language", "fr"}, "", 2, "one of de, en");
    row("a script that is not there", {"--script", nowhere}, "", 2, "cannot read " + nowhere);
    row("a capture that cannot be written", {"--record", nowhere}, "", 2, "cannot write " + nowhere);
    row("a library that is not there", {"--plugin", nowhere}, "", 3,
        "the package canservice-toyota has the plug-in; --plugin names another library");
    row("a library for another host", {"--plugin", otherHost}, "", 3,
        "its interface is " + otherIdentifier + ", canbench's is " + identifier);
    row("a library that is no plug-in", {"--plugin", CANBENCH_FILE}, "", 3, "metadata: {}");
    row("the device stays away", {"--port", nowhere, "--give-up", "1"}, "", 4, "away for 1 s");
    row("a full disk", {}, "state", 6, "cannot write standard output: No space left");
    row("an unknown command", {}, "\n# so\nfly", 5, "input:3: unknown \"fly\"; known: start, stop");
    row("a model out of range", {}, "car-model -5", 5, "0 to 65535");
    row("an empty word", {}, "media 1 \"\" ARTIST\nexpect tx 00BE 2E9922840341005200 within 1ms\nquit", 0,
        "");
    row("numbers", {},
        "position 010\nexpect tx 390A37 within 1ms\nac 0x0F\nexpect tx 2EC70600020000000030 within 1ms\nquit",
        0, "");
    row("a wrong argument", {}, "send 2", 5, "two hexadecimal digits each");
    const QByteArray door = "expect tx 2E8101007D2E8101017C within 5s\n expect rx 2E24 02400099 within 5s\n"
                            "expect doorChanged leftFrontDoorOpen=true within 5s\n";
    const QString position = "canDrivingPositionChanged drivingPosition=";
    row("in their order", {}, door + "expect canDrivingPositionChanged within 1ms\n quit", 0, "");
    row("another value", {}, door + "expect " + position.toUtf8() + "1 within 1ms", 1,
        "\n    " + position + "0");
    row("used up", {}, door + "expect doorChanged within 1ms", 1, "input:4: expected doorChanged in vain");
    row("a repeated status", {},
        "expect notifyCanbusStatus within 5s\nexpect notifyCanbusStatus status=3 within 5s\nquit", 0, "");
    row("forgotten", {}, "aux\n clock 3:30 pm\n expect tx 2E992287 within 1ms", 1, "expected tx 2E992287");
    row("kept", {}, "clock 3:30 pm\n wait 1ms\n expect tx 2E9D03031E013D within 1ms\n quit", 0, "");
}

void CanbenchTest::endings()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, input);
    QFETCH(QString, told);
    Peer peer(m_device);
    peer.send(leftDoorOpen);
    peer.send(leftDoorOpen);
    m_bench.setStandardOutputFile(told.contains("standard output") ? "/dev/full" : QString());
    run(arguments, input);
    if (!input.isEmpty())
        m_bench.closeWriteChannel();
    QVERIFY(m_bench.waitForFinished());
    const QString error = m_bench.readAllStandardError();
    QVERIFY2(error.contains(told), qPrintable(error));
    QTEST(m_bench.exitCode(), "code");
}

void CanbenchTest::jsonAndCapture()
{
    Peer peer(m_device);
    peer.send(leftDoorOpen);
    const QString file = m_folder.filePath("capture");
    run({"--json", "--record", file}, "expect doorChanged within 5s\nstate doors\nac power\nquit\n");
    QVERIFY(m_bench.waitForFinished());
    QMap<QString, QJsonDocument> lines; // the last one of each kind
    for (const QByteArray& line : m_bench.readAll().trimmed().split('\n')) {
        const QJsonDocument object = QJsonDocument::fromJson(line);
        QCOMPARE(object["v"].toInt(), 1);
        QVERIFY(object["time"].toDouble() > 0);
        lines[object["signal"].toString(object["command"].toString("state"))] = object;
    }
    const QJsonObject changed{{"doorStatus", 64}, {"leftFrontDoorOpen", true}};
    QCOMPARE(lines["notifyCanbusStatus"]["args"]["status"].toInt(), 3);
    QCOMPARE(lines["doorChanged"]["changed"].toObject(), changed);
    QCOMPARE(lines["state"]["state"]["doors"]["doorStatus"].toInt(), 64);
    QCOMPARE(lines["ac"]["result"].toInt(-1), 0);
    run({"--record", file, "--plugin", file}, {}); // leaves the capture alone
    QVERIFY(m_bench.waitForFinished());
    QFile capture(file);
    QVERIFY(capture.open(QIODevice::ReadOnly));
    const QString text = capture.readAll();
    QVERIFY(text.startsWith("# date: "));
    static const QRegularExpression doorAndAnswer(
        R"(\(\d+\.\d{6}\) rx 2E2402400099\n\(\d+\.\d{6}\) tx FF\n)");
    QVERIFY(text.contains(doorAndAnswer));
}

void CanbenchTest::lineComesBack()
{
    auto peer = std::make_unique<Peer>(m_device);
    peer->send(leftDoorOpen);
    run({}, "expect rx 2E2402400099 2E24020000D9 within 20s\nsend 00\n");
    QCOMPARE(m_bench.upTo("leftFrontDoorOpen=true").count("notifyCanbusStatus"), 1);
    peer = std::make_unique<Peer>(m_device);
    peer->send(doorsClosed);
    const QByteArray output = m_bench.upTo("leftFrontDoorOpen=false");
    QVERIFY(!output.isEmpty() && !output.contains("notifyCanbusStatus"));
    QVERIFY(!m_bench.upTo("send returned 1").isEmpty());
    m_bench.terminate();
    QVERIFY(m_bench.waitForFinished());
    QCOMPARE(m_bench.exitCode(), 0);
    const QByteArray told = m_bench.readAllStandardError();
    QCOMPARE(told.count(": the device is gone; waiting"), 1);
    QCOMPARE(told.count("is open"), 1);
}

void CanbenchTest::interruptedScript()
{
    Peer peer(m_device);
    peer.send(leftDoorOpen);
    run({"--script", "/dev/stdin"}, "wait 1000s");
    m_bench.closeWriteChannel();
    QVERIFY(!m_bench.upTo("doorChanged").isEmpty());
    m_bench.terminate();
    QVERIFY(m_bench.waitForFinished());
    QCOMPARE(m_bench.exitCode(), 1);
}

void CanbenchTest::boxIsLostAndReturns()
{
    const QString link = m_folder.filePath("canbox");
    Program box;
    const auto startBox = [&] {
        box.start(BOXSIM_FILE, {"--link", link});
        QVERIFY(!box.upTo(link.toUtf8()).isEmpty());
    };
    const auto shows = [&](const char* line) { return !m_bench.upTo(line).isEmpty(); };
    startBox();
    run({"--port", link}, {});
    QVERIFY(shows("notifyCanbusStatus status=3"));
    box.type("door front-left open");
    QVERIFY(shows("doorChanged doorStatus=64, leftFrontDoorOpen=true"));
    box.end();
    QFile::remove(link); // a killed box leaves it, and another pseudo-terminal may get the number
    QVERIFY(shows("notifyCanbusStatus status=0"));
    startBox();
    QVERIFY(shows("notifyCanbusStatus status=3"));
    QVERIFY(shows("doorChanged doorStatus=0, leftFrontDoorOpen=false"));
    box.type("door back open");
    QVERIFY(shows("doorChanged doorStatus=8, backDoorOpen=true"));
    m_bench.type("quit");
    QVERIFY(m_bench.waitForFinished());
    QCOMPARE(m_bench.exitCode(), 0);
    QVERIFY(!box.upTo("head unit: stop").isEmpty());
}

QTEST_GUILESS_MAIN(CanbenchTest)
#include "tst_canbench.moc"

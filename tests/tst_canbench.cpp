// What only processes show: how canbench ends, its files and streams, its port on a pseudo-terminal that
// comes and goes, and the show of two programs. What waits here waits for a condition.

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
        QCOMPARE(write(m_master, bytes.constData(), static_cast<size_t>(bytes.size())), bytes.size());
    }

private:
    int m_master;
    int m_slave;
};

// A program under test. Derived from QProcess, it starts its process in a way that emulators of user
// programs know.
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

    // Its output from where the last call ended through @p text; empty when that does not come within a
    // minute.
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

constexpr char LeftDoorOpen[] = "2E2402400099";
constexpr char DoorsClosed[] = "2E24020000D9";

} // namespace

class CanbenchTest : public QObject
{
    Q_OBJECT

private slots:
    void endings_data();
    void endings();
    void capture();
    void lineComesBack();
    void interruptedScript();
    void twoPrograms();

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
    row("an unknown command", {}, "fly", 5, "standard input:1: unknown \"fly\"");
    row("an expectation that fails", {}, "expect acStatusChanged within 1ms", 1, "in vain");
}

void CanbenchTest::endings()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, input);
    QFETCH(QString, told);
    Peer peer(m_device);
    peer.send(LeftDoorOpen);
    peer.send(LeftDoorOpen);
    m_bench.setStandardOutputFile(told.contains("standard output") ? "/dev/full" : QString());
    run(arguments, input);
    if (!input.isEmpty())
        m_bench.closeWriteChannel();
    QVERIFY(m_bench.waitForFinished());
    const QString error = m_bench.readAllStandardError();
    QVERIFY2(error.contains(told), qPrintable(error));
    QTEST(m_bench.exitCode(), "code");
}

void CanbenchTest::capture()
{
    static const QRegularExpression doorAndAnswer(
        R"(\(\d+\.\d{6}\) rx 2E2402400099\n\(\d+\.\d{6}\) tx FF\n)");
    Peer peer(m_device);
    peer.send(LeftDoorOpen);
    const QString path = m_folder.filePath("capture");
    run({"--record", path}, "expect doorChanged within 5s\nquit\n");
    QVERIFY(m_bench.waitForFinished());
    run({"--record", path, "--plugin", path}, {}); // leaves the capture alone
    QVERIFY(m_bench.waitForFinished());
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QString text = file.readAll();
    QVERIFY(text.startsWith("# date: "));
    QVERIFY(text.contains(doorAndAnswer));
}

void CanbenchTest::lineComesBack()
{
    auto peer = std::make_unique<Peer>(m_device);
    peer->send(LeftDoorOpen);
    run({}, "expect rx 2E2402400099 2E24020000D9 within 20s\nsend 00\n");
    QCOMPARE(m_bench.upTo("leftFrontDoorOpen=true").count("notifyCanbusStatus"), 1);
    peer = std::make_unique<Peer>(m_device);
    peer->send(DoorsClosed);
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
    peer.send(LeftDoorOpen);
    run({"--script", "/dev/stdin"}, "wait 1000s");
    m_bench.closeWriteChannel();
    QVERIFY(!m_bench.upTo("doorChanged").isEmpty());
    m_bench.terminate();
    QVERIFY(m_bench.waitForFinished());
    QCOMPARE(m_bench.exitCode(), 1);
}

void CanbenchTest::twoPrograms()
{
    const QString link = m_folder.filePath("canbox");
    Program box;
    box.setProcessChannelMode(QProcess::MergedChannels);
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
    m_bench.type("ac power");
    QVERIFY(!box.upTo("climate key: climate power off").isEmpty());
    box.end();
    QFile::remove(link); // a killed box leaves it, and another pseudo-terminal may get the number
    startBox();
    QVERIFY(!box.upTo("the line was opened").isEmpty());
    box.type("door back open");
    QVERIFY(shows("doorChanged doorStatus=8, leftFrontDoorOpen=false, backDoorOpen=true"));
    m_bench.type("quit");
    QVERIFY(m_bench.waitForFinished());
    QCOMPARE(m_bench.exitCode(), 0);
    QVERIFY(!box.upTo("head unit: stop").isEmpty());
}

QTEST_GUILESS_MAIN(CanbenchTest)
#include "tst_canbench.moc"

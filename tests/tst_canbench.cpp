// What only processes show: how canbench ends, its files and streams, its port on a pseudo-terminal that
// comes and goes, and the show of two programs. What waits here waits for a condition.

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <thread>
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

    // Hands on what comes from here to @p other and back until that stands still. Returns what came from
    // each.
    std::pair<QByteArray, QByteArray> join(const Peer& other, const std::atomic<bool>& isOver) const
    {
        std::pair<QByteArray, QByteArray> bytes;
        pollfd files[] = {{m_master, POLLIN, 0}, {other.m_master, POLLIN, 0}};
        while (poll(files, 2, 50) > 0 || !isOver) {
            for (const int from : {0, 1}) {
                char buffer[4096];
                const ssize_t size =
                    files[from].revents != 0 ? read(files[from].fd, buffer, sizeof buffer) : 0;
                if (size > 0 && write(files[1 - from].fd, buffer, static_cast<size_t>(size)) == size)
                    (from == 0 ? bytes.first : bytes.second).append(buffer, static_cast<int>(size));
            }
        }
        return bytes;
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

} // namespace

class CanbenchTest : public QObject
{
    Q_OBJECT

private slots:
    void endings_data();
    void endings();
    void signalled();
    void terminal();
    void boxInside();
    void rotation();
    void twoPrograms();
    void tap();

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
    QTest::addColumn<QString>("row");
    QFile rows(SOURCE_FOLDER "/tests/programs.txt");
    QVERIFY(rows.open(QIODevice::ReadOnly));
    for (const QString& line : QString(rows.readAll()).split('\n', Qt::SkipEmptyParts).mid(1))
        QTest::newRow(qPrintable(line)) << line;
    const auto place = [this](const QString& name, const QByteArray& content) {
        QFile file(m_folder.filePath(name));
        QVERIFY(QDir().mkpath(QFileInfo(file).path()) && file.open(QIODevice::WriteOnly));
        file.write(content);
    };
    place("keys", "0 key swc 1 hold 300ms\n");
    place("good", "expect no doorChanged for 1s\nexpect state doors backDoorOpen=false within 1s\n");
    place("wrong", "stat\n# so\nbox door back open\n");
    place("failing", "box door back open\nexpect state doors backDoorOpen=false within 1ms\n");
    place("mistakes", "0 fly\n0 quit\n0 camera 2\n");
    place("set/media/flash/nvm/factory/settings.ini", "DriverPosition=1\n");
    place("bad/media/flash/nvm/factory/settings.ini", "DriverPosition=x\n");
    QFile library(PLUGIN_FILE); // whose identifier stands in the metadata and in the code
    QVERIFY(library.open(QIODevice::ReadOnly));
    place("other.so", library.readAll().replace(CANSERVICE_IID, QByteArray(CANSERVICE_IID).chopped(1) + '?'));
}

void CanbenchTest::endings()
{
    QFETCH(QString, row);
    row.replace("F/", m_folder.path() + '/')
        .replace("=F", '=' + m_folder.path())
        .replace("in F", "in " + m_folder.path());
    row.replace("\\n", "\n").replace("=CANBENCH", "=" CANBENCH_FILE).replace("IID", CANSERVICE_IID);
    row.replace("OTHER", QString(CANSERVICE_IID).chopped(1) + '?');
    const QStringList fields = row.split(" | ");
    const QString& told = fields[2];
    QStringList arguments = fields[0].section(" < ", 0, 0).split(' ');
    const bool isBox = arguments.takeFirst() == "boxsim";
    if (!isBox && !arguments.removeOne("-"))
        arguments = m_line + arguments;
    Peer peer(m_device);
    peer.send(LeftDoorOpen);
    peer.send("2E1E050200000020BA");
    peer.send("2E280300001EB6");
    m_bench.setStandardOutputFile(told.contains("standard output:") ? "/dev/full" : QString());
    m_bench.start(isBox ? BOXSIM_FILE : CANBENCH_FILE, arguments);
    m_bench.write(fields[0].section(" < ", 1).toUtf8());
    m_bench.closeWriteChannel();
    QVERIFY(m_bench.waitForFinished());
    QFile capture(m_folder.filePath("capture"));
    capture.open(QIODevice::ReadOnly);
    static const QRegularExpression marks("^[oc]?[=!]");
    const QString mark = marks.match(told).captured();
    const bool isAbsent = mark.endsWith('!');
    const QString shown = mark.startsWith('o')   ? m_bench.readAllStandardOutput()
                          : mark.startsWith('c') ? capture.readAll()
                                                 : m_bench.readAllStandardError();
    const QString text = told.mid(mark.size());
    QVERIFY2(shown.contains(text) != isAbsent, qPrintable(shown));
    QCOMPARE(m_bench.exitCode(), fields[1].toInt());
}

// A signal ends canbench cleanly unless it cuts a file of commands short.
void CanbenchTest::signalled()
{
    Peer peer(m_device);
    for (const auto& [number, isFile] :
         {std::pair(SIGTERM, true), {SIGTERM, false}, {SIGHUP, false}, {SIGINT, false}}) {
        peer.send(LeftDoorOpen);
        run(isFile ? QStringList{"--script", "/dev/stdin"} : QStringList(), "wait 1000s\nquit\n");
        if (isFile)
            m_bench.closeWriteChannel();
        QVERIFY(!m_bench.upTo("doorChanged").isEmpty());
        kill(static_cast<pid_t>(m_bench.processId()), number);
        QVERIFY(m_bench.waitForFinished());
        QVERIFY(m_bench.exitStatus() == QProcess::NormalExit && m_bench.exitCode() == (isFile ? 1 : 0));
    }
}

// What is typed at a terminal may be wrong.
void CanbenchTest::terminal()
{
    Peer peer(m_device);
    Peer terminal(m_folder.filePath("terminal"));
    Program bench;
    bench.setStandardInputFile(m_folder.filePath("terminal"));
    bench.start(CANBENCH_FILE, m_line);
    terminal.send(QByteArray("fly\nexpect rx 00 within 1ms\nwait 1ms\nquit\n").toHex().constData());
    QVERIFY(bench.waitForFinished());
    QCOMPARE(bench.exitCode(), 0);
    const QString told = bench.readAllStandardError();
    QVERIFY(told.contains("canbench: unknown \"fly\"") &&
            told.count("canbench: expected rx 00 within 1ms") == 1);
}

// Virtual time: the hour passes while the script waits, and none of it while the next line is awaited.
void CanbenchTest::boxInside()
{
    m_bench.start(CANBENCH_FILE, {"--plugin", PLUGIN_FILE});
    m_bench.type("box split 2\nbox door front-left open\nstate doors\nwait 3600s\nbox key swc 5 hold 2s");
    QVERIFY(!m_bench.upTo("doorStatus             64").isEmpty());
    QVERIFY(!m_bench.upTo("keyEvent key=5, state=0").isEmpty());
    m_bench.type("ac power\nexpect acStatusChanged powerOff=true within 1s\nwait 2s\nbox dor");
    QVERIFY(!m_bench.upTo("keyEvent key=5, state=2").isEmpty());
    QVERIFY(m_bench.waitForFinished());
    QVERIFY(m_bench.readAllStandardError().contains("standard input:9: \"dor\": did you mean \"door\"?"));
    QCOMPARE(m_bench.exitCode(), 5);
}

// A capture is moved away and goes on in a new file; then the name is taken. It is played by steps.
void CanbenchTest::rotation()
{
    const QString path = m_folder.filePath("rotated");
    const auto rotate = [this] { kill(static_cast<pid_t>(m_bench.processId()), SIGUSR1); };
    m_bench.start(CANBENCH_FILE, {"--plugin", PLUGIN_FILE, "--record", path});
    QVERIFY(!m_bench.upTo("notifyCanbusStatus").isEmpty());
    QVERIFY(QFile::rename(path, path + ".1"));
    rotate();
    QTRY_VERIFY(QFile::exists(path));
    rotate();
    m_bench.setReadChannel(QProcess::StandardError);
    QVERIFY(!m_bench.upTo("the capture goes on in the old file").isEmpty());
    m_bench.setReadChannel(QProcess::StandardOutput);
    m_bench.type("ac power\nquit");
    QVERIFY(m_bench.waitForFinished());
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray text = file.readAll();
    QVERIFY(text.startsWith("# capture: 2\n") && text.count("# capture") == 1 &&
            text.contains("do ac power\n"));
    m_bench.start(CANBENCH_FILE, {"--plugin", PLUGIN_FILE, "--replay", path, "--step"});
    m_bench.type("\nexpect notifyCanbusStatus status=3 within 1ms\nquit");
    QVERIFY(m_bench.waitForFinished());
    QCOMPARE(m_bench.exitCode(), 0);
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
    Program other;
    other.start(BOXSIM_FILE, {"--link", link});
    QVERIFY(other.waitForFinished());
    QCOMPARE(other.exitCode(), 4);
    QVERIFY(other.readAllStandardError().contains(" (process " + QByteArray::number(box.processId()) +
                                                  "); name another path or end that\n"));
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
    // Its end leaves the head unit a moment to read.
    QElapsedTimer ending;
    ending.start();
    box.type("quit");
    QVERIFY(box.waitForFinished());
    QVERIFY(ending.elapsed() >= 200);
    // A reader that goes does not end the box.
    Program unheard;
    Program reader;
    unheard.setStandardOutputProcess(&reader);
    unheard.start(BOXSIM_FILE, {});
    reader.start("head", {"-n", "1"});
    QVERIFY(reader.waitForFinished());
    unheard.type("state\nquit");
    QVERIFY(unheard.waitForFinished());
    QCOMPARE(unheard.exitCode(), 0);
}

// boxdecode between the two: what it records is what has crossed, as it was shown, and can be played.
void CanbenchTest::tap()
{
    const QString link = m_folder.filePath("canbox");
    const QString record = m_folder.filePath("record");
    Peer headUnit(m_device);
    Peer atTap(m_folder.filePath("headunit"));
    std::atomic<bool> isOver{false};
    std::pair<QByteArray, QByteArray> crossed;
    std::thread wire([&] { crossed = headUnit.join(atTap, isOver); });
    const auto joining = qScopeGuard([&] {
        isOver = true;
        if (wire.joinable())
            wire.join();
    });
    Program tap;
    const auto tells = [&](const char* text) {
        tap.setReadChannel(QProcess::StandardError);
        return !tap.upTo(text).isEmpty();
    };
    Program box;
    box.setProcessChannelMode(QProcess::MergedChannels);
    tap.start(BOXDECODE_FILE, {"--tap", m_folder.filePath("headunit"), link, "--record", record});
    QVERIFY(tells("No such file or directory; waiting for it"));
    box.start(BOXSIM_FILE, {"--link", link});
    QVERIFY(tells("canbox is open"));
    run({}, {});
    box.type("door front-left open");
    QVERIFY(!m_bench.upTo("doorChanged doorStatus=64").isEmpty());
    box.end();
    QVERIFY(tells("canbox: the device is gone; waiting for it"));
    m_bench.type("ac power");
    QVERIFY(tells("what the head unit sends is dropped"));
    QFile::remove(link);
    box.start(BOXSIM_FILE, {"--link", link});
    QVERIFY(tells("canbox is open"));
    QVERIFY(!box.upTo("the line was opened").isEmpty());
    box.type("door back open");
    QVERIFY(!m_bench.upTo("doorChanged doorStatus=8").isEmpty());
    QVERIFY(tells("dropped on the way to the CAN box: "));
    m_bench.end();
    isOver = true;
    wire.join();
    kill(static_cast<pid_t>(tap.processId()), SIGTERM);
    QVERIFY(tap.waitForFinished());
    QCOMPARE(tap.exitCode(), 0);
    tap.setReadChannel(QProcess::StandardOutput);
    const QByteArray shown = tap.readAll();
    QFile file(record);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QByteArray received;
    for (const QByteArray& line : file.readAll().split('\n'))
        received +=
            line.startsWith('(') && line.contains("rx") ? QByteArray::fromHex(line.split(' ')[2]) : "";
    QCOMPARE(received.toHex(), crossed.second.toHex());
    tap.start(BOXDECODE_FILE, {record});
    QVERIFY(tap.waitForFinished());
    static const QRegularExpression answers("  acknowledged|[^\n]* acknowledgement [^\n]*\n"); // may be late
    QCOMPARE(QString(tap.readAll()).remove(answers), QString(shown).remove(answers));
    QVERIFY(shown.contains(") tx start") && shown.contains("backDoorOpen=true"));
    m_bench.end();
    m_bench.start(CANBENCH_FILE,
                  {"--plugin", PLUGIN_FILE, "--replay", record, "--speed", "max", "--car-model", "20"});
    QVERIFY(!m_bench.upTo("doorChanged doorStatus=8").isEmpty());
    m_bench.end();
}

QTEST_GUILESS_MAIN(CanbenchTest)
#include "tst_canbench.moc"

// Both ends of the line on real pseudo-terminals, in virtual time: the bench's serial port and boxsim's line.
// What waits here waits for the kernel to hand bytes on; the clock stands meanwhile.

#include "description.h"
#include "deviceline.h"
#include "hostsetup.h"
#include "languages.h"
#include "line.h"
#include "linewatch.h"
#include "serialport.h"
#include "translator.h"
#include "virtualclock.h"

#include <QTemporaryDir>
#include <QtTest>

#include <iostream>
#include <sstream>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <thread>
#include <unistd.h>

namespace {

// Until @p condition holds, for a minute at most. Virtual time does not pass.
template<typename Condition> bool comes(Condition condition)
{
    for (int tries = 0; tries < 60000 && !condition(); ++tries) {
        VirtualClock::instance().advance(0);
        if (!condition())
            usleep(1000);
    }
    return condition();
}

void pass(qint64 ms)
{
    VirtualClock::instance().advance(ms);
}

} // namespace

// Derived from QProcess, it starts its process in a way that emulators of user programs know; QProcess itself
// would there have the number of no process, and kill everything.
class Program : public QProcess
{
};

class PortTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void absentDevice();
    void giveUp();
    void deviceInUse();
    void bothDirections();
    void fullQueue();
    void link();
    void device();
    void texts();

private:
    QString told() // what canbench noted since the last call
    {
        QString text = QString::fromStdString(m_told.str()).remove(m_name);
        m_told.str({});
        return text;
    }
    QString noted() { return std::exchange(m_noted, {}).join(", "); } // by boxsim

    // A box's line that is there, with what it notes and receives.
    std::unique_ptr<boxsim::Line> makeLine(const QString& device = {})
    {
        auto line = std::make_unique<boxsim::Line>(device, device.isEmpty() ? m_name : QString());
        connect(line.get(), &boxsim::Line::noted, this,
                [this](const QString& text) { m_noted.append(text); });
        connect(line.get(), &boxsim::Line::logged, this,
                [this](const QString& text) { m_noted.append(text); });
        connect(line.get(), &boxsim::Line::lost, this, [this](const QString& text) { m_noted.append(text); });
        connect(line.get(), &boxsim::Line::received, this,
                [this](const QByteArray& bytes) { m_atBox += bytes; });
        connect(line.get(), &boxsim::Line::sent, this,
                [this](const QByteArray& bytes, const QString& what) { m_sent += bytes.toHex() + what; });
        m_error = line->open();
        return line;
    }

    QTemporaryDir m_folder;
    QString m_name = m_folder.filePath("device");
    std::ostringstream m_told;
    std::streambuf* m_standardError = nullptr;
    std::unique_ptr<DeviceLine> m_device;
    std::unique_ptr<canservice::SerialPort> m_port;
    QStringList m_noted;
    QString m_error;
    QString m_sent; // by boxsim's line
    QByteArray m_atBox;
    QByteArray m_read; // by the port
    QStringList m_watched;
};

void PortTest::init()
{
    m_device = std::make_unique<DeviceLine>(m_name);
    hostSetup().line = m_device.get();
    m_standardError = std::cerr.rdbuf(m_told.rdbuf());
    m_port = std::make_unique<canservice::SerialPort>();
    connect(m_port.get(), &canservice::SerialPort::read, this, [this](const QByteArray& bytes) {
        m_read += bytes;
        m_watched.append("read");
    });
    connect(&LineWatch::instance(), &LineWatch::received, m_port.get(), [this] { m_watched.append("rx"); });
    connect(&LineWatch::instance(), &LineWatch::sent, m_port.get(),
            [this](const QByteArray& bytes) { m_watched.append("tx " + bytes.toHex()); });
}

void PortTest::cleanup()
{
    m_port.reset();
    std::cerr.rdbuf(m_standardError);
    m_told.str({});
    m_atBox.clear();
    m_read.clear();
    m_noted.clear();
    m_watched.clear();
    m_sent.clear();
}

// It is tried after 100, 200, 400 and ever again 800 ms, and at no moment between, until close().
void PortTest::absentDevice()
{
    const QString absent = "canbench: cannot open : No such file or directory; waiting for it\n";
    for (const auto& [before, moment] :
         {std::pair(0, 100), {100, 300}, {300, 700}, {700, 1500}, {1500, 2300}, {2300, 3100}}) {
        QVERIFY(!m_port->open({}, 38400));
        QCOMPARE(told(), absent);
        QCOMPARE(m_port->writeData("x", false), -1);
        pass(before);
        const auto line = makeLine();
        pass(moment - before - 1);
        QCOMPARE(told(), QString());
        pass(1);
        QCOMPARE(told(), QString("canbench:  is open\n"));
        m_port->close();
        QCOMPARE(m_port->writeData("x", false), -1);
    }
    QVERIFY(!m_port->open(m_name + "2", 38400));
    QCOMPARE(told(), QString(absent).replace("open ", "open 2"));
    m_port->close();
    const auto line = makeLine();
    QVERIFY(QFile::link(m_name, m_name + "2"));
    pass(10000);
    QCOMPARE(told(), QString());
    QVERIFY(QFile::remove(m_name + "2"));
}

void PortTest::giveUp()
{
    QCOMPARE(HostSetup().giveUp, std::chrono::seconds(300));
    const qint64 begin = VirtualClock::instance().now();
    QTimer::singleShot(1, this, [] { pass(20); });
    pass(10); // within which a loop lets more pass
    QCOMPARE(VirtualClock::instance().now(), begin + 21);
    m_port->open({}, 38400);
    pass(90000); // for ever
    QCOMPARE(told().count('\n'), 1);
    m_port->close();
    DeviceLine device(m_name, std::chrono::seconds(2));
    const QSignalSpy gone(&device, &DeviceLine::goneForGood);
    device.open({}, 38400);
    told();
    pass(2299);
    QCOMPARE(told(), QString());
    QVERIFY(gone.isEmpty());
    pass(1);
    QCOMPARE(told(), QString("canbench:  has been away for 2 s, giving up\n"));
    QCOMPARE(gone.size(), 1);
    const auto line = makeLine();
    pass(10000);
    QCOMPARE(told(), QString());
}

// The port and the line see each other come and go; what nobody hears is lost.
// Who has a device is told, as far as that can be seen. Where nobody waits for it, that is its end.
void PortTest::deviceInUse()
{
    const auto line = makeLine();
    QVERIFY(m_port->open({}, 38400));
    DeviceLine second(m_name);
    second.endAtOnce("REMEDY");
    const QSignalSpy gone(&second, &DeviceLine::goneForGood);
    const QString inUse("canbench: cannot open : another program has it: %1; REMEDY\n");
    QVERIFY(!second.open({}, 38400));
    QCOMPARE(told(), inUse.arg("sudo fuser -v  tells which"));
    pass(0);
    QCOMPARE(gone.size(), 1);
    Program holder;
    holder.setStandardInputFile(m_name);
    holder.start("sleep", {"60"});
    QVERIFY(holder.waitForStarted() && holder.processId() > 1); // what is killed below
    QVERIFY(!second.open({}, 38400));
    QFile name(
        QString("/proc/%1/comm").arg(holder.processId())); // under valgrind it is another one than sleep
    QVERIFY(name.open(QIODevice::ReadOnly));
    QCOMPARE(
        told(),
        inUse.arg(QString("%1 (process %2)").arg(QString(name.readAll()).trimmed()).arg(holder.processId())));
    holder.kill();
    QVERIFY(holder.waitForFinished());
}

void PortTest::bothDirections()
{
    auto line = makeLine();
    QCOMPARE(line->path(), m_name);
    line->write("early", "A");
    QCOMPARE(noted(), QString("not sent, nobody has the line open: A"));
    QVERIFY(m_port->open({}, 19200));
    pass(50);
    QCOMPARE(noted(), QString("the line was opened"));
    const int own = open(qPrintable(m_name), O_RDWR | O_NOCTTY);
    termios settings{};
    QCOMPARE(tcgetattr(own, &settings), 0);
    QCOMPARE(cfgetospeed(&settings), speed_t(B19200));
    close(own);
    const QByteArray all = QByteArray::fromHex("000A0D11131A2EFF7F03");
    QCOMPARE(m_port->writeData(all, true), all.size());
    QVERIFY(comes([&] { return m_atBox.size() >= all.size(); }));
    QCOMPARE(m_atBox, all);
    line->write(all, "B");
    QCOMPARE(m_sent, all.toHex() + 'B');
    QVERIFY(comes([&] { return m_read.size() >= all.size(); }));
    QCOMPARE(m_read, all);
    QCOMPARE(m_watched.filter("tx"), QStringList("tx " + all.toHex()));
    m_watched.removeFirst();
    for (int i = 0; i < m_watched.size(); ++i)
        QCOMPARE(m_watched[i], QString(i % 2 ? "read" : "rx")); // whoever looks on is first
    m_port->close();
    pass(50);
    QCOMPARE(noted(), QString("the line was closed"));
    line->write("late", "C");
    QCOMPARE(noted(), QString("not sent, nobody has the line open: C"));
    const int other = open(qPrintable(m_name), O_RDWR | O_NOCTTY);
    pass(50);
    line->write("unread", "D");
    close(other);
    pass(50);
    noted();
    m_read.clear();

    QVERIFY(m_port->open({}, 38400));
    pass(50);
    line->hangUp(); // another terminal stands under the link
    QVERIFY(comes([&] { return !m_told.str().empty(); }));
    QCOMPARE(told(), QString("canbench: lost : the device is gone; waiting for it\n"));
    QCOMPARE(m_port->writeData("x", false), -1);
    pass(99);
    QCOMPARE(told(), QString());
    pass(1);
    QCOMPARE(told(), QString("canbench:  is open\n"));
    pass(50);
    m_atBox.clear();
    m_port->writeData("again", false);
    QVERIFY(comes([&] { return m_atBox == "again"; }));
    line->write("x", "E");
    QVERIFY(comes([&] { return m_read == "x"; })); // and nothing that was meant for the one before
    line.reset();
    QVERIFY(!QFileInfo(m_name).isSymLink());
}

// At most 65536 bytes are taken over at once and wait for a peer that does not read; a write that does not
// fit is refused as a whole, which is told once until the queue is empty again. Nothing is lost or torn.
void PortTest::fullQueue()
{
    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
    QVERIFY(grantpt(master) == 0 && unlockpt(master) == 0);
    QVERIFY(m_port->open(ptsname(master), 38400));
    const int slave = open(ptsname(master), O_RDWR | O_NOCTTY);
    QByteArray taken;
    QByteArray atPeer;
    const auto put = [&](int size) {
        QByteArray bytes(size, '\0');
        for (int i = 0; i < size; ++i)
            bytes[i] = static_cast<char>((taken.size() + i) % 251);
        const int count = m_port->writeData(bytes, false);
        taken += bytes.left(count);
        pass(1);
        return count;
    };
    const auto drain = [&] {
        QByteArray buffer(100000, '\0');
        const auto count = read(master, buffer.data(), static_cast<size_t>(buffer.size()));
        atPeer += buffer.left(static_cast<int>(std::max<ssize_t>(count, 0)));
        return atPeer.size() >= taken.size();
    };
    // How many bytes are taken, and what is told then.
    const std::tuple<int, int, const char*> writes[] = {
        {65537, 0, "0 bytes wait, refusing more"}, {65537, 0, ""}, {65536, 65536, ""},
        {65536, 0, " bytes wait, refusing more"},  {5, 5, ""},     {65536, 0, ""}};
    for (const auto& [size, count, telling] : writes) {
        pollfd kernel{size == 5 ? slave : -1, POLLOUT, 0}; // has room again, but what waits comes first
        for (int tries = 0; size == 5 && tries < 60000 && poll(&kernel, 1, 1) == 0; ++tries)
            drain();
        QCOMPARE(put(size), count);
        const QString text = told();
        QVERIFY2(text.contains(telling) && text.isEmpty() == !*telling, qPrintable(text));
    }
    QVERIFY(comes(drain));
    QVERIFY(atPeer == taken);
    QCOMPARE(put(5), 5);
    QCOMPARE(put(65537), 0);
    QVERIFY(told().startsWith("canbench: the peer does not read: "));
    QCOMPARE(m_watched.filter("tx").size(), 3); // those that were taken over
    put(20000);
    std::thread reader([&] {
        for (int tries = 0; tries < 60000 && !drain(); ++tries)
            usleep(1000);
    });
    m_port->close(); // lets the queue leave
    reader.join();
    QVERIFY(atPeer == taken);
    QVERIFY(m_port->open(ptsname(master), 38400));
    put(65536);
    QElapsedTimer closing;
    closing.start();
    m_port->close(); // waits half a second, and no longer
    QVERIFY(closing.elapsed() < 4000);
    close(slave);
    close(master);
}

// A link to a pseudo-terminal or to nothing is replaced, anything else is refused and left as it is.
void PortTest::link()
{
    auto first = makeLine();
    auto second = makeLine();
    QCOMPARE(m_error, QString());
    const QString terminal = QFileInfo(m_name).symLinkTarget();
    QVERIFY(terminal.startsWith("/dev/pts/"));
    first.reset();
    QCOMPARE(QFileInfo(m_name).symLinkTarget(), terminal); // is another's by now
    second.reset();
    QVERIFY(!QFileInfo(m_name).isSymLink());
    QVERIFY(QFile::link("/no/where", m_name));
    makeLine();
    QCOMPARE(m_error, QString());
    const QString refusal =
        m_name + " exists and is no link to a pseudo-terminal; name another path or remove it";
    QVERIFY(QFile::link("/dev/null", m_name));
    makeLine();
    QCOMPARE(m_error, refusal);
    QVERIFY(QFile::remove(m_name) && QFile::copy("/proc/version", m_name));
    makeLine();
    QCOMPARE(m_error, refusal);
    QVERIFY(QFile::remove(m_name));
    boxsim::Line nowhere({}, "/no/where/link");
    QCOMPARE(nowhere.open(),
             QString("cannot make the link /no/where/link: No such file or directory; name a path "
                     "in a directory that you may write"));
    QCOMPARE(QDir(m_folder.path()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System).size(),
             0);
}

// A serial device: what it does not take is lost, and its end is the line's.
void PortTest::device()
{
    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
    QVERIFY(grantpt(master) == 0 && unlockpt(master) == 0);
    auto line = makeLine(ptsname(master));
    QCOMPARE(line->path(), QString(ptsname(master)));
    line->hangUp();
    QCOMPARE(noted(), QString("a serial device cannot be hung up"));
    const QByteArray block(100000, 'x');
    line->write(block, "A");
    QVERIFY(m_sent.endsWith('A'));
    QCOMPARE(noted(),
             QString("lost %1 bytes that the line does not take: A").arg(block.size() - m_sent.size() / 2));
    m_sent.clear();
    close(master);
    QVERIFY(comes([&] { return !m_noted.isEmpty(); }));
    QCOMPARE(noted(), QString("the device %1 is gone").arg(line->path()));
    makeLine("/no/device");
    QCOMPARE(m_error,
             QString("cannot use the device /no/device: No such file or directory; name a serial device "
                     "that you may read and write"));
    makeLine("/dev/null");
    QVERIFY(m_error.startsWith("cannot use the device /dev/null: Inappropriate ioctl"));
}

// The bench's texts are those of the description; a text that there is not shows as its id.
void PortTest::texts()
{
    selectLanguage("en");
    QVERIFY(!protocol::Description::standard().texts().empty());
    for (const auto& [id, text] : protocol::Description::standard().texts())
        QCOMPARE(Translator::translate(id), protocol::toString(text));
    QCOMPARE(Translator::translate(4711), QString("#4711"));
}

int main(int argc, char** argv)
{
    QCoreApplication::setEventDispatcher(new VirtualClock);
    const QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName("canbench");
    PortTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_port.moc"

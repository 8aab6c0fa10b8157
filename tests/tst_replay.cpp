// Captures as they are read, and sessions as they are played again, in one process and in virtual time.

#include "capturereader.h"
#include "joined.h"
#include "linewatch.h"
#include "playback.h"
#include "recordedbox.h"
#include "testmain.h"

#include <QRegularExpression>
#include <QTemporaryFile>

namespace {

const char* const Kinds[] = {"rx", "tx", "do"};

// Stays in the build folder.
QString sessionFile()
{
    return QCoreApplication::applicationDirPath() + "/session.capture";
}

// Both ends of the line, and a session's capture to play.
struct Played : Joined
{
    Played()
    {
        RecordingHost::instance().carModel = 153;
        if (QFile::exists(sessionFile()) && !reader.open(sessionFile()).isEmpty())
            qFatal("cannot read the session");
    }

    // What the head unit shows.
    QStringList shown() const
    {
        QStringList all = lines;
        for (const QString& line : lines.filter("box: "))
            all.removeAll(line);
        return all;
    }

    CaptureReader reader;
};

// Works a car from both ends, with a capture beside: noise, frames in pieces, a key that is held for a long
// press, and calls of the host. Returns what the head unit shows.
QStringList recordSession()
{
    Played joined;
    if (!joined.bench().capture.open({sessionFile(), "a session", true}, now()))
        qFatal("cannot write the capture");
    const std::pair<int, const char*> statements[] = {{100, "key swc 5 hold 1600ms"},
                                                      {200, "split 2"},
                                                      {201, "door front-left open"},
                                                      {300, "noise 2A17"},
                                                      {301, "climate fan 6"}};
    for (const auto& [at, statement] : statements)
        QTimer::singleShot(at, &joined.box, [&joined, text = statement] { joined.tell(text); });
    joined.run(
        "wait 400ms\nac power\nmedia 1 \"A B\"\ncar-model 20\nac fan-up\nposition 1\nwait 1400ms\nunit 0");
    return joined.shown();
}

// Plays the session, with a check whose result is left in told. Returns what a fresh plug-in shows.
QStringList playSession(double speed, const Playback::Options& options = {},
                        const std::function<void(Playback&)>& after1s = {}, QString* told = nullptr)
{
    Played joined;
    RecordingHost& host = RecordingHost::instance();
    joined.tell("silent"); // the capture speaks instead
    const auto receive = [&host](const QByteArray& chunk) {
        emit LineWatch::instance().received(chunk);
        host.receive(chunk);
    };
    const auto renew = [&host]() -> CanServiceBase& { return host.restart(); };
    Playback playback(joined.reader, joined.bench(), joined.report(), {receive, renew}, options);
    if (after1s)
        QTimer::singleShot(1000, &playback, [&] { after1s(playback); });
    playback.startCheck();
    bool isOver = false;
    QObject::connect(&joined.bench().script, &Script::ended, &playback, [&isOver] { isOver = true; });
    host.service().start();
    playback.start();
    VirtualClock::instance().setPace(speed);
    while (!isOver)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    VirtualClock::instance().setPace(0);
    if (!playback.finishCheck() && told)
        *told = joined.told().remove("tst_replay: ").replace("\n", " / ").section(" / check: ", 0, 0);
    return joined.shown();
}

} // namespace

class ReplayTest : public QObject
{
    Q_OBJECT

private slots:
    void captures_data();
    void captures();
    void parts();
    void boxsHalf();
    void checks_data();
    void checks();
};

void ReplayTest::captures_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("expected");
    const auto row = [](const QByteArray& text, const QString& expected) {
        QTest::newRow(text.left(60).constData()) << text << expected;
    };
    const QByteArray model = "# car model: 20, index 255\n";
    row("# date: 2026-03-01T10:00:00Z\n" + model + "(0.000174) tx 2E8101007D\n(12.5) rx ff\n",
        "model 20 / 174000 tx 2e8101007d / 12500000000 rx ff");
    row("# capture: 2\r\n(0) do media 1 \"A B\"\r\n\n# so\n(0.000001) rx 00\n",
        "model -1 / 0 do media 1 \"A B\" / 1000 rx 00");
    row("# capture: 3\n(0) rx 00\n", " is a capture of format 3; this program reads 1 to 2");
    row(model + "(0) rx 00\n(1) rx 2E24", "model 20 / 0 rx 00 / :3: the last line is cut off and left out");
    const QString leftOut = "model -1 / 1000000000 rx 00 / :2: \"%1\" %2, left out / 2000000000 tx 00";
    for (const char* damage :
         {"(1) rx 2E2", "(1) rx 2G", "(1) rx ", "(x) rx 00", "(1 rx 00", "(1)rx 00", "1"})
        row(QByteArray("(1) rx 00\n") + damage + "\n(2) tx 00\n",
            leftOut.arg(damage, "is no line of a capture"));
    row("(1) rx 00\n(0) tx 00\n(2) tx 00\n", leftOut.arg("(0) tx 00", "goes back in time"));
    row("(1) rx 00\n(1) rx " + QByteArray(3 << 20, '0') + "\n(2) tx 00\n",
        leftOut.arg("(too long)", "is no line of a capture"));
    row("(0) rx 00\n(1) ab 00\n(2) tx 00\n",
        "model -1 / 0 rx 00 / :2: \"(1) ab 00\" is no line of a capture; --lenient leaves such lines out");
}

// Each record, each note and what ends the reading, without the file's name.
void ReplayTest::captures()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, expected);
    QTemporaryFile file;
    QVERIFY(file.open() && file.write(text) == text.size() && file.flush());
    QStringList lines;
    CaptureReader reader;
    reader.isLenient = !expected.contains("--lenient");
    reader.note = [&lines](const QString& note) { lines.append(note); };
    if (reader.open(file.fileName()).isEmpty())
        lines.append(QString("model %1").arg(reader.header().carModel.value_or(-1)));
    while (const auto record = reader.next()) {
        const QString detail = record->call + record->bytes.toHex();
        lines.append(QString("%1 %2 %3").arg(record->time.count()).arg(Kinds[record->kind], detail));
    }
    lines.append(reader.error());
    lines.removeAll({});
    QCOMPARE(lines.join(" / ").remove(file.fileName()), expected);
}

// The same signals at the same times, at every speed; and of each part what the whole shows there.
void ReplayTest::parts()
{
    using namespace std::chrono_literals;
    const QStringList lines = recordSession();
    QCOMPARE(lines.filter("keyEvent key=5, state=2").size(), 1);
    QString told;
    for (double speed : {0.0, 1.0, 10.0})
        QCOMPARE(playSession(speed, {}, {}, &told), lines);
    QCOMPARE(told, QString());
    const auto part = [&lines](const char* from, const char* to) {
        QStringList inside;
        std::copy_if(lines.begin(), lines.end(), std::back_inserter(inside),
                     [=](const QString& line) { return line >= from && line < to; });
        return inside;
    };
    const QStringList first = part("(0", "(1");
    const QStringList late = part("(0.35", "(9");
    Playback::Options options;
    options.from = 350ms;
    options.passes = 2;
    QCOMPARE(playSession(0, options), late + late);
    options = {};
    options.to = 1700ms;
    options.longestGap = 10ms;
    QCOMPARE(playSession(0.5, options), part("(0", "(1.7"));
    QCOMPARE(playSession(10, {}, [](Playback& playback) { playback.seek(350ms); }), first + late);
    QCOMPARE(playSession(0, {}, [](Playback& playback) { playback.seek(1650ms); }),
             first + part("(1.65", "(9"));
}

// The same signals in the same order, but for what the host asked.
void ReplayTest::boxsHalf()
{
    static const QRegularExpression time("^\\(.*\\) ");
    QStringList lines = recordSession();
    lines.replaceInStrings(time, {});
    for (const QString& answer : lines.filter(" returned "))
        lines.removeAll(answer);
    Played joined;
    joined.tell("silent");
    boxsim::RecordedBox box(joined.reader);
    QObject::connect(&joined.box, &boxsim::Box::unitReceived, &box, &boxsim::RecordedBox::receive);
    QObject::connect(&box, &boxsim::RecordedBox::chunkReady, &joined.box, &boxsim::Box::chunkReady);
    joined.run("wait 2s");
    QStringList shown = joined.shown();
    QCOMPARE(shown.replaceInStrings(time, {}), lines);
}

void ReplayTest::checks_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("after");
    QTest::addColumn<QString>("told");
    const auto row = [](const QByteArray& before, const QByteArray& after, const QString& told) {
        QTest::newRow(before.constData()) << before << after << told;
    };
    row("tx 2EE00201011B", "tx 2EE00202011A",
        "(0.400000) not sent: 2E E0 02 02 01 1A  climate key: climate left 21.5 / (0.400000) sent, and not "
        "in "
        "the capture: 2E E0 02 01 01 1B  climate key: climate power off");
    row("99\n(0.242000) tx FF", "99", "(0.242000) sent, and not in the capture: FF  acknowledge");
    row("rx 0240\n", "rx 0240\n(0.223) tx FF\n", "(0.223000) not sent: FF  acknowledge");
    row("(1.800000) tx 2E8302240155\n", "(1.8) rx FF\n(2.8) tx 2E8302240155\n(2.8) rx FF\n#", "");
    row("do unit 0\n", "rx FF\n", "(1.800000) not sent: 2E 83 02 24 01 55  fuel unit: 0x01");
    row("do unit 0", "do unit 9", "(1.800000) not sent: 2E 83 02 24 01 55  fuel unit: 0x01");
}

// A capture in which the head unit sent something else than it sends.
void ReplayTest::checks()
{
    QFETCH(QByteArray, before);
    QFETCH(QByteArray, after);
    recordSession();
    QFile file(sessionFile());
    QVERIFY(file.open(QIODevice::ReadWrite));
    const QByteArray text = file.readAll();
    const int at = text.indexOf(before);
    QVERIFY(at > 0 && file.resize(0) && file.seek(0));
    file.write(QByteArray(text).replace(at, before.size(), after));
    file.close();
    QString told;
    playSession(0, {}, {}, &told);
    QTEST(told, "told");
}

VIRTUAL_TIME_TEST_MAIN(ReplayTest)
#include "tst_replay.moc"

// The bench head unit and the simulated box, joined in one process and in virtual time: what canbench shows
// of a whole drive, how its scripts judge, and a box that is lost and returns.

#include "hostsetup.h"
#include "joined.h"
#include "scenario.h"
#include "testmain.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTemporaryFile>

namespace {

const QString DriveScenario = SOURCE_FOLDER "/boxsim/scenarios/drive.scn";

// Stays in the build folder.
QString driveCapture()
{
    return QCoreApplication::applicationDirPath() + "/drive.capture";
}

// Plays the scenario to its end, with a capture beside. Returns what both ends show.
QStringList play(const QString& scenario)
{
    Joined joined;
    boxsim::Player player(joined.simulation, boxsim::Scenario::read(scenario));
    joined.simulation.awaitStart = [&] { player.hold(); };
    QObject::connect(&joined.box, &boxsim::Box::announced, &player, &boxsim::Player::resume);
    bool isOver = false;
    QObject::connect(&player, &boxsim::Player::finished, [&isOver] { isOver = true; });
    if (!joined.bench().capture.open(driveCapture(), "boxsim/scenarios/drive.scn: every frame of the box"))
        qFatal("cannot write the capture");
    player.start();
    VirtualClock::instance().advance(0); // to the scenario's await
    RecordingHost::instance().service().start();
    while (!isOver)
        VirtualClock::instance().advance(100);
    VirtualClock::instance().advance(100); // for the last frame
    return joined.lines;
}

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(path));
    return file.readAll();
}

// One row a line of the file, named after what stands before the bar.
void addRows(const QString& name)
{
    QTest::addColumn<QString>("expected");
    const QString text = contentOf(SOURCE_FOLDER "/tests/boxsim/" + name);
    for (const QString& line : text.split('\n', Qt::SkipEmptyParts).mid(1)) {
        const int bar = line.indexOf('|');
        QTest::newRow(qPrintable(line.left(bar).trimmed())) << line.mid(bar + 1).trimmed();
    }
}

} // namespace

class BenchTest : public QObject
{
    Q_OBJECT

private slots:
    void drive();
    void addedStatementChangesItsOwnLines();
    void statements_data();
    void statements();
    void commands_data();
    void commands();
    void scripts_data();
    void scripts();
    void json();
    void boxIsLostAndReturns();
};

// script/update-drive writes the expected text anew.
void BenchTest::drive()
{
    static const QRegularExpression date("# date: .*\n");
    hostSetup().carModelId = RecordingHost::instance().carModel;
    const QStringList lines = play(DriveScenario);
    const QString capture = contentOf(driveCapture());
    QCOMPARE(play(DriveScenario), lines);
    QCOMPARE(QString(contentOf(driveCapture())).remove(date), QString(capture).remove(date));
    QVERIFY(capture.contains("(0.485000) rx 2E2402400099\n(0.485000) tx FF\n"));

    const QString expected = SOURCE_FOLDER "/tests/drive.txt";
    if (qEnvironmentVariableIsSet("UPDATE_DRIVE")) {
        QFile file(expected);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(lines.join('\n').toUtf8() + '\n');
    }
    QCOMPARE(lines, QString(contentOf(expected)).trimmed().split('\n')); // tells the line
}

void BenchTest::addedStatementChangesItsOwnLines()
{
    QTemporaryFile changed;
    QVERIFY(changed.open());
    changed.write(contentOf(DriveScenario).replace("\n6.08 ", "\n6.00 radar front left 3\n6.08 "));
    changed.flush();
    QStringList lines = play(changed.fileName());
    QCOMPARE(lines.filter("sigRadarChanged frontLeft=3").size(), 1);
    lines.removeAll(lines.filter("sigRadarChanged frontLeft=3").constFirst());
    QCOMPARE(lines, play(DriveScenario));
}

void BenchTest::statements_data()
{
    addRows("shown.txt");
}

// Each value of the simulated car reaches the reading that is named for it, and no other.
void BenchTest::statements()
{
    static const QRegularExpression time("^\\(.*\\) ");
    QFETCH(QString, expected);
    Joined joined;
    RecordingHost::instance().carModel = 1; // one that has everything
    RecordingHost::instance().service().start();
    for (int type : boxsim::frameTypes())
        joined.box.send(type);
    VirtualClock::instance().advance(1000);
    joined.lines.clear();
    joined.tell(QTest::currentDataTag());
    VirtualClock::instance().advance(1000);
    QCOMPARE(joined.lines.replaceInStrings(time, QString()).join(" / "), expected);
}

void BenchTest::commands_data()
{
    addRows("worked.txt");
}

// What the box makes of canbench's command: the same in a car with a vertical and with a landscape climate
// screen, or, behind "else", another thing in the latter.
void BenchTest::commands()
{
    QFETCH(QString, expected);
    QStringList outcomes;
    for (int carModel : {153, 20}) {
        Joined joined;
        RecordingHost::instance().carModel = carModel;
        QStringList meanings;
        QObject::connect(&joined.box, &boxsim::Box::unitReceived,
                         [&](const QByteArray&, const QString& meaning) { meanings.append(meaning); });
        joined.run("wait 1s\n" + QByteArray(QTest::currentDataTag()) + "\nwait 1s");
        meanings.removeAll("acknowledge");
        outcomes.append(meanings.mid(6).join(" / ")); // behind what start() brings about
    }
    outcomes.removeDuplicates();
    QCOMPARE(outcomes.join(" else ").trimmed(), expected);
}

void BenchTest::scripts_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("told");
    const auto row = [](const char* name, const QByteArray& script, int code, const QString& told) {
        QTest::newRow(name) << script << code << told;
    };
    row("an unknown command", "\n# so\nfly", 5, ":3: unknown \"fly\"; known: start, stop");
    row("a model out of range", "car-model -5", 5, "0 to 65535");
    row("a wrong argument", "send 2", 5, "two hexadecimal digits each");
    row("an empty word", "media 1 \"\" ARTIST\nexpect tx 00BE 2E9922840341005200 within 1ms", 0, "");
    row("numbers",
        "position 010\nexpect tx 390A37 within 1ms\nac 0x0F\nexpect tx 2EC70600020000000030 within 1ms", 0,
        "");
    const QByteArray door = "expect tx 2E8101007D2E8101017C within 5s\n expect rx 2E24 02400099 within 5s\n"
                            "expect doorChanged leftFrontDoorOpen=true within 5s\n";
    const QByteArray position = "canDrivingPositionChanged drivingPosition=";
    row("in their order", door + "expect canDrivingPositionChanged within 1ms\n quit\nfly", 0, "");
    row("another value", door + "expect " + position + "1 within 1ms", 1, "\n    " + position + "0");
    row("used up", door + "expect doorChanged within 1ms", 1, ":4: expected doorChanged in vain");
    row("a repeated status",
        "expect notifyCanbusStatus within 5s\nexpect notifyCanbusStatus status=3 within 5s", 0, "");
    row("forgotten", "aux\n clock 3:30 pm\n expect tx 2E992287 within 1ms", 1, "expected tx 2E992287");
    row("kept", "clock 3:30 pm\n wait 1ms\n expect tx 2E9D03031E013D within 1ms", 0, "");
}

void BenchTest::scripts()
{
    QFETCH(QByteArray, script);
    QFETCH(QString, told);
    Joined joined;
    joined.tell("door front-left open");
    const int code = joined.run(script);
    QVERIFY2(joined.told().contains(told), qPrintable(joined.told()));
    QCOMPARE(joined.told().isEmpty(), told.isEmpty());
    QTEST(code, "code");
}

void BenchTest::json()
{
    Joined joined(true);
    joined.tell("door front-left open");
    QCOMPARE(joined.run("expect doorChanged within 5s\nstate doors\nac power\nwait 1s"), 0);
    QMap<QString, QJsonDocument> lines; // the last one of each kind
    for (const QString& line : joined.lines.filter("{")) {
        const QJsonDocument object = QJsonDocument::fromJson(line.toUtf8());
        QCOMPARE(object["v"].toInt(), 1);
        QVERIFY(object["time"].isDouble());
        lines[object["signal"].toString(object["command"].toString("state"))] = object;
    }
    const QJsonObject changed{{"doorStatus", 64}, {"leftFrontDoorOpen", true}};
    QCOMPARE(lines["notifyCanbusStatus"]["args"]["status"].toInt(), 3);
    QCOMPARE(lines["doorChanged"]["changed"].toObject(), changed);
    QCOMPARE(lines["state"]["state"]["doors"]["doorStatus"].toInt(), 64);
    QCOMPARE(lines["ac"]["result"].toInt(-1), 0);
    QCOMPARE(lines["acStatusChanged"]["units"]["leftTemperature"].toString(), QString("<1150>"));
}

void BenchTest::boxIsLostAndReturns()
{
    Joined joined;
    joined.tell("door front-left open");
    RecordingHost::instance().service().start();
    const auto shows = [&joined](const char* line) {
        VirtualClock::instance().advance(35000); // more than the link's 30 seconds of silence
        return std::exchange(joined.lines, {}).join('\n').contains(line);
    };
    QVERIFY(shows("notifyCanbusStatus status=3"));
    joined.tell("silent");
    joined.tell("door front-left closed");
    QVERIFY(shows("notifyCanbusStatus status=0"));
    joined.tell("answering");
    QVERIFY(shows("doorChanged doorStatus=0, leftFrontDoorOpen=false"));
}

VIRTUAL_TIME_TEST_MAIN(BenchTest)
#include "tst_bench.moc"

// The bench head unit and the simulated box, joined in one process and in virtual time: what canbench shows
// of a whole drive, how its scripts judge, and a box that is lost and returns.

#include "boxline.h"
#include "hostsetup.h"
#include "joined.h"
#include "linewatch.h"
#include "process.h"
#include "scenario.h"
#include "standin.h"
#include "testmain.h"

#include <QRegularExpression>
#include <QTemporaryFile>

#include <iostream>

#include <unistd.h>

namespace {

const QString DriveScenario = SOURCE_FOLDER "/boxsim/scenarios/drive.scn";

// Stays in the build folder.
QString driveCapture()
{
    return QCoreApplication::applicationDirPath() + "/drive.capture";
}

// Plays the scenario to its end.
void play(Joined& joined, const QString& scenario)
{
    boxsim::Player player(joined.simulation, boxsim::Scenario::read(scenario));
    bool isOver = false;
    QObject::connect(&player, &boxsim::Player::finished, [&isOver] { isOver = true; });
    player.start();
    VirtualClock::instance().advance(0); // to the scenario's await
    RecordingHost::instance().service().start();
    while (!isOver)
        VirtualClock::instance().advance(100);
    VirtualClock::instance().advance(100); // for the last frame
}

// The same, with a capture beside. Returns what both ends show.
QStringList play(const QString& scenario)
{
    Joined joined;
    if (!joined.bench().capture.open({driveCapture(), "every signal", true, hostSetup().carModelId}, now()))
        qFatal("cannot write the capture");
    play(joined, scenario);
    return joined.lines;
}

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(path));
    return file.readAll();
}

QStringList linesOf(const QString& name)
{
    const QString text = contentOf(SOURCE_FOLDER "/tests/boxsim/" + name);
    return text.split('\n', Qt::SkipEmptyParts).mid(1);
}

// One row a line of the file, named after its first field, with the last two.
void addRows(const QString& name)
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<QString>("expected");
    for (const QString& line : linesOf(name)) {
        const QStringList fields = line.split('|');
        QTest::newRow(qPrintable(fields[0].trimmed()))
            << fields.value(fields.size() - 2).trimmed() << fields.constLast().trimmed();
    }
}

// canbench at work on a stand-in for the plug-in.
class Desk
{
public:
    explicit Desk(bool trace = false)
        : bench(car, report, trace)
        , m_standardError(std::cerr.rdbuf(m_told.rdbuf()))
    {
        QObject::connect(&bench.script, &Script::ended, [this](int ending) {
            code = ending;
            end = VirtualClock::instance().now();
        });
    }
    ~Desk() { std::cerr.rdbuf(m_standardError); }
    Q_DISABLE_COPY(Desk)

    void carryOut(const QString& command)
    {
        execute({car, looked, bench.link(), report, bench.script}, command);
    }

    // Lets an event happen: "rx 2E24" or "tx FF", "50*tx FF", "status 3", "key 5", a signal's name, or
    // "moved" and what answers otherwise from now on.
    void happen(const QString& event)
    {
        const QString kind = event.section(' ', 0, 0).section('*', -1);
        const QString value = event.section(' ', 1);
        LineWatch& line = LineWatch::instance();
        for (int times = event.contains('*') ? event.section('*', 0, 0).toInt() : 1; times > 0; --times) {
            if (kind == "rx")
                emit line.received(hex(value));
            else if (kind == "tx")
                emit line.sent(hex(value));
            else if (kind == "status")
                emit car.notifyCanbusStatus(value.toInt());
            else if (kind == "key")
                emit car.keyEvent(value.toInt(), 1, false);
            else if (kind == "moved")
                car.moved = value;
            else
                QVERIFY(QMetaObject::invokeMethod(&car, qPrintable(kind)));
        }
    }

    // What has been written on standard error since the last call.
    QString told()
    {
        QString text = QString::fromStdString(m_told.str());
        m_told.str({});
        return text;
    }

    StandIn car;
    QStringList lines;
    Report report{[this](const QString& line) { lines.append(line); }, false};
    CarState looked{car};
    Workbench bench;
    int code = -1;
    qint64 end = 0; // of the script

private:
    std::ostringstream m_told;
    std::streambuf* m_standardError;
};

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
    void refusals_data() { addRows("refused.txt"); }
    void refusals();
    void help();
    void completion();
    void ranges();
    void nearestWords();
    void carModels();
    void readings();
    void topics();
    void diagnoses_data();
    void diagnoses();
    void garbage();
    void reports();
    void trace();
    void capture();
    void scripts_data();
    void scripts();
    void boxIsLostAndReturns();
    void faults_data();
    void faults();
};

// The drive is the same from run to run and makes the plug-in emit every signal.
void BenchTest::drive()
{
    static const QRegularExpression date("# date: .*\n");
    hostSetup().carModelId = RecordingHost::instance().carModel;
    const QStringList lines = play(DriveScenario);
    const QString capture = contentOf(driveCapture());
    QCOMPARE(play(DriveScenario), lines);
    const QStringList door = play(SOURCE_FOLDER "/boxsim/scenarios/door.scn");
    QVERIFY(door.constLast().endsWith("doorChanged doorStatus=0, leftFrontDoorOpen=false"));
    play(DriveScenario);
    QCOMPARE(QString(contentOf(driveCapture())).remove(date), QString(capture).remove(date));
    QVERIFY(capture.contains("(0.485000) rx 2E2402400099\n(0.485000) tx FF\n"));
    for (const char* signal :
         {"acStatus", "door", "canDrivingPosition", "sigRadar", "otherInfo", "tireAlert", "tireData",
          "drivingData", "fuelData", "unitData", "sigVersion", "sigCamera", "keyEvent"})
        QVERIFY2(!lines.filter(QString(") ") + signal).isEmpty(), signal);
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
    for (const QString& statement : QString(QTest::currentDataTag()).split("; ")) {
        joined.tell(statement);
        VirtualClock::instance().advance(1000);
    }
    QCOMPARE(joined.lines.replaceInStrings(time, QString()).join(" / "), expected);
}

void BenchTest::commands_data()
{
    addRows("worked.txt");
}

// Which operation of the host a command is, and what the box makes of it: the same in a car with a vertical
// and with a landscape climate screen, or, behind "else", another thing in the latter.
void BenchTest::commands()
{
    QFETCH(QString, call);
    QFETCH(QString, expected);
    const QString command = QTest::currentDataTag();
    Desk desk;
    desk.carryOut(command);
    const QStringList returned = desk.lines.filter(") " + command.section(' ', 0, 0) + " returned 2");
    QCOMPARE(desk.car.calls.join(", ") + (returned.isEmpty() ? "" : " ="), call);
    QCOMPARE(desk.lines, returned);
    QStringList outcomes;
    for (int carModel : {153, 20}) {
        Joined joined;
        RecordingHost::instance().carModel = carModel;
        QStringList meanings;
        QObject::connect(&joined.box, &boxsim::Box::unitReceived,
                         [&](const QByteArray&, const QString& meaning) { meanings.append(meaning); });
        joined.run("wait 1s\n" + command.toUtf8() + "\nwait 1s");
        meanings.removeAll("acknowledge");
        outcomes.append(meanings.mid(6).join(" / ")); // behind what start() brings about
    }
    outcomes.removeDuplicates();
    QCOMPARE(outcomes.join(" else ").trimmed(), expected);
}

// Mistakes are told before anything happens, and refused.
void BenchTest::refusals()
{
    QFETCH(QString, expected);
    BoxLine line;
    hostSetup().line = &line;
    Desk desk;
    const QByteArray command = QTest::currentDataTag();
    const QStringList mistakes = mistakesIn({"file", "# so\n" + command, {}}, {true, false});
    try {
        desk.carryOut(command);
        QFAIL("it is not refused");
    } catch (const CommandError& error) {
        QCOMPARE(error.text.left(expected.size()), expected);
        QCOMPARE(mistakes, QStringList("file:2: " + error.text));
    }
    QCOMPARE(desk.car.calls + desk.lines, QStringList());
    hostSetup().line = nullptr;
}

// "help" tells of every command what "help COMMAND" does, and that tells all that the first argument can be.
// Fewer or more words than the usage tells are refused.
void BenchTest::help()
{
    Desk desk;
    const auto answerTo = [&desk](const QString& line) {
        desk.lines.clear();
        desk.carryOut(line);
        return desk.lines.value(0);
    };
    const QString all = answerTo("help");
    const QStringList names = linesOf("refused.txt").value(0).section("known: ", 1).split(", ");
    static const QRegularExpression begin("^[a-z]", QRegularExpression::MultilineOption);
    static const QRegularExpression needed(" [A-Z]");
    QCOMPARE(all.count(begin), names.size());
    for (const QString& name : names) {
        const QString answer = answerTo("help " + name);
        QVERIFY(answer.startsWith(name) && all.contains(answer.section("\n    known: ", 0, 0)));
        const QString usage = answer.section('\n', 0, 0);
        const QStringList refusal("file:1: usage: " + usage);
        if (usage.contains(needed))
            QCOMPARE(mistakesIn({"file", name.toUtf8(), {}}, {true, true}), refusal);
        if (!usage.contains("..."))
            QCOMPARE(mistakesIn({"file", name.toUtf8() + " 1 1 1 1 1", {}}, {true, true}), refusal);
        if (name == "box") // knows the box's statements
            continue;
        static const QRegularExpression known("known: |BAND is ");
        const QString choices = linesOf("refused.txt").filter(name + " fly ").value(0).section(known, 1);
        QVERIFY(answer.section("known: ", 1).startsWith(choices));
        QCOMPARE(answer.contains("known: "), !choices.isEmpty());
    }
}

// A session can be typed with what is offered, but for numbers and texts.
void BenchTest::completion()
{
    static const QRegularExpression value("\\d|^[A-Z\"]");
    const QStringList lines = QString(contentOf(SOURCE_FOLDER "/examples/session.canbench"))
                                  .split('\n')
                                  .filter(QRegularExpression("^\\w"));
    int offered = 0;
    for (const QString& line : lines) {
        QStringList before;
        for (const QString& word : line.split(' ')) {
            const QString name = word.left(word.indexOf('=') + 1);
            if (!word.contains(value) || !name.isEmpty()) {
                QVERIFY2(candidates(before).contains(name.isEmpty() ? word : name), qPrintable(line));
                ++offered;
            }
            before.append(word);
        }
    }
    QVERIFY(offered > lines.size());
    QVERIFY(candidates({"state"}).contains("--changed") &&
            candidates({"expect", "no", "state", "doors"}).contains("for"));
}

// Each command takes the ends of the ranges that help tells, and refuses what lies beyond but by force.
void BenchTest::ranges()
{
    static const QRegularExpression range("^    ([A-Z]+): (-?\\d+) to (-?\\d+)");
    Desk desk;
    desk.carryOut("help");
    QStringList usage;
    int count = 0;
    for (const QString& line : desk.lines.value(0).split('\n')) {
        if (!line.startsWith(' '))
            usage = line.split(' ');
        const auto match = range.match(line);
        if (!match.hasMatch())
            continue;
        ++count;
        const auto mistakes = [&](int number, Ranges ranges) {
            QStringList words = usage.filter(QRegularExpression("^[^[]"));
            words.replaceInStrings(QRegularExpression(".*[A-Z].*"), "1");
            words[usage.indexOf(match.captured(1))] = QString::number(number);
            return mistakesIn({"file", words.join(' ').toUtf8(), {}}, {true, true, ranges});
        };
        const QString text =
            QString("%1 is %2 to %3").arg(match.captured(1), match.captured(2), match.captured(3));
        const int lowest = match.captured(2).toInt();
        const int highest = match.captured(3).toInt();
        for (int end : {lowest, highest})
            QCOMPARE(mistakes(end, Ranges::Kept), QStringList());
        for (int beyond : {lowest - 1, highest + 1}) {
            QVERIFY2(mistakes(beyond, Ranges::Kept).value(0).startsWith("file:1: " + text), qPrintable(line));
            QCOMPARE(mistakes(beyond, Ranges::Ignored), QStringList());
        }
    }
    QCOMPARE(count, 7);
    execute(
        {desk.car, desk.looked, desk.bench.link(), desk.report, desk.bench.script, nullptr, Ranges::Ignored},
        "position -1");
    QCOMPARE(desk.car.calls, QStringList("setCanDrivingPosition(-1)"));
}

// With one letter changed, the nearest word is the one that was meant, or another that is as near.
void BenchTest::nearestWords()
{
    const auto isAsNear = [](const QString& word, const QString& other) {
        int same = 0;
        while (same < std::min(word.size(), other.size()) && word[same] == other[same])
            ++same;
        const QString restOfWord = word.mid(same);
        const QString rest = other.mid(same);
        return restOfWord.isEmpty() || restOfWord.mid(1) == rest.mid(1) || restOfWord.mid(1) == rest ||
               restOfWord == rest.mid(1) ||
               (restOfWord.size() > 1 && rest == QString(restOfWord[1]) + restOfWord[0] + restOfWord.mid(2));
    };
    QStringList readings;
    for (const Reading& reading : CarState::blanks({}))
        readings.append(reading.name);
    const QStringList refused = linesOf("refused.txt");
    const auto known = [&refused](const QString& line) {
        return refused.filter(QRegularExpression('^' + line)).value(0).section("known: ", 1).split(", ");
    };
    for (const QStringList& names : {known("fly"), known("ac fly"), known("request fly"), CarState::topics(),
                                     readings, expectableNames(), boxsim::statementWords()}) {
        QVERIFY(names.size() > 5);
        for (const QString& name : names) {
            for (int i = 0; i < name.size() && name.size() > 1; ++i) {
                const QString wrong = QString(name).replace(i, 1, "#");
                const QString found = nearest(wrong, names);
                QVERIFY2(found == name || (!found.isEmpty() && isAsNear(wrong, found)), qPrintable(wrong));
            }
        }
    }
}

// The names are those that the loaded plug-in declares, and what is told of each id is how the plug-in works.
void BenchTest::carModels()
{
    RecordingHost& host = RecordingHost::instance();
    CanServiceBase& service = host.restart();
    const CarModels models(*service.metaObject());
    QCOMPARE(models.names().size(), 80);
    QCOMPARE(models.names()[15], QString("Camry_2012_Portrait"));
    QCOMPARE(models.names()[16], QString("HC_Camry_2012_2017"));
    QCOMPARE(models.names()[145], QString("RAV4_Taiwan__2019"));
    QCOMPARE(models.idOf("camry_2012_PORTRAIT"), std::optional(15));
    QCOMPARE(models.idOf("HC_RAV_Taiwan__2019"), std::optional(145));
    QCOMPARE(models.idOf("Camry"), std::nullopt);
    QCOMPARE(models.describe(20), QString("20 (no name; landscape)"));
    QCOMPARE(models.find("harrier"), QList<int>{62});
    QCOMPARE(models.find("145"), QList<int>{145});
    for (const QString& line : models.table(models.find({})))
        QVERIFY2(line.size() <= 80, qPrintable(line));
    QString type; // of the last frame
    host.onWrite = [&type](const QByteArray& bytes) { type = bytes.mid(1, 1).toHex(); };
    const auto end = qScopeGuard([&host] { host.onWrite = nullptr; });
    for (host.carModel = 0; host.carModel < 200; ++host.carModel) {
        type.clear();
        service.sendAcKey(0, 1);
        const QString climate = type == "e0" ? "vertical" : type == "c7" ? "landscape" : "none";
        host.receiveFrame(0x58, hex("33 00 33 00 00"));
        const QString seats = service.getAcFrontLeftHeat() != 2   ? "fixed"
                              : service.getLeftVentilation() == 2 ? "levels"
                                                                  : "heating";
        host.receiveFrame(0x28, hex("00 00 00 00 00 00 00 00 00 01"));
        const int before = service.getAcWindMode();
        host.receiveFrame(0x28, hex("00 00 00 00 00 00 00 00 00 02"));
        const QString wind = service.getAcWindMode() == before ? "byte 1" : "byte 9";
        const CarModels::Effects told = CarModels::effectsOf(host.carModel);
        QCOMPARE(QStringList({told.climate, told.seats, told.wind}), QStringList({climate, seats, wind}));
    }
    host.carModel = 20;
}

// Each reading moves with the operations that it stands for in the table, as a value of their type, and with
// no other.
void BenchTest::readings()
{
    StandIn car;
    CarState state(car);
    QStringList sources = car.sources;
    sources.removeDuplicates();
    sources.sort();
    QMap<QString, QStringList> movers;
    for (const QString& source : qAsConst(sources)) {
        car.moved = source;
        for (const Reading& reading : state.takeChanges({})) {
            movers[reading.name].append(source);
            QVERIFY2(reading.data == car.movedAnswer || reading.unit == car.movedAnswer, qPrintable(source));
        }
        car.moved.clear();
        state.takeChanges({});
    }
    QStringList seen;
    for (const Reading& reading : state.read())
        seen.append(reading.topic + ' ' + reading.name + '=' + movers[reading.name].join('+'));
    QStringList expected;
    for (const QString& line : linesOf("readings.txt"))
        for (const QString& reading : line.simplified().split(' ').mid(1))
            expected.append(line.section(' ', 0, 0) + ' ' + reading);
    QCOMPARE(seen, expected);
}

// A signal shows what has changed of its topics, and nothing else; where it has none, its values.
void BenchTest::topics()
{
    const QStringList expected{"acStatusChanged climate",
                               "doorChanged doors",
                               "canDrivingPositionChanged position",
                               "sigRadarChanged radar",
                               "otherInfoDataChanged other body settings",
                               "tireAlert tyres",
                               "tireDataChanged tyres",
                               "drivingDataChanged trip",
                               "fuelDataChanged fuel",
                               "unitDataChanged units",
                               "sigVersionData box",
                               "sigCameraMode camera",
                               "notifyCanbusStatus ",
                               "keyEvent "};
    for (const QString& row : expected)
        QCOMPARE(CarState::topicsOf(row.section(' ', 0, 0)).join(' '), row.section(' ', 1));
    Desk desk;
    for (const char* event :
         {"moved getAcWindScale", "doorChanged", "acStatusChanged", "acStatusChanged", "key 5"})
        desk.happen(event);
    QCOMPARE(desk.lines.replaceInStrings(QRegularExpression("^\\(.*\\) "), {}),
             QStringList({"doorChanged", "acStatusChanged fan=123", "acStatusChanged",
                          "keyEvent key=5, state=1 released, steeringWheel=false"}));
}

void BenchTest::diagnoses_data()
{
    QTest::addColumn<QString>("events"); // and waits, in milliseconds
    QTest::addColumn<QString>("diagnosis");
    const auto row = [](const char* events, const char* diagnosis) {
        QTest::newRow(events) << events << diagnosis;
    };
    row("900", "nothing is wrong");
    row("1100", "nothing has come: is the box powered");
    row("rx 2E2402400099; tx FF; tx 2E8101017C; rx FF; 5000", "nothing is wrong");
    row("rx 00FF55", "3 bytes have come, and no good frame");
    row("rx FF; rx FF", "2 bytes have come, and no good frame");
    row("rx 2E2402400099; rx 2E2402400098", "1 of 2 frames have a wrong checksum");
    row("rx 2E2402400099; rx 55", "1 of 7 bytes belong to no frame");
    row("rx 2E2402400099; 9000; tx 2E900230FF3E; 1900; tx 2E8101017C", "nothing is wrong");
    row("rx 2E2402400099; 400; tx 2E900230FF3E; 1900; tx 2E8101017C; 200",
        "the box was last heard 2.5 s ago");
    row("rx 2E2402400099; tx 2E900230FF3E; rx FF; 2500; tx FF; 2500", "nothing is wrong");
    row("rx 2E2402400099; 2*tx 2E8101017C", "nothing is wrong");
    row("rx 2E2402400099; 3*tx 2E8101017C", "the box sends frames, and answers none");
    row("rx 2E2402400099; 3*tx 2E8101017C; 2*rx F0; rx FF", "the box rejects what it is sent (2 times)");
    row("absent", "there is no line: gone");
    row("absent; present", "nothing is wrong");
}

// What the command link ends with.
void BenchTest::diagnoses()
{
    QFETCH(QString, events);
    QFETCH(QString, diagnosis);
    Desk desk;
    const auto end = qScopeGuard([] { emit LineWatch::instance().present(); });
    for (const QString& event : events.split("; ")) {
        if (event == "absent")
            emit LineWatch::instance().absent("gone", true);
        else if (event == "present")
            emit LineWatch::instance().present();
        else if (const int wait = event.toInt(); wait > 0)
            VirtualClock::instance().advance(wait);
        else
            desk.happen(event);
    }
    desk.carryOut("link");
    const QString shown = desk.lines.value(0);
    QVERIFY2(shown.section('\n', -1).startsWith(diagnosis), qPrintable(shown));
    QVERIFY(shown.contains(events.startsWith("absent") ? "losses: 1" : "losses: 0"));
}

// Garbage is told within a second, once, until a good frame has come.
void BenchTest::garbage()
{
    Desk desk;
    for (int i = 0; i < 30; ++i) {
        desk.happen("rx 00");
        VirtualClock::instance().advance(100);
        QCOMPARE(desk.told().count("no good frame"), i == 8 ? 1 : 0);
    }
    desk.happen("rx 2E2402400099");
    desk.happen("rx 00");
    VirtualClock::instance().advance(800);
    desk.happen("rx 2E2402400099");
    VirtualClock::instance().advance(1000);
    QCOMPARE(desk.told(), QString());
}

void BenchTest::reports()
{
    const QVector<Reading> key{{{}, "key", 5, {}}, {{}, "steeringWheel", true, {}, "yes"}};
    const QVector<Reading> values{{"doors", "doorStatus", 64, {}},
                                  {"tyres", "frontLeftPressure", 2.3, "bar"},
                                  {"tyres", "alertType", -1, {}}};
    QStringList lines;
    for (bool json : {false, true}) {
        Report report([&lines](const QString& line) { lines.append(line); }, json);
        report.restart({{2026, 3, 1}, {10, 0, 59, 999}, Qt::UTC});
        VirtualClock::instance().advance(1500);
        report.signal("keyEvent", key, values, {"key=5", "a b"});
        report.signal("doorChanged", {}, {}, {});
        const auto now = ::now() - std::chrono::milliseconds(200);
        report.state({{values[0], true, now}, {values[1], true, {}}, {values[2], false, {}}});
        report.answer("state", 1, {}, {});
        report.result("ac", -1);
        report.answer("ac \"power\"", 3, {}, {});
        report.text("one\ntwo", "box: ");
        report.restart({});
        report.call("box help", 4);
        report.answer("fly", 5, "refused", "no");
    }
    const QString head = R"({"v":1,"time":1.500000,"date":"2026-03-01T10:01:01.499000Z",)";
    const QString undated = R"({"v":1,"time":0.000000,)";
    const QStringList expected{
        "(1.500000) keyEvent key=5, a b",
        "(1.500000) doorChanged",
        R"(doors
  doorStatus             64                   0.2 s ago
tyres
  frontLeftPressure      not received         reads as 2.3 bar
  alertType              in no frame          reads as -1)",
        "(1.500000) ac returned -1",
        "box: one\nbox: two",
        head +
            R"("args":{"key":5,"steeringWheel":true},"changed":{"alertType":-1,"doorStatus":64,"frontLeftPressure":2.3},"meanings":{"steeringWheel":"yes"},"signal":"keyEvent","units":{"frontLeftPressure":"bar"}})",
        head + R"("args":{},"changed":{},"meanings":{},"signal":"doorChanged","units":{}})",
        head +
            R"("ages":{"doorStatus":0.2},"arguments":[],"command":"state","line":1,"meanings":{},"state":{"doors":{"doorStatus":64},"tyres":{"alertType":-1,"frontLeftPressure":2.3}},"units":{"frontLeftPressure":"bar"}})",
        head + R"("arguments":["power"],"command":"ac","line":3,"result":-1})",
        undated + R"("arguments":["help"],"call":"box","line":4,"text":"one\ntwo"})",
        undated + R"("arguments":[],"command":"fly","line":5,"refused":"no"})"};
    QCOMPARE(lines, expected);
    QCOMPARE(values[1].assignment() + values[0].assignment(),
             QString("frontLeftPressure=2.3 bardoorStatus=64"));
}

void BenchTest::trace()
{
    const QStringList traced{
        "rx 2E32",
        "rx 020400C7  system camera.cameraMode=1",
        "tx FF  acknowledgement",
        "rx 2E32020401C6  system",
        "rx 2E2C0102D02E32020400C6  unknown 2C; system: checksum, C7 would be right",
        "rx 2E3201FFCD  system: length 1 instead of 2, without effect",
        "rx 2E3203040000C6  system: length 3 instead of 2, without effect",
        "tx 2E900230FF3E  request request.type=version, request.parameter=all",
    };
    for (bool trace : {false, true}) {
        Desk desk(trace);
        VirtualClock::instance().advance(20);
        for (const char* status : {"status 3", "status 3", "status 0", "status 3"})
            desk.happen(status);
        QCOMPARE(desk.lines.size(), trace ? 4 : 3);
        QString expected;
        for (const QString& line : traced) {
            desk.happen(line.section("  ", 0, 0));
            expected += "(0.020000) " + line + '\n';
        }
        QCOMPARE(desk.told(), trace ? expected : "");
    }
}

// A capture that can no longer be written ends canbench.
void BenchTest::capture()
{
    prepareStandardStreams();
    Desk desk;
    QVERIFY(!desk.bench.capture.open({"/dev/full", "x", true}, now()) && !desk.bench.capture.isOpen());
    QVERIFY(!desk.bench.capture.open({"/no/file", "x"}, now()));
    QCOMPARE(desk.told(), QString("tst_bench: cannot write /dev/full: No space left on device\n"
                                  "tst_bench: cannot write /no/file: No such file or directory\n"));
    int ends[2];
    QCOMPARE(pipe(ends), 0);
    QVERIFY(desk.bench.capture.open({QString("/proc/self/fd/%1").arg(ends[1]), "a door opens", true, 20, 7},
                                    now()));
    desk.happen("rx 2E0F");
    desk.happen("tx FF");
    char text[500] = {};
    QVERIFY(read(ends[0], text, sizeof text) > 0);
    static const QRegularExpression expected(
        "^# capture: 2\n# date: \\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d.\\d\\d\\dZ\n# line: 38400 baud, "
        "8N1\n# car model: 20, "
        "index 7\n"
        "# purpose: a door opens\n# \\(seconds.micros\\) rx HEX\\|tx HEX\\|do COMMAND; rx is what the head "
        "unit "
        "received, the date is that of \\(0.000000\\)\n"
        "\\(0.000000\\) rx 2E0F\n\\(0.000000\\) tx FF\n$");
    QVERIFY2(expected.match(text).hasMatch(), text);
    QVERIFY(desk.told().isEmpty());
    close(ends[0]);
    desk.happen("rx 2E0F");
    QCOMPARE(desk.code, 6);
    QVERIFY(desk.told().contains("Broken pipe"));
    close(ends[1]);
}

void BenchTest::scripts_data()
{
    addRows("scripts.txt");
}

// How a script ends, when, and what it tells, for what happens meanwhile.
void BenchTest::scripts()
{
    QFETCH(QString, call); // what happens at which millisecond
    QFETCH(QString, expected);
    const qint64 begin = VirtualClock::instance().now();
    Desk desk;
    for (const QString& event : call.split("; ", Qt::SkipEmptyParts))
        QTimer::singleShot(event.section(' ', 0, 0).toInt(), &desk.car,
                           [&desk, event] { desk.happen(event.section(' ', 1)); });
    const QByteArray text = QByteArray(QTest::currentDataTag()).replace("; ", "\n");
    desk.bench.script.take({"script", text, {}});
    VirtualClock::instance().advance(100000);
    static const QRegularExpression breaks("\n +");
    static const QRegularExpression garbage("tst_bench: \\d+ bytes have come.*\n");
    const QString told =
        desk.told().remove(garbage).remove("tst_bench: script").trimmed().replace(breaks, " / ");
    QCOMPARE(QString("%1 at %2 %3").arg(desk.code).arg(desk.end - begin).arg(told).trimmed(), expected);
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

// The table of docs/boxsim.md, a row for each scenario of a fault, without its last column.
void BenchTest::faults_data()
{
    QTest::addColumn<QStringList>("expected");
    const QString text = contentOf(SOURCE_FOLDER "/docs/boxsim.md");
    const QString table = text.section("| Scenario | Status |", 1).section("\n\n", 0, 0);
    QStringList scenarios{"door", "drive"};
    for (const QString& line : table.split('\n').mid(2)) {
        const QStringList cells = line.split(" | ");
        scenarios.append(cells[0].mid(2).remove('`'));
        QTest::newRow(qPrintable(scenarios.constLast())) << QStringList(cells.mid(1, 5));
    }
    scenarios.sort();
    const QStringList files = QDir(SOURCE_FOLDER "/boxsim/scenarios").entryList({"*.scn"});
    QCOMPARE(scenarios, QStringList(files).replaceInStrings(".scn", ""));
    for (const boxsim::FaultRow& row : boxsim::faultRows())
        QVERIFY2(scenarios.contains(row.name), qPrintable(row.name));
}

// What the plug-in and the bench do under it.
void BenchTest::faults()
{
    static const QRegularExpression status("^.* notifyCanbusStatus status=(\\d).*$");
    QFETCH(QStringList, expected);
    Joined joined;
    const QStringList before = boxsim::parse("state").answer(joined.simulation).split('\n');
    play(joined, QString(SOURCE_FOLDER "/boxsim/scenarios/%1.scn").arg(QTest::currentDataTag()));
    const Traffic& in = joined.bench().link().fromBox();
    const QString diagnosis = joined.bench().link().diagnosis();
    QStringList statuses = joined.lines.filter(status);
    const QStringList seen{
        statuses.replaceInStrings(status, "\\1").join(", "),
        QString("%1, %2, %3").arg(in.frames).arg(in.badFrames).arg(in.dropped),
        QString::number(joined.bench().link().toBox().rejections),
        QString::number(joined.lines.filter(") doorChanged").size()),
        diagnosis.isEmpty() ? "nothing" : diagnosis,
    };
    const QRegularExpression form(QRegularExpression::wildcardToRegularExpression(expected.join(" | ")));
    const bool isAsExpected =
        form.match(seen.join(" | ")).hasMatch(); // clazy:exclude=use-static-qregularexpression
    QVERIFY2(isAsExpected, qPrintable(seen.join(" | ")));
    QCOMPARE(boxsim::parse("faults").answer(joined.simulation), QString("no fault is on"));
    QCOMPARE(boxsim::parse("state").answer(joined.simulation).split('\n'), before);
}

VIRTUAL_TIME_TEST_MAIN(BenchTest)
#include "tst_bench.moc"

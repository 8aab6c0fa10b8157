#include "box.h"
#include "scenario.h"
#include "values.h"
#include "virtualclock.h"
#include "words.h"

#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTemporaryFile>
#include <QtTest>

#include <algorithm>
#include <cmath>
#include <numeric>

#include <unistd.h>

using namespace boxsim;

namespace {

// One test row a line of the file, named after its first field.
void addRows(const QString& name)
{
    QTest::addColumn<QStringList>("fields");
    QFile file(SOURCE_FOLDER "/tests/boxsim/" + name);
    QVERIFY(file.open(QIODevice::ReadOnly));
    for (const QString& line : QString(file.readAll()).split('\n', Qt::SkipEmptyParts).mid(1)) {
        QStringList fields = line.split('|');
        for (QString& field : fields)
            field = field.trimmed();
        QTest::newRow(qPrintable(fields[0])) << fields;
    }
}

// A box whose output is read in hex, with "+20" for 20 ms of pause.
struct RecordedBox : Box
{
    QStringList sent;
    QStringList told;
    qint64 sentAt = 0;

    RecordedBox()
    {
        connect(this, &Box::chunkReady, this, [this](const QByteArray& bytes) {
            const qint64 now = VirtualClock::instance().now();
            if (!sent.isEmpty() && now > sentAt)
                sent.append(QString("+%1").arg(now - sentAt));
            sentAt = now;
            sent.append(bytes.toHex(' ').toUpper());
        });
        connect(this, &Box::unitReceived, this, [this](const auto&, const auto& text) { told.append(text); });
        connect(this, &Box::noted, this, [this](const auto& text) { told.append(text); });
        connect(this, &Box::hit, this,
                [this](const Hit& hit) { told.append(hit.fault + ": " + hit.meaning + ", " + hit.effect); });
        connect(this, &Box::asked, this, [this](const auto& text) {
            QCOMPARE(told.constLast(), text);
            told.last() += '!';
        });
    }

    void receiveFrame(const QByteArray& typeAndPayload)
    {
        QByteArray body = typeAndPayload;
        if (body.startsWith('\x99'))
            body = body.leftJustified(35, '\0');
        body.insert(1, static_cast<char>(body.size() - 1));
        receive('\x2E' + body + static_cast<char>(~std::accumulate(body.begin(), body.end(), 0)));
    }

    QString after(const QString& steps)
    {
        sent.clear();
        for (const QString& step : steps.split("; ")) {
            const QByteArray bytes = QByteArray::fromHex(step.toLatin1());
            if (step.startsWith("<<"))
                receive(bytes);
            else if (step.startsWith('<'))
                receiveFrame(bytes);
            else if (step.toInt() > 0)
                VirtualClock::instance().advance(step.toInt());
            else if (const Parsed parsed = parse(step); parsed.statement)
                parsed.run(simulation);
        }
        VirtualClock::instance().advance(1000);
        return sent.join(' ');
    }

    QStringList answerTo(const QString& line) { return parse(line).answer(simulation).split('\n'); }
    QStringList state() { return answerTo("state"); }

    Simulation simulation{*this};
};

} // namespace

class TestBoxsim : public QObject
{
    Q_OBJECT

private slots:
    void statementSends_data() { addRows("statements.txt"); }
    void statementSends()
    {
        QFETCH(QStringList, fields);
        RecordedBox box;
        QCOMPARE(box.after(fields[0]), fields[1]);
        QCOMPARE(box.told.join(", "), fields[2]);
    }

    // A value's statement stands in "state" as it was typed and changes no other line, and what "state" shows
    // makes another car the same.
    void stateMakesAnotherCarTheSame()
    {
        QRandomGenerator random(1);
        const auto word = [&random](const QString& element) {
            const QString choice = element.split('|').at(random.bounded(element.count('|') + 1));
            const QStringList range = choice.mid(1, choice.size() - 2).split("..");
            if (range.size() < 2)
                return choice == "<text>" ? QString("\"%1 \"\"\" b\"").arg(random.generate()) : choice;
            const int low = static_cast<int>(2 * range[0].toDouble());
            const int high = static_cast<int>(2 * std::min(range[1].toDouble(), 9999.0));
            const int halves = random.bounded(low, high + 1);
            return range[0].contains('.') ? QString::number(halves / 2.0) : QString::number(halves / 2);
        };
        for (int round = 0; round < 10; ++round) {
            RecordedBox box;
            QStringList before = box.state();
            for (int i = 0; i < valueRows().size() + 5; ++i) {
                QStringList words;
                for (const QString& element : statements()[i].syntax.split(' '))
                    words.append(word(element));
                const QString statement = words.join(' ');
                if (words.contains("psi") || words.contains("kPa"))
                    continue; // their numbers are rounded
                QVERIFY2(parse(statement).statement == &statements()[i], qPrintable(statement));
                parse(statement).run(box.simulation);
                const QStringList after = box.state();
                QVERIFY2(after.contains(statement), qPrintable(statement));
                int changed = 0;
                for (int line = 0; line < after.size(); ++line)
                    changed += after[line] != before[line];
                QVERIFY2(changed <= 1 || statement.startsWith("tyre unit"), qPrintable(statement));
                before = after;
            }
            RecordedBox other;
            for (const QString& line : before)
                parse(line).run(other.simulation);
            QCOMPARE(other.state(), before);
            for (int type : frameTypes())
                QCOMPARE(other.car.payload(type), box.car.payload(type));
        }
    }

    // Each fault stands in "faults" as it was typed, is replaced by another of its kind, and can be ended by
    // itself and with all.
    void faultsAreListedAsTheyWereTyped()
    {
        const QStringList kinds{"loss 1%, loss 0.5%",
                                "duplicate 100%",
                                "corrupt 0%",
                                "flip 100%, flip 0.0000002%",
                                "delay 50ms..200ms, delay 7ms, delay 0ms..12345.678s",
                                "baud 9600, baud 300",
                                "no-ack on",
                                "ack-delay 100ms",
                                "flood",
                                "stall 2000ms every 999999.999s",
                                "mute climate"};
        QCOMPARE(kinds.size(), faultRows().size());
        RecordedBox box;
        const QStringList none{"no fault is on"};
        QCOMPARE(box.answerTo("faults"), none);
        QStringList on;
        for (const QString& kind : kinds) {
            for (const QString& statement : kind.split(", ")) {
                QVERIFY2(parse(statement).statement && parse(statement).statement->isFault,
                         qPrintable(statement));
                parse(statement).run(box.simulation);
            }
            on.append(kind.section(", ", -1));
            QCOMPARE(box.answerTo("faults"), on);
        }
        parse("mute seats").run(box.simulation);
        QCOMPARE(box.answerTo("faults"), on + QStringList("mute seats"));
        for (const QString& statement : on) {
            parse(statement.section(' ', 0, 0) + " off").run(box.simulation);
            QVERIFY(!box.answerTo("faults").contains(statement));
        }
        QCOMPARE(box.answerTo("faults"), none);
        const QStringList all = {"silent",  "reject",      "corrupt", "truncate 2",
                                 "split 3", "noise 00 2E", "drop 4",  "loss 25%"};
        for (const QString& statement : all)
            parse(statement).run(box.simulation);
        QCOMPARE(box.answerTo("faults"), all);
        parse("faults off").run(box.simulation);
        QCOMPARE(box.answerTo("faults"), none);
    }

    void chances_data()
    {
        QTest::addColumn<double>("expected"); // hits of 10000 frames of 6 bytes
        QTest::newRow("loss 10%") << 1000.0;
        QTest::newRow("duplicate 1/2") << 5000.0;
        QTest::newRow("corrupt 0.5%") << 50.0;
        QTest::newRow("flip 1/1000") << 10000 * (1 - std::pow(0.999, 48));
        QTest::newRow("loss 0%") << 0.0;
    }
    // A fault hits as often as its chance tells, the same way with the same seed only.
    void chances()
    {
        QFETCH(double, expected);
        const auto run = [](int seed) {
            RecordedBox box;
            parse(QString("seed %1").arg(seed)).run(box.simulation);
            parse(QTest::currentDataTag()).run(box.simulation);
            for (int i = 0; i < 10000; ++i)
                box.send(FrameType::SystemInfo);
            return std::pair(box.sent, box.told);
        };
        const auto first = run(7);
        QVERIFY2(std::abs(first.second.size() - expected) <= 5 * std::sqrt(expected),
                 qPrintable(QString::number(first.second.size())));
        QCOMPARE(run(7), first);
        QCOMPARE(run(8) == first, expected == 0);
    }

    // Frames that are held back stay in their order, each within its time.
    void delayKeepsTheOrder()
    {
        RecordedBox box;
        QVector<qint64> late;
        int number = 0;
        connect(&box, &Box::chunkReady, &box, [&](const QByteArray& bytes) {
            QCOMPARE(static_cast<quint8>(bytes[3]), static_cast<quint8>(number));
            late.append(VirtualClock::instance().now() - qint64(30) * number++);
        });
        const qint64 begin = VirtualClock::instance().now();
        parse("delay 50ms..200ms").run(box.simulation);
        for (int i = 0; i < 200; ++i) {
            parse(QString("key swc %1 press").arg(i)).run(box.simulation);
            VirtualClock::instance().advance(30);
        }
        VirtualClock::instance().advance(200);
        QCOMPARE(late.size(), 200);
        const auto [least, most] = std::minmax_element(late.begin(), late.end());
        QVERIFY(*least >= begin + 50 && *least < begin + 60);
        QVERIFY(*most <= begin + 200 && *most > begin + 190);
    }

    // A flood takes up the line, with every frame; answers go between.
    void floodFillsTheLine()
    {
        RecordedBox box;
        int bytes = 0;
        connect(&box, &Box::chunkReady, &box, [&](const QByteArray& chunk) { bytes += chunk.size(); });
        parse("flood").run(box.simulation);
        for (int second = 1; second <= 10; ++second) {
            box.after("<90 32 FF");
            QVERIFY2(std::abs(bytes - 3840 * second) < 50, qPrintable(QString::number(bytes)));
        }
        for (int type : frameTypes())
            QVERIFY(!box.sent.filter(encode({type, *box.car.payload(type)}).toHex(' ').toUpper()).isEmpty());
        parse("flood off").run(box.simulation);
        const int before = bytes;
        VirtualClock::instance().advance(1000);
        QCOMPARE(bytes, before);
    }

    void words_data() { addRows("words.txt"); }
    void words()
    {
        QFETCH(QStringList, fields);
        QString line = fields[0].replace("\\t", "\t");
        const QStringList words = wordsOf(' ' + line);
        const auto time = timeOf(line);
        QCOMPARE('[' + words.join("][") + ']' + (time ? QString(" %1").arg(time->count()) : ""), fields[1]);
    }

    // Each word of each statement is offered behind those before it.
    void statementsComplete()
    {
        static const QRegularExpression number("^<([\\d.]+)\\.\\..*");
        const QMap<QString, QString> samples{{"<time>", "1s"},   {"<text>", "x"},    {"<hex>...", "00"},
                                             {"<chance>", "1%"}, {"<times>", "1ms"}, {"<period>", "10s"}};
        for (const Statement& statement : statements()) {
            QStringList before;
            for (const QString& element : statement.syntax.split(' ')) {
                const QStringList words = element.split('|').filter(QRegularExpression("^[^<]"));
                for (const QString& word : words)
                    QVERIFY2(candidates(before).contains(word), qPrintable(statement.syntax));
                const QString lowest = number.match(element).captured(1);
                before.append(!words.isEmpty() ? words[0] : samples.value(element, lowest));
            }
            QVERIFY2(parse(before).statement, qPrintable(before.join(' ')));
        }
        QCOMPARE(candidates({"door", "fl"}), QStringList({"closed", "open"}));
        QCOMPARE(candidates({"fly"}) + candidates({"quit"}), QStringList());
    }

    // Behind the bar stand those that are refused.
    void limits()
    {
        const QString all =
            "climate fan 0, climate fan 0x07, trip a 6553.4, climate left 15, CAMERA 1, fuel unit 255, "
            "split 255, drop 65535, noise fF 00, key bt 0 hold 0s, DOOR fl Open, tyre rr 25.4 bar, tyre rr "
            "254 psi, tyre rr 635 kPa, loss 0%, flip 1/999999999, corrupt 100%, duplicate 3/3, delay 0ms, "
            "delay 1s..1s, baud 300, stall 0ms every 1ms, every 1ms send 0X1d, send Base-Info, await 0xE0, "
            "seed 0| "
            "climate fan -1, climate fan 8, climate fan 1.0, climate fan 07x, trip a 6553.5, trip b low, "
            "tyre rr 255 psi, tyre rr 635.1 kPa, climate left 14.9, climate left 32.1, climate left nan, "
            "split 0, drop 65536, noise fF 0, "
            "climate profile 4, camera 2, noise, key bt 256 press, key bt 1 hold 1, door, tyre rr 25.5 "
            "bar, version, send 0x31, loss 100.1%, loss 2/1, loss 1/0, loss -1%, loss 1, delay 2s..1s, delay "
            "1s..2s..3s, baud 299, stall 1s every 1s, stall 2s every 1s, stall 0ms every 0ms, every 0ms send "
            "climate, await climate, mute request, no-ack, seed -1, faults on";
        for (const QString& line : all.section('|', 0, 0).split(", "))
            QVERIFY2(parse(line).statement, qPrintable(line));
        for (const QString& line : all.section("| ", 1).split(", "))
            QVERIFY2(!parse(line).statement, qPrintable(line));
        RecordedBox box;
        QVERIFY(box.after("version " + QString(256, 'x')).startsWith("2E 30 FF 78"));
        box.after("tyre fl 254 psi; tyre unit kPa");
        QVERIFY(box.state().contains("tyre front-left 635 kPa"));
        QCOMPARE(parse("fly").error.section("expected ", 1).split(", ").removeDuplicates(), 0);
    }

    // Each range takes its ends and refuses what lies beyond; force lets that through where it is of the car.
    void ranges()
    {
        static const QRegularExpression range("^<([\\d.]+)\\.\\.([\\d.]+)>");
        static const QMap<QString, QString> samples{{"<time>", "1s"}, {"<text>", "x"}, {"<hex>...", "00"}};
        int count = 0;
        for (const Statement& statement : statements()) {
            QStringList words;
            for (const QString& element : statement.syntax.split(' '))
                words.append(samples.value(element, element.section('|', 0, 0)));
            const int at = words.indexOf(range);
            if (at < 0)
                continue;
            ++count;
            const auto match = range.match(words[at]);
            const double step = words[at].contains(".0") ? 0.1 : 1;
            const double low = match.captured(1).toDouble();
            const double high = match.captured(2).toDouble();
            const auto parsed = [&](double number, Ranges ranges) {
                words[at] = QString::number(number, 'g', 12);
                return parse(words.join(' '), ranges).statement;
            };
            for (double end : {low, high})
                QVERIFY2(parsed(end, Ranges::Kept) == &statement, qPrintable(words.join(' ')));
            for (double beyond : {low - step, high + step}) {
                QVERIFY2(!parsed(beyond, Ranges::Kept), qPrintable(words.join(' ')));
                QCOMPARE(parsed(beyond, Ranges::Ignored) == &statement, statement.isOfCar);
            }
        }
        QVERIFY(count > 30);
    }

    // By force a value fills its own bits of the frame, and a pressure is bounded.
    void forced()
    {
        RecordedBox box;
        for (const char* line : {"climate fan 9", "fuel unit -1", "tyre fl 999 bar", "version \"A B"})
            parse(line, Ranges::Ignored).run(box.simulation);
        QCOMPARE(box.sent, QStringList({"2E 28 0A 00 01 09 09 00 00 00 0D 00 00 AD", "2E 22 03 FF 00 48 93",
                                        "2E 23 0B FF 00 44 00 47 00 41 00 4A 00 45 77",
                                        "2E 25 06 84 FE 17 18 18 00 0B", "2E 30 03 41 20 42 29"}));
    }

    void climateKey_data() { addRows("keys.txt"); }
    void climateKey()
    {
        QFETCH(QStringList, fields);
        RecordedBox box;
        for (const QString& press : fields[0].split(' '))
            for (int times = press.section('*', 0, 0).toInt(); times > 0; --times)
                box.receiveFrame(QByteArray::fromHex("E0" + press.section('*', 1).toLatin1() + "01"));
        QCOMPARE(box.told.constLast(), "climate key: " + fields[1] + '!');
    }

    void receiverFindsInAnyChunks_data() { addRows("receiver.txt"); }
    void receiverFindsInAnyChunks()
    {
        const QStringList names{"Good", "BadChecksum", "Unfinished", "Ack", "Nak", "Noise"};
        QFETCH(QStringList, fields);
        const QByteArray bytes = QByteArray::fromHex(fields[0].toLatin1());
        for (int cut = 0; cut <= bytes.size(); ++cut) {
            Receiver receiver;
            auto units = receiver.feed(bytes.left(cut), 0);
            units += receiver.feed(bytes.mid(cut), 500);
            QStringList seen;
            for (const Received& unit : qAsConst(units))
                seen.append(names[unit.kind]);
            seen.removeDuplicates(); // a cut makes two of one noise
            QCOMPARE(seen.join(' '), fields[1]);
        }
    }

    // A scenario's clock stands while it waits, keys are held to their time, and the end tells how long yet.
    void scenarioWaitsAndHolds()
    {
        QTemporaryFile file;
        QVERIFY(file.open());
        file.write("0 camera 1\n0.1 await start\n0.3 camera 0\n0.4 key swc 5 hold 300ms\n");
        file.flush();
        RecordedBox box;
        Player player(box.simulation, Scenario::read(file.fileName()));
        qint64 held = 0;
        connect(&player, &Player::finished, [&] { held = box.keysHeldFor().count(); });
        static const QRegularExpression answer("2E 30.*D9 ");
        player.start();
        VirtualClock::instance().advance(5000);
        box.receiveFrame("\x81\x01");
        VirtualClock::instance().advance(100);
        parse("await start").run(box.simulation);
        VirtualClock::instance().advance(5000);
        emit box.announced();
        VirtualClock::instance().advance(5000);
        QCOMPARE(box.sent.join(' ').remove(answer), // the answer to the announcement
                 QString("2E 32 02 04 00 C7 +5000 FF +5300 2E 32 02 00 00 CB +100 2E 20 02 05 01 D7 +300 "
                         "2E 20 02 05 00 D8"));
        QCOMPARE(held, 300);
    }

    // A loop goes on at once where the link is up already, and waits where the head unit has taken leave.
    void scenarioLoopsAndAwaits()
    {
        QTemporaryFile file;
        QVERIFY(file.open());
        file.write("0 await link up\n0.1 camera 1\n0.2 await request\n0.25 camera 0\n0.3 loop\n");
        file.flush();
        RecordedBox box;
        Player player(box.simulation, Scenario::read(file.fileName()));
        player.start();
        VirtualClock::instance().advance(5000);
        const QString started = "FF 2E 30 0A 42 4F 58 53 49 4D 20 31 2E 30 44 2E 24 02 00 00 D9";
        QCOMPARE(box.after("<81 01; 3000"), started);
        const QString on = "2E 32 02 04 00 C7";
        const QString off = "2E 32 02 00 00 CB";
        QCOMPARE(box.after("<<FF; 150"), on);
        QCOMPARE(box.after("<E2 01; 500; <90 99 FF; 50; raw 00; 130"),
                 "FF +500 FF +50 " + off + " 00 +150 " + on);
        QCOMPARE(box.after("<90 99 FF; 60; <81 00; 1000; <81 01; <<FF"),
                 "FF +50 " + off + " +10 FF +1000 " + started + " +100 " + on);
    }

    void mistakesTellFileLineAndWhatWasExpected()
    {
        const QTemporaryDir folder;
        QFile file(folder.filePath("bad.scn"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("# comment\n1 quit\nx quit\n0.5 quit\n2 door fl ajar\n2 climate fan 8\n2 tyre fl 2.3\n"
                   "nan quit\n1.5 quit\n-1 quit\n86400 quit\n86401 quit\n");
        QFile looped(folder.filePath("looped.scn"));
        QVERIFY(looped.open(QIODevice::WriteOnly));
        looped.write("0 loop\n");
        looped.close();
        QCOMPARE(Scenario::read(looped.fileName()).errors,
                 QStringList(looped.fileName() + ":1: a scenario that loops takes time; write a later one"));
        file.close();
        const Scenario scenario = Scenario::read(file.fileName());
        const QStringList expected{":3: \"x\": expected a time in seconds, 0 to 86400, and a statement",
                                   ":4: \"0.5\": expected a time not before the line above",
                                   ":5: \"ajar\": expected closed, open",
                                   ":6: \"8\": expected <0..7>; --force takes it all the same",
                                   ":7: the line ends too early: expected bar, psi, kPa",
                                   ":8: \"nan\": expected a time in seconds, 0 to 86400, and a statement",
                                   ":9: \"1.5\": expected a time not before the line above",
                                   ":10: \"-1\": expected a time in seconds, 0 to 86400, and a statement",
                                   ":12: \"86401\": expected a time in seconds, 0 to 86400, and a statement"};
        QCOMPARE(scenario.errors,
                 QStringList(expected).replaceInStrings(QRegularExpression("^"), file.fileName()));
        QVERIFY(parse("fly").error.startsWith("\"fly\": expected door, driving-position, radar"));
        QCOMPARE(parse("quit now").error, QString("\"now\": expected the end of the line"));
    }
};

int main(int argc, char** argv)
{
    QCoreApplication::setEventDispatcher(new VirtualClock);
    const QCoreApplication app(argc, argv);
    TestBoxsim test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_boxsim.moc"

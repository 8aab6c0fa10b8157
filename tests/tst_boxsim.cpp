#include "box.h"
#include "headunit.h"
#include "scenario.h"
#include "virtualclock.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTemporaryFile>
#include <QtTest>

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

// A box whose output is read in hex, with ".." for 20 ms of pause.
struct RecordedBox : Box
{
    QStringList sent;
    qint64 sentAt = 0;

    RecordedBox()
    {
        connect(this, &Box::chunkReady, this, [this](const QByteArray& bytes) {
            const qint64 now = VirtualClock::instance().now();
            if (!sent.isEmpty() && now == sentAt + 20)
                sent.append("..");
            sentAt = now;
            sent.append(bytes.toHex(' ').toUpper());
        });
    }

    QString after(const QString& lines)
    {
        sent.clear();
        for (const QString& line : lines.split("; "))
            parse(line).run(simulation);
        VirtualClock::instance().advance(1000);
        return sent.join(' ');
    }

    // What "state" shows.
    QStringList state()
    {
        QString shown;
        Simulation asked{*this, [&shown](const QString& text) { shown = text; }};
        parse("state").run(asked);
        return shown.split('\n');
    }

    QString answerTo(const QString& hex)
    {
        sent.clear();
        receive(QByteArray::fromHex(hex.toLatin1()));
        return sent.join(' ');
    }

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
    }

    // Every value that "state" shows can be set, moves its own line alone, and what is shown makes another
    // car the same.
    void stateMakesAnotherCarTheSame()
    {
        const QStringList fresh = RecordedBox().state();
        QVector<int> accepted(64);
        QCOMPARE(fresh.size(), accepted.size());
        for (const char* value : {"open", "off", "on", "1", "2", "low", "kPa", "none", "invalid", "21.5",
                                  "3.2 kPa", "\"a \"\"\" b\""}) {
            RecordedBox all;
            for (int i = 0; i < fresh.size(); ++i) {
                const QString statement = fresh[i].section(' ', 0, -2) + ' ' + value;
                if (!parse(statement).error.isEmpty())
                    continue;
                ++accepted[i];
                all.after(statement);
                RecordedBox box;
                box.after(statement);
                QStringList expected = fresh;
                expected[i] = statement;
                if (!statement.startsWith("tyre") && !statement.startsWith("version")) // units, quotes
                    QCOMPARE(box.state(), expected);
            }
            RecordedBox other;
            other.after(all.state().join("; "));
            QCOMPARE(other.state(), all.state());
            for (int type : frameTypes())
                QCOMPARE(other.car.payload(type), all.car.payload(type));
        }
        QVERIFY(!accepted.contains(0));
    }

    void headUnitCommand_data() { addRows("commands.txt"); }
    void headUnitCommand()
    {
        QFETCH(QStringList, fields);
        RecordedBox box;
        QCOMPARE(box.answerTo(fields[0]), fields[2]);
        Car car;
        const QByteArray bytes = QByteArray::fromHex(fields[0].toLatin1());
        QCOMPARE(react(car, Receiver().feed(bytes, 0).constFirst().frame).meaning, fields[1]);
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

    void unfinishedFrameIsGivenUp()
    {
        Receiver receiver;
        receiver.feed(QByteArray::fromHex("2E9002"), 0);
        QCOMPARE(receiver.feed(QByteArray::fromHex("2E8101017C"), 501).value(1).frame.payload,
                 QByteArray("\x01"));
    }

    void clusterShowsAllTextsOfTheSource()
    {
        const auto told = [](Car& car, const char* head, const QString& text) {
            const QByteArray utf16(reinterpret_cast<const char*>(text.utf16()), text.size() * 2);
            return react(car, {0x99, (QByteArray::fromHex(head) + utf16).leftJustified(34, '\0')});
        };
        Car car;
        told(car, "81010000", "FOURTEEN UNITS");
        told(car, "8102", "87.5");
        QCOMPARE(told(car, "8102", "88.0").meaning, QString("cluster: FM FOURTEEN UNITS 88.0"));
        told(car, "8401", "");
        told(car, "8402", "TITLE");
        QVERIFY(!told(car, "8403", "ARTIST").shown);
        QCOMPARE(told(car, "8404", "ALBUM").meaning, QString("cluster: media TITLE / ARTIST / ALBUM"));
        QCOMPARE(told(car, "8701", "").meaning, QString("cluster: AUX"));
    }

    void boxHoldsBack()
    {
        RecordedBox box;
        QCOMPARE(box.answerTo("2E8101007C"), QString("F0"));
        box.answerTo("2E8101007D");
        QCOMPARE(box.after("door fl open"), QString());
        QCOMPARE(box.answerTo("2E900224FF4A"), QString("FF 2E 24 02 40 00 99"));
        box.after("reject");
        QCOMPARE(box.answerTo("2E8101017C"), QString("F0"));
        box.after("silent");
        QCOMPARE(box.answerTo("2E8101017C"), QString());
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
        box.simulation.awaitStart = [&player] { player.hold(); };
        connect(&box, &Box::announced, &player, &Player::resume);
        QStringList journal;
        const qint64 begin = VirtualClock::instance().now();
        const auto write = [&](const QString& what) {
            journal.append(QString("%1 %2").arg(VirtualClock::instance().now() - begin).arg(what));
        };
        connect(&box, &Box::chunkReady, [&](const QByteArray& bytes) { write(bytes.toHex()); });
        connect(&player, &Player::finished,
                [&] { write(QString("held %1").arg(box.keysHeldFor().count())); });
        player.start();
        VirtualClock::instance().advance(5000);
        box.answerTo("2E8101017C");
        VirtualClock::instance().advance(5000);
        QCOMPARE(journal.filter(QRegularExpression("^(0|52..|53..|56..) ")),
                 QStringList({"0 2e32020400c7", "5200 2e32020000cb", "5300 2e20020501d7", "5300 held 300",
                              "5600 2e20020500d8"}));
        QCOMPARE(journal.size(), 8); // the others are the answer to the announcement
    }

    // Virtual time serves descriptors too, and passes for timers alone.
    void virtualClockServesSockets()
    {
        int ends[2];
        QCOMPARE(pipe(ends), 0);
        QSocketNotifier notifier(ends[0], QSocketNotifier::Read);
        QStringList journal;
        QEventLoop loop;
        const qint64 begin = VirtualClock::instance().now();
        const auto write = [&](const char* what) {
            journal.append(QString("%1 %2").arg(what).arg(VirtualClock::instance().now() - begin));
        };
        connect(&notifier, &QSocketNotifier::activated, this, [&] {
            char byte = 0;
            QCOMPARE(read(ends[0], &byte, 1), 1);
            write("byte");
        });
        QTimer::singleShot(3000, this, [&] { QCOMPARE(::write(ends[1], "x", 1), 1); });
        QTimer::singleShot(7000, this, [&] {
            write("timer");
            loop.quit();
        });
        loop.exec();
        QCOMPARE(journal, QStringList({"byte 3000", "timer 7000"}));
        notifier.setEnabled(false);
        QCOMPARE(::write(ends[1], "x", 1), 1);
        VirtualClock::instance().advance(1);
        QCOMPARE(journal.size(), 2);
        close(ends[0]);
        close(ends[1]);
    }

    void mistakesTellFileLineAndWhatWasExpected()
    {
        const QTemporaryDir folder;
        QFile file(folder.filePath("bad.scn"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("# comment\n1 quit\nx quit\n0.5 quit\n2 door fl ajar\n2 climate fan 8\n2 tyre fl 2.3\n"
                   "nan quit\n1.5 quit\n");
        file.close();
        const Scenario scenario = Scenario::read(file.fileName());
        const QStringList expected{":3: \"x\": expected a time in seconds, 0 to 86400, and a statement",
                                   ":4: \"0.5\": expected a time not before the line above",
                                   ":5: \"ajar\": expected closed, open",
                                   ":6: \"8\": expected <0..7>",
                                   ":7: the line ends too early: expected bar, psi, kPa",
                                   ":8: \"nan\": expected a time in seconds, 0 to 86400, and a statement",
                                   ":9: \"1.5\": expected a time not before the line above"};
        QCOMPARE(scenario.errors,
                 QStringList(expected).replaceInStrings(QRegularExpression("^"), file.fileName()));
        QVERIFY(parse("dor").error.startsWith("\"dor\": expected door, driving-position, radar"));
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

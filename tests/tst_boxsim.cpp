#include "box.h"
#include "headunit.h"
#include "scenario.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

using namespace boxsim;

namespace {

// statement ("; " between several) | what the box sends
const char* const statementRows = R"(
door fr open                            | 2E 24 02 80 00 59
driving-position 1                      | 2E 24 02 00 08 D1
radar front middle-right 5              | 2E 1D 04 00 00 05 00 D9
silent; radar rear left 2; answering; other-info on | 2E 1E 05 02 00 00 00 20 BA
tyre rl 32 psi                          | 2E 25 06 85 21 21 20 23 00 CA
silent; tyre rr none; answering; tyre unit kPa | 2E 25 06 86 5C 5C 60 FF 00 37
tyre invalid                            | 2E 25 06 00 17 17 18 18 00 76
trip b none                             | 2E 21 09 01 23 FF FF 01 F4 01 00 64 59
fuel instant 70                         | 2E 22 03 02 02 BC 1A
fuel history 5 6.5                      | 2E 23 0B 02 00 44 00 47 00 41 00 4A 00 41 78
fuel unit 0x10      | 2E 22 03 10 00 48 82 2E 23 0B 10 00 44 00 47 00 41 00 4A 00 45 66
climate fan 7                           | 2E 28 0A 00 07 09 09 00 00 00 0D 00 00 A7
climate right high                      | 2E 28 0A 00 02 09 1F 00 00 00 0D 00 00 96
climate left 15                         | 2E 28 0A 00 02 24 09 00 00 00 0D 00 00 91
silent; climate fahrenheit on; answering; climate left low | 2E 28 0A 00 02 00 48 01 00 00 0D 00 00 75
seat rear-left heat 3                   | 2E 28 0A 00 02 09 09 00 00 00 0D 30 00 7C
seat left ventilation 2                 | 2E 58 05 00 00 20 00 00 82
key swc 5 press                         | 2E 20 02 05 01 D7
key panel 17 release                    | 2E 2A 02 11 00 C2
key bt 1 press                          | 2E 2F 02 01 01 CC
camera 1                                | 2E 32 02 04 00 C7
version V1.0                            | 2E 30 04 56 31 2E 30 E6
corrupt; send 0x32                      | 2E 32 02 00 00 34
truncate 2; noise 00 11; send 0x32      | 00 11 2E 32 02 00
drop 2; send 0x32; raw FF 2E            | 02 00 00 CB FF 2E
)";

// frame of the head unit | what it means | what the box sends
const char* const commandRows = R"(
2E8101017C           | head unit: start      | FF 2E 30 0A 42 4F 58 53 49 4D 20 31 2E 30 44 2E 24 02 00 00 D9
2E810201007B         | frame 0x81 with 2 bytes, expected 1     | FF
2E900232FF3C         | request 0x32, system info               | FF 2E 32 02 00 00 CB
2EE00201011B         | climate key: climate power off          | FF 2E 28 0A 80 02 09 09 00 00 00 0D 00 00 2C
2EE00201001C         | climate key 0x01 released               | FF
2EE002070115         | climate key: climate wind 7             | FF 2E 28 0A 00 E2 09 09 00 00 00 0D 00 00 CC
2EC70600000001000031 | climate key: climate left 21.5          | FF 2E 28 0A 00 02 08 09 00 00 00 0D 00 00 AD
2EC706000040000000F2 | climate key: seat left heat 1           | FF 2E 58 05 10 00 00 00 00 92
2EC7060000000000082A | climate key: climate glass-heat on      | FF 2E 28 0A 00 02 09 09 00 08 00 0D 00 00 A4
2E8302240155         | fuel unit: 0x01 | FF 2E 22 03 01 00 48 91 2E 23 0B 01 00 44 00 47 00 41 00 4A 00 45 75
2E8302390140         | driving position: 1                     | FF 2E 24 02 00 08 D1
2E98060101900190003E | touch at 400, 400                       | FF
2EE2010715           | car model: 7                            | FF
)";

// bytes | the kinds of what is found in them
const char* const receiverRows = R"(
2E900224FF4A         | Good
2E3000CF             | Good
2E24022E00AB         | Good
FF2E8101017CF0       | Ack Good Nak
0011222E8101017C     | Noise Good
2E8101017D2E8101017C | BadChecksum Good
)";

/// One test row a line of @p text, named after its first field.
void addRows(const char* text)
{
    QTest::addColumn<QStringList>("fields");
    for (const QString& line : QString(text).split('\n', Qt::SkipEmptyParts)) {
        QStringList fields = line.split('|');
        for (QString& field : fields)
            field = field.trimmed();
        QTest::newRow(qPrintable(fields[0])) << fields;
    }
}

/// A box whose output is read in hex.
struct RecordedBox : Box
{
    QByteArray sent;

    RecordedBox()
    {
        connect(this, &Box::chunkReady, this, [this](const QByteArray& bytes) { sent += bytes; });
    }

    QString after(const QString& lines)
    {
        sent.clear();
        for (const QString& line : lines.split("; "))
            parse(line).run(*this);
        return sent.toHex(' ').toUpper();
    }

    QString answerTo(const QString& hex)
    {
        sent.clear();
        receive(QByteArray::fromHex(hex.toLatin1()), 0);
        return sent.toHex(' ').toUpper();
    }
};

} // namespace

class TestBoxsim : public QObject
{
    Q_OBJECT

private slots:
    void statementSends_data() { addRows(statementRows); }
    void statementSends()
    {
        QFETCH(QStringList, fields);
        RecordedBox box;
        QCOMPARE(box.after(fields[0]), fields[1]);
    }

    void headUnitCommand_data() { addRows(commandRows); }
    void headUnitCommand()
    {
        QFETCH(QStringList, fields);
        RecordedBox box;
        QCOMPARE(box.answerTo(fields[0]), fields[2]);
        Car car;
        const QByteArray bytes = QByteArray::fromHex(fields[0].toLatin1());
        QCOMPARE(react(car, Receiver().feed(bytes, 0).first().frame).meaning, fields[1]);
    }

    void receiverFindsInAnyChunks_data() { addRows(receiverRows); }
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

    void mistakesTellFileLineAndWhatWasExpected()
    {
        const QTemporaryDir folder;
        QFile file(folder.filePath("bad.scn"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("# comment\n1 quit\nx quit\n0.5 quit\n2 door fl ajar\n2 climate fan 8\n2 tyre fl 2.3\n");
        file.close();
        const Scenario scenario = Scenario::read(file.fileName());
        const QStringList expected{":3: \"x\": expected a time in seconds, 0 to 86400, and a statement",
                                   ":4: \"0.5\": expected a time not before the line above",
                                   ":5: \"ajar\": expected closed, open", ":6: \"8\": expected <0..7>",
                                   ":7: the line ends too early: expected bar, psi, kPa"};
        QCOMPARE(scenario.errors,
                 QStringList(expected).replaceInStrings(QRegularExpression("^"), file.fileName()));
        QVERIFY(parse("dor").error.startsWith("\"dor\": expected door, driving-position, radar"));
        QCOMPARE(parse("quit now").error, QString("\"now\": expected the end of the line"));
    }
};

QTEST_GUILESS_MAIN(TestBoxsim)
#include "tst_boxsim.moc"

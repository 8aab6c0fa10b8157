// What boxdecode makes of bytes: their units, whatever the chunks, and the program as a process.

#include "splitter.h"

#include <QtTest>

using namespace protocol;

namespace {

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(path));
    return file.readAll();
}

// Derived from QProcess, it starts its process in a way that emulators of user programs know.
class Program : public QProcess
{
};

struct Outcome
{
    QByteArray output;
    QString told;
    int code;
};

Outcome run(const QStringList& arguments, const QByteArray& input = {})
{
    Program process;
    process.setWorkingDirectory(SOURCE_FOLDER "/tests/boxdecode");
    process.start(BOXDECODE_FILE, arguments);
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished())
        qFatal("boxdecode does not end");
    const QByteArray output = process.readAllStandardOutput();
    return {output, process.readAllStandardError(), process.exitCode()};
}

// The units of the chunks, which come every @p pause microseconds: a letter for the kind, and the bytes.
QString unitsOf(const QByteArrayList& chunks, qint64 pause, Splitter::Receiver receiver)
{
    QStringList units;
    uint64_t offset = 0;
    Splitter splitter(receiver, [&](const Unit& unit) {
        QCOMPARE(unit.offset, offset);
        offset += unit.size;
        const QByteArray bytes(reinterpret_cast<const char*>(unit.bytes), static_cast<int>(unit.size));
        units.append("GXKRNU"[static_cast<int>(unit.kind)] + bytes.toHex().toUpper());
    });
    qint64 time = 0;
    for (const QByteArray& chunk : chunks) {
        splitter.feed(reinterpret_cast<const uint8_t*>(chunk.data()), static_cast<size_t>(chunk.size()),
                      time);
        time += pause;
    }
    splitter.finish();
    return units.join(' ');
}

} // namespace

class BoxdecodeTest : public QObject
{
    Q_OBJECT

private slots:
    void units_data();
    void units();
    void unitsDoNotDependOnChunks();
    void cases_data();
    void cases();
    void roundTrips();
    void live();
    void outputCannotBeWritten();
};

void BoxdecodeTest::units_data()
{
    QTest::addColumn<QByteArray>("chunks"); // with a blank between them
    QTest::addColumn<qint64>("pause");      // ms between them
    QTest::addColumn<QString>("byHeadUnit");
    QTest::addColumn<QString>("byBox");
    const auto row = [](const char* name, const char* chunks, qint64 pause, const char* byHeadUnit,
                        const char* byBox = nullptr) {
        QTest::newRow(name) << QByteArray(chunks) << pause << QString(byHeadUnit)
                            << QString(byBox ? byBox : byHeadUnit);
    };
    row("a header within a frame", "2E24022E00AB", 0, "G2E24022E00AB");
    row("no payload", "2E2400DB2E2400DC", 0, "G2E2400DB X2E2400DC");
    row("a lost byte", "2E240280 2E2402800059FF", 0, "X2E2402802E24 N02800059 KFF");
    row("a wrong length", "2E24052E240280005900", 0, "X2E24052E2402800059 N00");
    row("answers and noise", "FFF000FF1122F0", 0, "KFF RF0 N00 KFF N1122 RF0");
    row("noise of one time", "00 11", 0, "N0011");
    row("noise of two times", "00 11", 1, "N00 N11");
    row("much noise", "0102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F202122", 0,
        "N0102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F20 N2122");
    row("less than a type", "2E", 0, "U2E");
    row("a pause behind the first chunk", "2E24 02800059", 600, "G2E2402800059", "U2E24 N02800059");
    row("the watchdog's time", "2E24 02 800059", 500, "U2E2402 N800059", "G2E2402800059");
    row("less than it", "2E24 02 800059", 499, "G2E2402800059");
    row("chunks do not restart it", "2E24 02 80 0059", 300, "U2E240280 N0059", "G2E2402800059");
    row("a bad frame does not stop it", "2E24 0280 00582E24 0280 0059", 200, "X2E2402800058 U2E240280 N0059",
        "X2E2402800058 G2E2402800059");
    row("a good frame stops it", "2E24 0280 00592E24 0280 0059", 200, "G2E2402800059 G2E2402800059");
}

void BoxdecodeTest::units()
{
    QFETCH(QByteArray, chunks);
    QFETCH(qint64, pause);
    QByteArrayList bytes;
    for (const QByteArray& chunk : chunks.split(' '))
        bytes.append(QByteArray::fromHex(chunk));
    QTEST(unitsOf(bytes, pause * 1000, Splitter::Receiver::HeadUnit), "byHeadUnit");
    QTEST(unitsOf(bytes, pause * 1000, Splitter::Receiver::Box), "byBox");
}

void BoxdecodeTest::unitsDoNotDependOnChunks()
{
    static const QRegularExpression notBytes("[GXKRNU ]");
    QRandomGenerator random(1);
    for (int round = 0; round < 300; ++round) {
        QByteArray bytes;
        for (int i = random.bounded(2000); i > 0; --i)
            bytes += random.bounded(8) > 0 ? "\x2E\xFF\xF0\x02\x00\x24"[random.bounded(6)]
                                           : static_cast<char>(random.bounded(256));
        const QString units = unitsOf({bytes}, 0, Splitter::Receiver::HeadUnit);
        QCOMPARE(QByteArray::fromHex(QString(units).remove(notBytes).toLatin1()), bytes);
        QByteArrayList chunks;
        for (int at = 0; at < bytes.size(); at += chunks.constLast().size())
            chunks.append(bytes.mid(at, 1 + random.bounded(1 << random.bounded(10))));
        QCOMPARE(unitsOf(chunks, 0, Splitter::Receiver::HeadUnit), units);
    }
}

// tests/boxdecode/cases.txt: "== " exit code and arguments; "< " lines of standard input; "> " lines of
// standard output;
// "! " what standard error holds.
void BoxdecodeTest::cases_data()
{
    QTest::addColumn<QString>("text");
    for (const QString& text :
         QString(contentOf(SOURCE_FOLDER "/tests/boxdecode/cases.txt")).split("\n== ").mid(1))
        QTest::newRow(qPrintable(text.section('\n', 0, 0))) << text;
}

void BoxdecodeTest::cases()
{
    QFETCH(QString, text);
    const QStringList lines = text.split('\n');
    const auto having = [&lines](const QString& mark) {
        QString found;
        for (const QString& line : lines)
            found += line.startsWith(mark) ? line.mid(2) + '\n' : "";
        return found;
    };
    const Outcome outcome = run(QProcess::splitCommand(lines[0]).mid(1), having("< ").toUtf8());
    QCOMPARE(QString(outcome.output).split('\n'), having("> ").split('\n')); // tells the line
    QVERIFY2(outcome.told.contains(having("! ").trimmed()), qPrintable(outcome.told));
    QCOMPARE(outcome.code, lines[0].section(' ', 0, 0).toInt());
}

// What is written can be read again: from pcapng all of it, from candump all but car model, answers and the
// lengths of long frames that may have any.
void BoxdecodeTest::roundTrips()
{
    static const QRegularExpression lost("  acknowledged|  2E [^=]*?(?=  |\\n)");
    static const QRegularExpression place("(line|packet) \\d+");
    const QString drive = QCoreApplication::applicationDirPath() + "/drive.capture";
    for (const QString& capture : {drive, QString("all.capture")}) {
        const QString text = run({capture}).output;
        const QString again = run({}, run({"--format", "pcapng", capture}).output).output;
        QCOMPARE(QString(again).remove(place), QString(text).remove(place));
    }
    const QString text = run({drive}).output;
    QVERIFY(text.count("acknowledged") > 50);
    const QByteArray candump = run({"--format", "candump", drive}).output;
    const QString again = run({"--car-model", "20"}, candump).output;
    QCOMPARE(QString(again).remove(lost), QString(text).remove(lost));
}

void BoxdecodeTest::live()
{
    Program process;
    process.start(BOXDECODE_FILE, {"-"});
    process.write("(0.485000) rx 2E2402400099\n");
    QVERIFY(process.waitForReadyRead());
    QVERIFY(process.readAll().startsWith("(0.485000) rx doors"));
    process.closeWriteChannel();
    QVERIFY(process.waitForFinished());
}

void BoxdecodeTest::outputCannotBeWritten()
{
    Program process;
    process.setStandardOutputFile("/dev/full");
    process.start(BOXDECODE_FILE, {"--hex", "FF"});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 6);
    QCOMPARE(process.readAllStandardError(),
             "boxdecode: cannot write standard output: No space left on device\n");
}

QTEST_GUILESS_MAIN(BoxdecodeTest)
#include "tst_boxdecode.moc"

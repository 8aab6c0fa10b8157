// canbench and boxsim as processes, joined by a real pseudo-terminal: a door, the loss of the line, the
// return. These tests wait, for conditions only: the link's own 30 seconds of silence are part of what is
// shown.

#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

namespace {

/// A program under test: its output is read line by line, each line once.
class Program : public QProcess
{
public:
    Program(const QString& file, const QStringList& arguments)
    {
        start(file, arguments);
        setReadChannel(StandardOutput);
    }

    ~Program() override
    {
        kill();
        waitForFinished();
    }

    void type(const QByteArray& line)
    {
        write(line + '\n');
        waitForBytesWritten();
    }

    /// Whether a line of output matches within @p ms; lines before it are skipped.
    bool says(const QString& pattern, int ms = 5000)
    {
        const QRegularExpression expected(pattern);
        QElapsedTimer clock;
        for (clock.start(); clock.elapsed() < ms; waitForReadyRead(50)) {
            while (canReadLine()) {
                if (expected.match(QString::fromUtf8(readLine())).hasMatch())
                    return true;
            }
        }
        qWarning("no line matches %s; stderr: %s", qPrintable(pattern),
                 readAllStandardError().right(2000).constData());
        return false;
    }
};

} // namespace

class BenchTest : public QObject
{
    Q_OBJECT

private slots:
    void doorLossAndReturn();
};

void BenchTest::doorLossAndReturn()
{
    QTemporaryDir folder;
    const QString link = folder.filePath(QStringLiteral("canbox"));
    auto box = std::make_unique<Program>(BOXSIM_FILE, QStringList{"--link", link});
    QVERIFY(box->says("^" + QRegularExpression::escape(link) + "$"));

    Program unit(CANBENCH_FILE, {"--port", link, "--car-model", "153", "--plugin", PLUGIN_FILE});
    QVERIFY(unit.says("notifyCanbusStatus status=3"));
    box->type("door front-left open");
    QVERIFY(unit.says("doorChanged doorStatus=64, leftFrontDoorOpen=true"));

    box.reset();
    QFile::remove(link); // it was killed and left the link: another pseudo-terminal may get the number
    QVERIFY(unit.says("notifyCanbusStatus status=0", 40000));

    box = std::make_unique<Program>(BOXSIM_FILE, QStringList{"--link", link});
    QVERIFY(unit.says("notifyCanbusStatus status=3", 10000));
    QVERIFY(unit.says("doorChanged doorStatus=0, leftFrontDoorOpen=false"));
    box->type("door back open");
    QVERIFY(unit.says("doorChanged doorStatus=8, backDoorOpen=true"));

    unit.type("quit");
    QVERIFY(unit.waitForFinished());
    QCOMPARE(unit.exitCode(), 0);
    QVERIFY(box->says("head unit: stop"));
}

QTEST_GUILESS_MAIN(BenchTest)
#include "tst_bench.moc"

// Replays the captures of tests/captures through the built plug-in, in virtual time, and compares what it
// brings about with the expected output beside each capture. script/update-captures rebuilds the expected
// output.

#include "operations.h"
#include "testmain.h"

#include <QDir>
#include <QRegularExpression>

class ReplayTest : public QObject
{
    Q_OBJECT

private slots:
    void replay_data();
    void replay();

private:
    QStringList play(QFile& capture);
};

void ReplayTest::replay_data()
{
    QTest::addColumn<QString>("capture");
    const QDir folder(QStringLiteral(SOURCE_FOLDER "/tests/captures"));
    const QFileInfoList captures =
        folder.entryInfoList({QStringLiteral("*.capture")}, QDir::Files, QDir::Name);
    QVERIFY(!captures.isEmpty());
    for (const QFileInfo& capture : captures)
        QTest::newRow(qPrintable(capture.baseName())) << capture.filePath();
}

// The head unit starts the plug-in, then the chunks of the box arrive at their times. What the capture says
// that the head unit wrote is not looked at: the expected output tells it.
QStringList ReplayTest::play(QFile& capture)
{
    static const QRegularExpression carModel(QStringLiteral("^# car model: (\\d+)"));
    static const QRegularExpression chunk(QStringLiteral("^\\((\\d+)\\.(\\d{3})\\d{3}\\) rx ([0-9A-F]+)$"));
    RecordingHost& host = RecordingHost::instance();
    host.restart();
    host.take();
    QStringList output;
    QStringList state = snapshot(host.service());
    const qint64 begin = VirtualClock::instance().now();
    host.service().start();
    while (!capture.atEnd()) {
        const QString line = QString::fromLatin1(capture.readLine()).trimmed();
        if (const auto match = carModel.match(line); match.hasMatch()) {
            host.carModel = match.captured(1).toInt();
            state = snapshot(host.service());
        }
        const auto match = chunk.match(line);
        if (!match.hasMatch())
            continue;
        const qint64 at = match.captured(1).toLongLong() * 1000 + match.captured(2).toLongLong();
        VirtualClock::instance().advance(begin + at - VirtualClock::instance().now());
        host.receive(hex(match.captured(3)));
        output << line << host.take();
        const QStringList now = snapshot(host.service());
        output << changes(state, now);
        state = now;
    }
    return output;
}

void ReplayTest::replay()
{
    QFETCH(QString, capture);
    QFile input(capture);
    QVERIFY(input.open(QIODevice::ReadOnly));
    QFile expected(capture + ".expected");
    const QByteArray output = play(input).join('\n').toUtf8() + '\n';
    if (qEnvironmentVariableIsSet("UPDATE_CAPTURES")) {
        QVERIFY(expected.open(QIODevice::WriteOnly));
        expected.write(output);
        return;
    }
    QVERIFY(expected.open(QIODevice::ReadOnly));
    QCOMPARE(QString(output).split('\n'), QString(expected.readAll()).split('\n')); // tells the line
}

VIRTUAL_TIME_TEST_MAIN(ReplayTest)
#include "tst_replay.moc"

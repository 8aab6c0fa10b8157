// What canbench --watch shows of a moment, row by row, and what its keys change.

#include "clock.h"
#include "linewatch.h"
#include "virtualclock.h"
#include "watch.h"

#include <QCoreApplication>
#include <QtTest>

namespace {

constexpr QSize Usual(80, 24);

QString trimmed(QString text)
{
    while (text.endsWith(' '))
        text.chop(1);
    return text;
}

QString textOf(const Row& row)
{
    QString text;
    for (const Span& span : row)
        text += span.text;
    return trimmed(text);
}

// Below each character what has changed there: ! is fresh, + recent, - fades.
QString marksOf(const Row& row)
{
    QString marks;
    for (const Span& span : row) {
        const bool isChange = span.style >= Style::Fresh && span.style <= Style::Fading;
        const char mark =
            isChange ? "!+-"[static_cast<int>(span.style) - static_cast<int>(Style::Fresh)] : ' ';
        marks += QString(span.text.size(), mark);
    }
    return trimmed(marks);
}

// A session that is looked at.
class Session
{
public:
    void receive(const char* hex) { emit LineWatch::instance().received(QByteArray::fromHex(hex)); }
    void send(const char* hex) { emit LineWatch::instance().sent(QByteArray::fromHex(hex)); }
    void pass(int ms) { VirtualClock::instance().advance(ms); }
    QVector<Row> rows(QSize size = Usual)
    {
        look();
        return watchRows(state, view, size);
    }
    // Without the rows that have nothing, and the times that the machine takes.
    QStringList text(QSize size = Usual)
    {
        static const QRegularExpression times("\\d+\\.\\d{3} ms \\(max.*?[)…] *");
        QStringList lines;
        for (const Row& row : rows(size)) {
            const QString line = textOf(row).replace(times, "T ").trimmed();
            if (!line.isEmpty())
                lines.append(line);
        }
        return lines;
    }
    // The marks of the rows that have any.
    QStringList marks()
    {
        QStringList lines;
        for (const Row& row : rows())
            lines.append(marksOf(row));
        lines.removeAll({});
        return lines;
    }
    WatchView::Wish press(int key, QSize size = Usual)
    {
        look();
        return view.press(key, state, size);
    }

    QVector<CarState::Seen> car{
        {{"doors", "doorStatus", 64, {}}, {}},  {{"doors", "leftFrontDoorOpen", true, {}}, {}},
        {{"climate", "fan", 2, {}}, {}},        {{"climate", "leftTemperature", -100.0, "℃"}, {}},
        {{"camera", "cameraMode", -1, {}}, {}}, {{"body", "earGlonass", -1, {}}, {}}}; // no frame carries it
    WatchState state;
    WatchView view;

private:
    void look()
    {
        state.time = now();
        state.look(m_link, car);
    }

    LinkState m_link;
};

const QString Heading = "line           bytes    frames    bad  dropped     acks  rejects    /s    load";
const QString Topics = "car  latest box doors position body radar other tyres trip fuel units climate";
const QString Keys = "Space pause / filter n notch s sort t topic ? help q quit";

} // namespace

class WatchTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { VirtualClock::instance().advance(1000 - VirtualClock::instance().now() % 1000); }
    void nothing();
    void session();
    void noise();
    void changesFade();
    void keys_data();
    void keys();
    void wishes();
    void everySize();
};

void WatchTest::nothing()
{
    Session session;
    session.state.source = "a simulated box inside";
    session.pass(1100);
    QCOMPARE(session.text(),
             QStringList({"canbench  a simulated box inside", Heading,
                          "from box           0         0      0        0        0        0     0     0 %",
                          "to box             0         0      0        0        0        0",
                          "answers T signals T losses: 0",
                          "nothing has come: is the box powered, is this its device, are its wires crossed",
                          "over?", "frames by type            count   /s     age  bytes", Topics, "events",
                          Keys}));
}

void WatchTest::session()
{
    Session session;
    session.state.source = "the capture " + QString(60, 'x');
    session.state.moment = "1.0 s of 16.2 s, speed 1";
    session.state.isReplay = true;
    session.state.events = {{"(0.1) forgotten"},
                            {"(0.2) doorChanged doorStatus=64"},
                            {"(0.3) " + QString(100, 'y')},
                            {"canbench: a\tb"}};
    session.send("2E8101007D");
    session.receive("FF2E24020000D9");
    session.send("FF");
    session.pass(1500);
    session.receive("2E2402400099");
    session.send("FFF0");
    session.receive("2E2806C04500000000CC2E7B0101827B");
    session.receive("2E300C0102030405060708090A0B0C75000000");
    session.car[0].changed = now();
    session.pass(400);
    const QStringList head{
        "canbench  the capture xxxxxxxxxxxxxxxxxxxxxxxxxxxxxx… 1.0 s of 16.2 s, speed 1", Heading,
        "from box          48         5      0        4        1        0     4     1 %",
        "to box             8         1      0        0        2        1", "answers T signals T losses: 0"};
    QCOMPARE(
        session.text(),
        head + QStringList(
                   {"frames by type            count   /s     age  bytes                     1-5 of 5",
                    "rx 24 doors                   2    1   0.4 s  40 00",
                    "rx 28 climate                 1    0   0.4 s  C0 45 00 00 00 00",
                    "rx 30 version                 1    0   0.4 s  01 02 03 04 05 06 07 08 09 0A +2",
                    "rx 7B unknown                 1    0   0.4 s  01",
                    "tx 81 start                   1    1   1.9 s  00", Topics,
                    "doorStatus              64              leftFrontDoorOpen       true",
                    "fan                     2               leftTemperature         -100 ℃ lowest", "events",
                    "(0.2) doorChanged doorStatus=64", "(0.3) " + QString(73, 'y') + "…", "canbench: a?b",
                    "Space pause → step +- speed / filter n notch s sort t topic ? help q quit"}));
    QCOMPARE(session.marks(),
             QStringList({QString(46, ' ') + "!!", QString(16, ' ') + "!!!!!", QString(24, ' ') + "!!"}));
}

void WatchTest::noise()
{
    Session session;
    session.receive("2E2402400098");
    session.receive("1122334455");
    session.pass(100000);
    QCOMPARE(session.text({60, 12}),
             QStringList({"canbench", Heading.left(59) + "…",
                          "from box          11         0      1        5        0    …",
                          "to box             0         0      0        0        0    …",
                          "answers T signals T", "11 bytes have come, and no good frame: is the other end a",
                          "box at 38400 baud, 8N1?", "frames by type            count   /s     age  bytes",
                          "car  latest box doors position body radar other tyres trip", "events",
                          "Space pause / filter n notch s sort t topic ? help q quit"}));
}

// A change is fresh for a second, recent up to three, gone after six. What is notched stays dark; what was
// not lights up.
void WatchTest::changesFade()
{
    Session session;
    const QString column(46, ' ');
    session.receive("2E24020000D9");
    session.pass(100);
    session.receive("2E2402400099");
    for (const auto& [ms, marks] :
         {std::pair(0, "!!"), {1000, "!!"}, {100, "++"}, {2000, "--"}, {3000, ""}}) {
        session.pass(ms);
        QCOMPARE(session.marks(), QString(marks).isEmpty() ? QStringList() : QStringList(column + marks));
    }
    session.press('n');
    session.receive("2E24020000D9");
    QCOMPARE(session.marks(), QStringList());
    session.receive("2E24024180"
                    "18");
    QCOMPARE(session.marks(), QStringList(column + "!! !!"));
}

// Capitals stand for keys without a character: Down, Up, Home, End, Return, X for Esc, Backspace, Tab, F1, N
// and P for the next and the previous page.
void WatchTest::keys_data()
{
    QTest::addColumn<QString>("expected");
    const auto row = [](const char* keys, const char* expected) { QTest::newRow(keys) << expected; };
    row("", "by type 1-4 of 6: 24 28 32 7B, doorStatus fan leftFrontDoorOpen leftTemperature");
    row("DD", "by type 3-6 of 6: 32 7B 81 90, doorStatus fan leftFrontDoorOpen leftTemperature");
    row("EDU", "by type 2-5 of 6: 28 32 7B 81, doorStatus fan leftFrontDoorOpen leftTemperature");
    row("EH", "by type 1-4 of 6: 24 28 32 7B, doorStatus fan leftFrontDoorOpen leftTemperature");
    row("N", "by type 1-4 of 6: 24 28 32 7B, leftFrontDoorOpen leftTemperature cameraMode");
    row("NNPP", "by type 1-4 of 6: 24 28 32 7B, doorStatus fan leftFrontDoorOpen leftTemperature");
    row("s", "by name 1-4 of 6: 28 24 90 81, doorStatus fan leftFrontDoorOpen leftTemperature");
    row("ss", "by count 1-4 of 6: 28 24 32 7B, doorStatus fan leftFrontDoorOpen leftTemperature");
    row("sss", "by change 1-4 of 6: 28 24 32 7B, doorStatus fan leftFrontDoorOpen leftTemperature");
    row("ssss", "by type 1-4 of 6: 24 28 32 7B, doorStatus fan leftFrontDoorOpen leftTemperature");
    row("tT", "by type 1-4 of 6: 24 28 32 7B, doorStatus leftFrontDoorOpen");
    row("tttttttttttttt", "by type 1-4 of 6: 24 28 32 7B, doorStatus fan leftFrontDoorOpen leftTemperature");
    row("/Li", "by type \"Li\" 1-1 of 1: 28, fan leftTemperature");
    row("/clxBi", "by type \"cli\" 1-1 of 1: 28, fan leftTemperature");
    row("D/sR", "by type \"s\" 1-4 of 4: 24 32 81 90, doorStatus leftFrontDoorOpen");
    row("/liX", "by type 1-4 of 6: 24 28 32 7B, doorStatus fan leftFrontDoorOpen leftTemperature");
    row("/zR", "by type \"z\":, ");
    row("?", "");
    row("?F", "by type 1-4 of 6: 24 28 32 7B, doorStatus fan leftFrontDoorOpen leftTemperature");
}

void WatchTest::keys()
{
    const QHash<char, int> special{{'D', Qt::Key_Down},      {'U', Qt::Key_Up},     {'H', Qt::Key_Home},
                                   {'E', Qt::Key_End},       {'R', Qt::Key_Return}, {'X', Qt::Key_Escape},
                                   {'B', Qt::Key_Backspace}, {'T', Qt::Key_Tab},    {'F', Qt::Key_F1},
                                   {'N', Qt::Key_PageDown},  {'P', Qt::Key_PageUp}};
    const QSize low(80, 16);
    Session session;
    session.receive("2E24020000D92E2806C04500000000CC2E32020400C72E7B0101827B");
    session.receive("2E2806C045000A0000C2");
    session.send("2E8101007D2E900230FF3E");
    session.car[0].changed = session.car[2].changed = now();
    for (char key : QByteArray(QTest::currentDataTag()))
        QCOMPARE(session.press(special.value(key, key), low), WatchView::Nothing);
    QString shown;
    QStringList values;
    static const QRegularExpression type("^[rt]x ([0-9A-F]{2}) ");
    static const QRegularExpression value("\\b([a-z]+[A-Z]\\w+|fan) ");
    for (const QString& line : session.text(low)) {
        if (line.startsWith("frames "))
            shown = line.mid(7).simplified().replace(" count /s age bytes", "") + ':';
        shown += type.match(line).captured(1).prepend(line.contains(type) ? " " : "");
        for (auto i = value.globalMatch(line); i.hasNext();)
            values.append(i.next().captured(1));
    }
    QTEST(shown.isEmpty() ? shown : shown + ", " + values.join(' '), "expected");
}

void WatchTest::wishes()
{
    Session session;
    QCOMPARE(session.press(' '), WatchView::Pause);
    QCOMPARE(session.press(Qt::Key_Right), WatchView::Step);
    QCOMPARE(session.press('+'), WatchView::Faster);
    QCOMPARE(session.press('-'), WatchView::Slower);
    QCOMPARE(session.press('q'), WatchView::Quit);
    QCOMPARE(session.press('/'), WatchView::Nothing);
    QCOMPARE(session.press('q'), WatchView::Nothing); // typed
}

// Every row fits, none is left out, and the keys stand last; a terminal without UTF-8 gets ASCII.
void WatchTest::everySize()
{
    static const QRegularExpression foreign("[^ -~]");
    Session session;
    session.view.isAscii = true;
    session.state.source = "℃ über" + QString(QChar(0xD83D)) + '\x1B';
    session.state.isReplay = true;
    session.receive("2E24020000D92E2806C04500000000CC2E300C0102030405060708090A0B0C75");
    for (char key : {' ', '?', '?', 't', '/'}) {
        session.press(key);
        for (int width = 1; width <= 130; width += width < 30 ? 1 : 7) {
            for (int height = 1; height <= 40; height += height < 12 ? 1 : 5) {
                const QVector<Row> rows = session.rows({width, height});
                QCOMPARE(rows.size(), height);
                for (const Row& row : rows) {
                    const QString text = textOf(row);
                    QVERIFY(text.size() <= width);
                    QVERIFY(!text.contains(foreign));
                }
                QVERIFY(width < 5 || textOf(rows.last()).startsWith(key == '/' ? " fil" : "Spac"));
            }
        }
    }
}

int main(int argc, char** argv)
{
    QCoreApplication::setEventDispatcher(new VirtualClock);
    QCoreApplication app(argc, argv);
    WatchTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_watch.moc"

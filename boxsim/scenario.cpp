#include "scenario.h"

#include "clock.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <algorithm>
#include <utility>

using namespace std::chrono;

namespace boxsim {

namespace {

constexpr double LongestScenarioSeconds = 86400;

// Reads one line, which must not be earlier than @p earliestMs and makes that its own time. @return what is
// wrong with it, else empty.
QString readStep(const QString& line, Ranges ranges, int& earliestMs, Scenario::Step& step)
{
    static const QRegularExpression blanks("\\s+");
    const QString time = line.section(blanks, 0, 0);
    bool ok = false;
    const double seconds = time.toDouble(&ok);
    if (!ok || !(seconds >= 0 && seconds <= LongestScenarioSeconds)) // it may be "nan"
        return QString("\"%1\": expected a time in seconds, 0 to 86400, and a statement").arg(time);
    step = {qRound(seconds * 1000), parse(line.mid(time.size()), ranges)};
    if (step.atMs < earliestMs)
        return QString("\"%1\": expected a time not before the line above").arg(time);
    if (step.atMs == 0 && step.statement.line == "loop")
        return "a scenario that loops takes time; write a later one";
    earliestMs = step.atMs;
    return step.statement.error;
}

/// The scenarios that boxsim brings, each a file NAME.scn: beside the program of a build, or as installed.
QDir ownScenarios()
{
    const QDir here(QCoreApplication::applicationDirPath());
    return here.filePath(here.exists("scenarios") ? "scenarios" : "../share/boxsim/scenarios");
}

} // namespace

QStringList Scenario::names()
{
    return ownScenarios().entryList({"*.scn"}).replaceInStrings(".scn", "");
}

Scenario Scenario::read(const QString& path, Ranges ranges)
{
    Scenario scenario;
    QFile file(path);
    if (!file.exists() && !path.contains('/'))
        file.setFileName(ownScenarios().filePath(path + ".scn"));
    if (!file.open(QIODevice::ReadOnly)) {
        const QString known = names().isEmpty() ? "none" : names().join(", ");
        scenario.errors.append(
            QString("cannot read %1: %2; scenarios known by name: %3").arg(path, file.errorString(), known));
        return scenario;
    }
    scenario.isRead = true;
    int earliestMs = 0;
    for (int number = 1; !file.atEnd(); ++number) {
        const QString line = QString::fromUtf8(file.readLine()).trimmed();
        if (line.isEmpty() || line.startsWith('#'))
            continue;
        Step step;
        const QString error = readStep(line, ranges, earliestMs, step);
        if (error.isEmpty())
            scenario.steps.append(step);
        else
            scenario.errors.append(QString("%1:%2: %3").arg(path).arg(number).arg(error));
    }
    return scenario;
}

Player::Player(Simulation& simulation, Scenario scenario)
    : m_simulation(simulation)
    , m_scenario(std::move(scenario))
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &Player::playDue);
    const Box& box = simulation.box;
    connect(&box, &Box::announced, this, [this] { resumeAt(Awaited::Start); });
    connect(&box, &Box::linkCameUp, this, [this] { resumeAt(Awaited::LinkUp); });
    connect(&box, &Box::taken, this, [this](int type) { resumeAt(Awaited::FrameTaken, type); });
    simulation.await = [this](const Awaited& awaited) { await(awaited); };
    simulation.loop = [this] { loop(); };
}

void Player::start()
{
    m_begin = now();
    playNextInTime();
}

void Player::await(const Awaited& awaited)
{
    if (awaited.event == Awaited::LinkUp && m_simulation.box.isLinkUp())
        return;
    m_awaited = awaited;
    m_timer.stop();
}

void Player::resumeAt(Awaited::Event event, int type)
{
    if (m_awaited.event != event || m_awaited.type != type)
        return;
    m_awaited = {};
    m_begin = now() - milliseconds(m_next > 0 ? m_scenario.steps[m_next - 1].atMs : 0);
    playNextInTime();
}

void Player::loop()
{
    m_next = 0;
    m_awaited = {};
    start();
}

void Player::playDue()
{
    const Scenario::Step& step = m_scenario.steps[m_next++];
    step.statement.run(m_simulation);
    if (m_awaited.event == Awaited::Nothing)
        playNextInTime();
}

void Player::playNextInTime()
{
    if (m_next == m_scenario.steps.size()) {
        emit finished();
        return;
    }
    const nanoseconds due = m_begin + milliseconds(m_scenario.steps[m_next].atMs) - now();
    m_timer.start(std::max(ceil<milliseconds>(due), 0ms));
}

} // namespace boxsim

// What boxsim reads with --force: a scenario, whose statements are then run, each with a moment of time
// behind it, and which is played from its start. The faults that are on are always statements that can be
// read.

#include "scenario.h"
#include "session.h"
#include "virtualclock.h"

#include <QTemporaryFile>

namespace {

void inspect(boxsim::Simulation& simulation)
{
    for (const QString& fault : simulation.box.faultStatements())
        if (!boxsim::parse(fault).statement)
            qFatal("lists what is no statement: %s", qPrintable(fault));
    simulation.box.endFaults();
    if (!simulation.box.faultStatements().isEmpty())
        qFatal("a fault stays");
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    constexpr int Moment = 5; // ms
    constexpr int Played = 500;
    QTemporaryFile file;
    if (!file.open() || file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size)) < 0)
        qFatal("cannot write %s", qPrintable(file.fileName()));
    file.close();
    const boxsim::Scenario scenario = boxsim::Scenario::read(file.fileName(), Ranges::Ignored);
    boxsim::Box box;
    boxsim::Simulation simulation{box};
    int last = 0;
    for (const auto& step : scenario.steps) {
        if (step.atMs < last || !step.statement.error.isEmpty())
            qFatal("took a step that is none");
        last = step.atMs;
        step.statement.run(simulation);
        VirtualClock::instance().advance(Moment);
    }
    inspect(simulation);
    boxsim::Player player(simulation, scenario);
    player.start();
    box.receive(QByteArray::fromHex("2E8101017CFF")); // the head unit announces itself, and acknowledges
    VirtualClock::instance().advance(Played);
    inspect(simulation);
    return 0;
}

// What boxsim reads with --force: a scenario, whose statements are then run. Every frame that the box sends
// is good unless a statement asked for a fault.

#include "scenario.h"
#include "session.h"

#include <QTemporaryFile>

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
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
    }
    return 0;
}

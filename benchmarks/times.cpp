// Times of the workloads, by Google Benchmark.

#include "workloads.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>

int main(int argc, char** argv)
{
    qputenv("QT_NO_GLIB", "1"); // timers cost what they cost in Qt's own event dispatcher
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    for (const Workload& w : workloads()) {
        benchmark::RegisterBenchmark((w.group + '\t' + w.name).c_str(), [w](benchmark::State& state) {
            w.run();
            for ([[maybe_unused]] auto iteration : state)
                w.run();
            state.SetItemsProcessed(state.iterations() * w.units);
        });
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

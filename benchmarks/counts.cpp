// Counts of the workloads: heap allocations, and under valgrind's callgrind the instructions, of which each
// workload leaves a dump of its own. Prints a line for each: group, name, iterations, units and bytes of all
// of them, allocations.

#include "workloads.h"

#include <QCoreApplication>

#include <cstdio>
#include <cstdlib>
#include <valgrind/callgrind.h>

// The C library's own allocator, which the counting one below stands before.
extern "C" void* __libc_malloc(std::size_t);
extern "C" void* __libc_calloc(std::size_t, std::size_t);
extern "C" void* __libc_realloc(void*, std::size_t);

namespace {

long allocations = 0;

} // namespace

extern "C" void* malloc(std::size_t size)
{
    ++allocations;
    return __libc_malloc(size);
}

extern "C" void* calloc(std::size_t count, std::size_t size)
{
    ++allocations;
    return __libc_calloc(count, size);
}

extern "C" void* realloc(void* memory, std::size_t size)
{
    ++allocations;
    return __libc_realloc(memory, size);
}

int main(int argc, char** argv)
{
    qputenv("QT_NO_GLIB", "1"); // timers cost what they cost in Qt's own event dispatcher
    QCoreApplication app(argc, argv);
    for (const Workload& w : workloads()) {
        const int iterations = w.bytes > 1000 ? 1 : 100;
        for (int i = 0; i < 10; ++i)
            w.run();
        const long before = allocations;
        CALLGRIND_ZERO_STATS;
        for (int i = 0; i < iterations; ++i)
            w.run();
        CALLGRIND_DUMP_STATS_AT(w.name.c_str());
        std::printf("%s\t%s\t%d\t%d\t%d\t%ld\n", w.group.c_str(), w.name.c_str(), iterations,
                    iterations * w.units, iterations * w.bytes, allocations - before);
    }
    return 0;
}

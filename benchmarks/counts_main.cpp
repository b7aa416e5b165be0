// counts_main.cpp - runs each scenario once, for whoever counts: callgrind its instructions, or the counting allocator
// its allocations.
//
//   counts [NAME]    only the scenario of this name
//
//  - Prints one line for each: name, number of runs, allocations in them (-1 where nobody counts), parted by tabs.
//  - Under callgrind each scenario leaves a dump of its own, named after it; the setting up is not in it.

#include "allocation_count.h"
#include "scenario.h"

#include <QtCore/QCoreApplication>

#include <valgrind/callgrind.h>

#include <algorithm>
#include <cstdio>

namespace
{

/// Allocations in \a times runs, or -1.
long counted(Scenario &scenario, const std::string &name, long times)
{
    CALLGRIND_START_INSTRUMENTATION;
    CALLGRIND_ZERO_STATS;
    const long before = allocationCount ? allocationCount() : 0;
    scenario.run(times);
    const long after = allocationCount ? allocationCount() : -1;
    CALLGRIND_DUMP_STATS_AT(name.c_str());
    CALLGRIND_STOP_INSTRUMENTATION;
    return after - before;
}

void count(const NamedScenario &named)
{
    const std::unique_ptr<Scenario> scenario = named.make();
    const long warmUp = std::max(1L, named.batch / 10);
    scenario->prepare(warmUp);
    scenario->run(warmUp);
    scenario->check();
    scenario->prepare(named.batch);
    const long allocations = counted(*scenario, named.name, named.batch);
    scenario->check();
    std::printf("%s\t%ld\t%ld\n", named.name.c_str(), named.batch, allocations);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const std::string only = argc > 1 ? argv[1] : "";
    try {
        for (const NamedScenario &named : allScenarios())
            if (only.empty() || named.name == only)
                count(named);
    } catch (const std::exception &e) {
        std::fprintf(stderr, "counts: %s\n", e.what());
        return 1;
    }
    return 0;
}

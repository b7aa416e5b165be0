// times_main.cpp - Google Benchmark over the scenarios; takes its options (--benchmark_filter=... and the others).

#include "scenario.h"

#include <benchmark/benchmark.h>

namespace
{

void measure(benchmark::State &state, const NamedScenario &named)
{
    try {
        const std::unique_ptr<Scenario> scenario = named.make();
        scenario->prepare(1);
        scenario->run(1);
        while (state.KeepRunningBatch(named.batch)) {
            state.PauseTiming();
            scenario->prepare(named.batch);
            state.ResumeTiming();
            scenario->run(named.batch);
        }
        scenario->check();
    } catch (const std::exception &e) {
        state.SkipWithError(e.what());
    }
}

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    for (const NamedScenario &named : allScenarios())
        if (named.timed)
            benchmark::RegisterBenchmark(named.name.c_str(), [named](benchmark::State &s) { measure(s, named); });
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}

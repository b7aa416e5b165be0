// driver_growth.h - what becomes of the driver's costs as lists, stores and runs of words grow.

#ifndef BENCHMARKS_DRIVER_GROWTH_H
#define BENCHMARKS_DRIVER_GROWTH_H

#include "scenario.h"

void addGrowthScenarios(std::vector<NamedScenario> &all);

#endif

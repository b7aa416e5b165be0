// all_scenarios.cpp - the list of everything that is measured in memory.

#include "driver_exchanges.h"
#include "driver_growth.h"
#include "scenario.h"

std::vector<NamedScenario> driverScenarios()
{
    std::vector<NamedScenario> all;
    addExchangeScenarios(all);
    addGrowthScenarios(all);
    return all;
}

std::vector<NamedScenario> allScenarios()
{
    std::vector<NamedScenario> all = driverScenarios();
    for (const auto &more : {floorScenarios(), peerScenarios(), hostScenarios()})
        all.insert(all.end(), more.begin(), more.end());
    return all;
}

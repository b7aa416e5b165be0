// properties.h - RapidCheck for tests of the driver: the same cases in every run.
//
//  - The seed is fixed, so that a run says the same each time; RC_PARAMS of the environment chooses another one or more
//    cases, e.g. "seed=7 max_success=10000".

#ifndef PROPERTIES_H
#define PROPERTIES_H

#include "fresh_driver.h"

#include <rapidcheck/gtest.h>

#include <cstdlib>

static const int kSeedIsFixed = setenv("RC_PARAMS", "seed=20 max_success=300", 0);

/// low to high, both included.
inline rc::Gen<int> between(int low, int high)
{
    return rc::gen::inRange(low, high + 1);
}

/// Number of words that a case of a property chooses from: few enough that runs meet.
enum { kNearWords = 120 };

/// A fresh driver per case, used as an object of its own.
class PropertyDriver : public FreshDriver
{
public:
    PropertyDriver() { (void)kSeedIsFixed; }
    using FreshDriver::info;
    using FreshDriver::item;
    using FreshDriver::text;
    using FreshDriver::variable;
    void TestBody() override {}
};

#endif

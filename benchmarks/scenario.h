// scenario.h - one thing to measure; times, instructions and allocations are taken of the same code.
//
//  - A scenario is made afresh for each measurement and owns all that it works on.
//  - Only run() is measured. A scenario whose work did not have its effect throws: a fast wrong answer is no figure.

#ifndef BENCHMARKS_SCENARIO_H
#define BENCHMARKS_SCENARIO_H

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

class Scenario
{
public:
    Scenario() = default;
    Scenario(const Scenario &) = delete;
    Scenario &operator=(const Scenario &) = delete;
    virtual ~Scenario() = default;

    /// Makes what \a times runs of the work use up, such as queued writes.
    virtual void prepare(long /*times*/) {}

    /// Does the work \a times times.
    virtual void run(long times) = 0;

    /// Throws std::runtime_error if the work so far had not the effect it should have.
    virtual void check() = 0;
};

struct NamedScenario {
    std::string name;
    long batch; ///< runs per prepare(); also how many runs one count of instructions or allocations spans
    bool timed; ///< false: its time is measured elsewhere, side by side with what it is compared to
    std::function<std::unique_ptr<Scenario>()> make;
};

std::vector<NamedScenario> driverScenarios(); ///< the driver's exported functions, through the built library
std::vector<NamedScenario> floorScenarios();  ///< the same exchange written straight: what it has to cost at least
std::vector<NamedScenario> peerScenarios();   ///< a 16-register read by Modbus libraries

std::vector<NamedScenario> hostScenarios(); ///< the reference host with the driver, against the server

/// All of them, in the order given above.
std::vector<NamedScenario> allScenarios();

/// Throws std::runtime_error with \a what unless \a holds.
inline void require(bool holds, const char *what)
{
    if (!holds)
        throw std::runtime_error(what);
}

#endif

// fault_state.h - a fault plan at work: what happens to one request, decided by the plan's random numbers.

#pragma once

#include "plcsim/faults.h"

#include <QtCore/QByteArray>

#include <optional>
#include <random>

namespace plcsim
{

/// Everything that goes wrong with one request and its answer.
struct Effects {
    bool any = false;

    bool lost = false;                // not executed, not answered
    bool forgetsRegistration = false; // the unit has restarted
    std::optional<int> errorCode;     // not executed, answered with this

    bool wrongStation = false;
    bool wrongCommand = false;
    int missingCharacters = 0;
    int surplusCharacters = 0;
    bool badCheck = false;
    bool lowerCaseCheck = false;
    QByteArray junkBefore;
    QByteArray junkAfter;

    bool dropped = false;
    qint64 delayMs = 0; // the unit's own
    qint64 lateMs = 0;  // on the way
    bool duplicate = false;
    std::optional<qint64> pauseMs; // between the bytes, which come one by one
    bool glue = false;
    bool reset = false;
    bool halfOpen = false;
};

class FaultState
{
public:
    /// Throws std::invalid_argument for a bad plan.
    void setPlan(const FaultPlan &plan);
    const FaultPlan &plan() const { return plan_; }

    /// Decides about the next request, which comes at \a nowMs.
    Effects next(qint64 nowMs);

    /// The error code for reading these words; nothing when they can be read.
    std::optional<int> unreadable(Area area, int first, int last) const;

    /// \a limit, or the plan's when that is smaller.
    int frameLimit(int limit) const;

private:
    int random(int count);
    QByteArray junk(int bytes);
    void apply(const Fault &fault, qint64 nowMs, Effects *effects);

    FaultPlan plan_;
    std::mt19937 random_;
    qint64 silentUntilMs_ = 0;
    bool silent_ = false;
};

/// Throws std::invalid_argument, with the reason, when a number of the plan is out of its range.
void requireGood(const FaultPlan &plan);

/// The answer's bytes as the effects spoil them. \param reply  a whole response
QByteArray spoiled(const QByteArray &reply, const Effects &effects);

} // namespace plcsim

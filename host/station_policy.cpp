// station_policy.cpp - see station_policy.h.

#include "station_policy.h"

#include <algorithm>

namespace fphost
{

bool StationPolicy::replied(int station)
{
    const auto found = stations_.find(station);
    if (found == stations_.end())
        return false;
    const bool cameBack = found->second.state != State::Present;
    stations_.erase(found);
    return cameBack;
}

bool StationPolicy::silent(int station, long long nowMs)
{
    Station &known = stations_[station];
    if (known.state == State::Off)
        return false; // a frame that was built before
    if (++known.silences < settings_.silentLimit && known.state == State::Present)
        return false;
    known.pauseMs = known.pauseMs == 0
                        ? settings_.firstProbeMs
                        : static_cast<int>(std::min(2LL * known.pauseMs, 1LL * settings_.longestProbeMs));
    known.trialAtMs = nowMs + known.pauseMs;
    known.state = State::Off;
    return true;
}

std::vector<int> StationPolicy::startTrials(long long nowMs)
{
    std::vector<int> due;
    for (auto &[station, known] : stations_) {
        if (known.state != State::Off || known.trialAtMs > nowMs)
            continue;
        known.state = State::Trial;
        due.push_back(station);
    }
    return due;
}

bool StationPolicy::isOff(int station) const
{
    const auto found = stations_.find(station);
    return found != stations_.end() && found->second.state == State::Off;
}

} // namespace fphost

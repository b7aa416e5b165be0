// station_policy.h - which stations are switched off because they stay silent, and when they are tried again.
//
//  - A silent station costs the others one time-out per request, so after a few it is left alone and probed from time
//    to time, in growing pauses. One reply, an error response too, brings it back.
//  - No clock, no socket: the caller passes the time in and carries out what is decided.

#pragma once

#include <map>
#include <vector>

namespace fphost
{

class StationPolicy
{
public:
    struct Settings {
        int silentLimit = 3;        ///< requests without a reply in a row that make a station silent; 1 or more
        int firstProbeMs = 2000;    ///< pause before a silent station is tried again
        int longestProbeMs = 60000; ///< the pause doubles with every failed probe up to this
    };

    explicit StationPolicy(const Settings &settings) : settings_(settings) {}

    /// The station replied. True: it was silent or on trial, and counts as present again.
    bool replied(int station);

    /// A request to the station got no reply in time.
    /// True: switch the station off now. A station on trial is switched off at once, any other after silentLimit
    /// requests in a row.
    bool silent(int station, long long nowMs);

    /// The stations whose trial is due at \a nowMs; they are on trial from now on. Switch them on.
    std::vector<int> startTrials(long long nowMs);

    /// Forgets the station, for example because the user has switched it off himself.
    void forget(int station) { stations_.erase(station); }

    /// True while the station is switched off by this policy.
    bool isOff(int station) const;

    /// True while any station was silent lately; startTrials() has nothing to do otherwise.
    bool anySilent() const { return !stations_.empty(); }

private:
    enum class State { Present, Off, Trial };
    struct Station {
        State state = State::Present;
        int silences = 0;        // in a row
        int pauseMs = 0;         // the last one given
        long long trialAtMs = 0; // while Off
    };

    Settings settings_;
    std::map<int, Station> stations_; // those that were silent lately; a station that replies is not kept
};

} // namespace fphost

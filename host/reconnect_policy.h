// reconnect_policy.h - how long to wait before the next attempt to connect.
//
//  - Pauses grow from attempt to attempt up to a limit and carry a random part, so that many panels that lost the same
//    PLC do not come back in step. No clock, no socket: the caller waits.
//  - What counts as success is a reply, not a connection: a PLC that accepts connections and says nothing is not
//    flooded with them.

#pragma once

#include <random>

namespace fphost
{

class ReconnectPolicy
{
public:
    struct Settings {
        int firstMs = 200;       ///< pause before the second attempt in a row; 1 or more
        int longestMs = 10000;   ///< no pause is longer, its random part included
        int growthPercent = 200; ///< each pause against the one before; 100 or more
        int jitterPercent = 25;  ///< a pause is off its mark by up to so much in both directions; 0 to 99
    };

    /// \param seed  of the random part; the same seed gives the same pauses
    ReconnectPolicy(const Settings &settings, unsigned seed) : settings_(settings), random_(seed) {}

    /// A reply came: should the connection be lost, the next attempt may follow at once.
    void worked() { markMs_ = 0; }

    /// The pause before the next attempt, in milliseconds. Attempts without a reply between them get, with the default
    /// settings, pauses of 0, then around 200, 400, 800 and so on to 10,000.
    int nextPauseMs();

private:
    Settings settings_;
    std::mt19937 random_;
    int markMs_ = 0; // the pause to give next, before its random part; 0 = none
};

} // namespace fphost

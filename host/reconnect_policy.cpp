// reconnect_policy.cpp - see reconnect_policy.h.

#include "reconnect_policy.h"

#include <algorithm>

namespace fphost
{

int ReconnectPolicy::nextPauseMs()
{
    const int mark = markMs_;
    const long long grown = mark == 0 ? settings_.firstMs : 1LL * mark * settings_.growthPercent / 100;
    markMs_ = static_cast<int>(std::min<long long>(grown, settings_.longestMs));
    if (mark == 0)
        return 0;
    const int swing = static_cast<int>(1LL * mark * settings_.jitterPercent / 100);
    const int off = std::uniform_int_distribution<int>(-swing, swing)(random_);
    return std::clamp(mark + off, 1, settings_.longestMs);
}

} // namespace fphost

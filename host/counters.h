// counters.h - what the host counts while it exchanges frames.
//
//  - One thread counts, any thread reads. The numbers only grow.

#pragma once

#include <array>
#include <atomic>
#include <cstddef>

namespace fphost
{

enum class Count {
    Exchanges,       ///< requests that were sent, repeats included
    Good,            ///< of which so many were answered well
    Failures,        ///< of which so many were not: refused, bad reply, no reply, connection lost
    TimeOuts,        ///< failures: no reply in time
    BadReplies,      ///< failures: a reply that the driver would not have
    Refusals,        ///< failures: error responses of the PLC
    Lost,            ///< failures: the connection broke
    Broadcasts,      ///< requests to all stations, neither good nor failed
    Abandoned,       ///< requests given up after their repeats
    StaleReplies,    ///< replies that answered no request in flight
    OutOfStep,       ///< connections closed because a reply could not have been told from a late one
    Connects,        ///< connections made
    ConnectFailures, ///< attempts to connect that failed
    BytesOut,        ///< of requests
    BytesIn,         ///< of replies
    ReplyUs,         ///< time from request to good reply, summed, in microseconds
    Number
};

class Counters
{
public:
    void add(Count what, unsigned long long by = 1)
    {
        std::atomic<unsigned long long> &value = values_[static_cast<std::size_t>(what)];
        value.store(value.load(std::memory_order_relaxed) + by, std::memory_order_relaxed); // one thread counts
    }
    unsigned long long operator[](Count what) const
    {
        return values_[static_cast<std::size_t>(what)].load(std::memory_order_relaxed);
    }

private:
    std::array<std::atomic<unsigned long long>, static_cast<std::size_t>(Count::Number)> values_{};
};

} // namespace fphost

// driver_exchanges.h - exchanges with the driver in memory: the reply is ready before the request is asked for.

#ifndef BENCHMARKS_DRIVER_EXCHANGES_H
#define BENCHMARKS_DRIVER_EXCHANGES_H

#include "loaded_driver.h"
#include "scenario.h"

/// The polling cycle that ReCreatReadVarList or AddListReadVar set up, exchange by exchange, over and over. One run is
/// one request with all its frames.
///
/// The constructor goes once around and keeps each reply; run() hands them back in the same order, which is right
/// because nothing but the driver's own rotation changes the polling list.
class PollingCycle
{
public:
    /// \param driver  set up, with a polling list that repeats after at most \a maxRequests requests
    PollingCycle(LoadedDriver &driver, long maxRequests);

    void run(long requests);

    /// Throws std::runtime_error if an exchange failed.
    void check() const;

    long requests() const { return long(m_framesOfRequest.size()); } ///< until the polling list is as it was
    long frames() const { return long(m_replies.size()); }           ///< in those
    long bytes() const { return m_bytes; }                           ///< of requests and replies in those
    long entries() const { return m_entries; }                       ///< of the polling list that those serve

private:
    void addRequest();

    LoadedDriver &m_driver;
    std::vector<QByteArray> m_replies;
    std::vector<int> m_framesOfRequest;
    std::size_t m_nextRequest = 0;
    std::size_t m_nextReply = 0;
    long m_bytes = 0;
    long m_entries = 0;
    long m_failed = 0;
};

/// Throws std::runtime_error unless the driver's store holds FixedAnswers' words at \a count numbers from \a first on.
void requireStored(LoadedDriver &driver, int kind, int station, int first, int count);

HostReadItem pollingItem(AreaKind kind, int number, int count, int station);

/// 1,000 single words spread over 10,000, rising: what a screen with scattered tags polls. Always the same numbers.
std::vector<int> scatteredTagNumbers();

/// Those as polling items of data registers of station 1.
QList<HostReadItem> scatteredTags();

void addExchangeScenarios(std::vector<NamedScenario> &all);

#endif

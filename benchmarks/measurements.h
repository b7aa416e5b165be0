// measurements.h - runs the measuring programs and gathers what they print.

#ifndef BENCHMARKS_MEASUREMENTS_H
#define BENCHMARKS_MEASUREMENTS_H

#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

/// What was measured of one scenario, per run of its work. NaN where it was not measured.
struct Cost {
    double instructions; ///< in user space, as callgrind counts them
    double allocations;  ///< calls of the allocator
    double nanoseconds;  ///< median over the repetitions
};

/// What one client reached over TCP loopback in one round; every round has all clients, one after another.
struct TcpRound {
    double perSecond; ///< exchanges, or sweeps
    double cpuMicros; ///< processor time of the client's process per exchange or sweep
    double allMicros; ///< that and the server's
};

/// One sweep over the scattered tags.
struct SweepSize {
    double frames = 0; ///< requests sent
    double bytes = 0;  ///< of requests and replies
};

class Measurements
{
public:
    /// Runs everything; takes some minutes. Throws std::runtime_error when a program fails.
    static Measurements taken();

    QStringList scenarios() const { return m_scenarios; } ///< in the order of measuring
    Cost cost(const QString &scenario) const;             ///< throws std::runtime_error for an unknown name
    QVector<TcpRound> tcp(const QString &client) const;   ///< throws std::runtime_error for an unknown name
    QStringList tcpClients() const { return m_tcp.keys(); }
    SweepSize sweep(const QString &client) const { return m_sweeps.value(client); }

private:
    void countAllocations();
    void countInstructions();
    void takeTimes(const QString &filter, int repetitions);
    void takeTcp();

    QStringList m_scenarios;
    QMap<QString, Cost> m_costs;
    QMap<QString, QVector<TcpRound>> m_tcp;
    QMap<QString, SweepSize> m_sweeps;
};

/// The middle one, or the mean of the two in the middle. \a values must not be empty.
double median(QVector<double> values);

#endif

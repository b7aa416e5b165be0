// server_process.h - the program behind the TCP measurements, as a process of its own.
//
//  - It answers the PLC's requests on one loopback port and Modbus reads of holding registers on another, with
//    FixedAnswers' words; so little that all clients wait for the same thing.
//  - It runs on the cores of who starts it.

#ifndef BENCHMARKS_SERVER_PROCESS_H
#define BENCHMARKS_SERVER_PROCESS_H

#include <QtCore/QProcess>

#include <time.h>

class ServerProcess
{
public:
    /// Starts it and waits until it listens. Throws std::runtime_error if that fails.
    ServerProcess();

    /// Ends it.
    ~ServerProcess();

    int plcPort() const { return m_plcPort; }
    int modbusPort() const { return m_modbusPort; }

    /// The clock of the processor time that the server has used.
    clockid_t cpuClock() const;

private:
    QProcess m_process;
    int m_plcPort = 0;
    int m_modbusPort = 0;
};

#endif

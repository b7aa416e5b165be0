// server_process.cpp - see server_process.h.

#include "server_process.h"
#include "scenario.h"

ServerProcess::ServerProcess()
{
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(QStringLiteral(FP_BENCH_SERVER), QStringList());
    while (!m_process.canReadLine())
        require(m_process.waitForReadyRead(10000), "the server does not start");
    const QList<QByteArray> ports = m_process.readLine().simplified().split(' ');
    require(ports.size() == 2, "the server does not tell its ports");
    m_plcPort = ports[0].toInt();
    m_modbusPort = ports[1].toInt();
}

ServerProcess::~ServerProcess()
{
    m_process.closeWriteChannel(); // it ends with its standard input
    m_process.waitForFinished(10000);
}

clockid_t ServerProcess::cpuClock() const
{
    clockid_t clock = 0;
    require(clock_getcpuclockid(pid_t(m_process.processId()), &clock) == 0, "the server has no clock");
    return clock;
}

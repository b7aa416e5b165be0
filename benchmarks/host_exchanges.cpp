// host_exchanges.cpp - what the host adds to an exchange in user space: its own steps over TCP, the driver's included.

#include "fixed_answers.h"
#include "scenario.h"
#include "server_process.h"

#include "host/exchanger.h"
#include "host/transport.h"

namespace
{

const fphost::Span kPolled = {KindDT, 0, 16, 1};

class HostSteps : public Scenario
{
public:
    HostSteps() : m_transport(linkTo(m_server.plcPort())), m_exchanger(m_session, m_transport, m_clock, {}, 1)
    {
        require(!m_library.open(QStringLiteral(FP_DRIVER_LIBRARY)), "the driver does not load");
        require(!m_session.open(m_library.api(), {}), "the session does not open");
        require(!m_session.setPolling({kPolled}), "this cannot be polled");
        m_exchanger.step(); // connects
    }
    void run(long times) override
    {
        for (m_done += times; times > 0; --times)
            m_exchanger.step();
    }
    void check() override
    {
        require(m_exchanger.counters()[fphost::Count::Good] == m_done, "exchanges failed");
        const QByteArray values = m_session.values(kPolled);
        for (int n = 0; n < kPolled.count; ++n)
            require(quint8(values[2 * n]) + 256 * quint8(values[2 * n + 1]) == FixedAnswers::word(n), "a wrong word");
    }

private:
    static fphost::Transport::Settings linkTo(int port)
    {
        fphost::Transport::Settings link;
        link.port = quint16(port);
        return link;
    }

    ServerProcess m_server;
    fphost::DriverLibrary m_library;
    fphost::DriverSession m_session;
    fphost::SystemClock m_clock;
    fphost::Transport m_transport;
    fphost::Exchanger m_exchanger;
    unsigned long long m_done = 0;
};

} // namespace

std::vector<NamedScenario> hostScenarios()
{
    return {{"host/RD 16 words over TCP", 1000, false, [] { return std::make_unique<HostSteps>(); }}};
}

// peers.cpp - a 16-register read by Modbus libraries, as far as each lets itself be measured without a device.
//
//  - QModbusPdu: the request into bytes and the reply's bytes into values, as a user of QtSerialBus does it.
//  - libmodbus: its whole client over a socket pair in which the replies are ready.
//  - QModbusTcpClient: its whole client, which has no way but TCP; the server is a process of its own.

#include "fixed_answers.h"
#include "readers.h"
#include "scenario.h"
#include "server_process.h"

#include <QtCore/QDataStream>
#include <QtSerialBus/QModbusPdu>

#include <modbus/modbus.h>

#include <sys/socket.h>
#include <unistd.h>

#include <vector>

namespace
{

const quint8 kReadHoldingRegisters = 3;

/// The reply to a read of 16 registers from 0 on, from the function code on.
QByteArray replyPdu()
{
    QByteArray pdu;
    pdu.append(char(kReadHoldingRegisters)).append(char(2 * kReaderWords));
    for (int n = 0; n < kReaderWords; ++n)
        pdu.append(char(FixedAnswers::word(n) >> 8)).append(char(FixedAnswers::word(n) & 255));
    return pdu;
}

class QtPdu : public Scenario
{
public:
    void run(long times) override
    {
        for (; times > 0; --times) {
            QByteArray sent;
            QDataStream out(&sent, QIODevice::WriteOnly);
            out << QModbusRequest(QModbusPdu::ReadHoldingRegisters, quint16(0), quint16(kReaderWords));
            m_sent = sent.size();

            QDataStream in(m_reply);
            QModbusResponse response;
            in >> response;
            if (response.isValid() && !response.isException())
                decode(response);
        }
    }
    void check() override
    {
        require(m_sent == 5, "the request has another length");
        for (int n = 0; n < kReaderWords; ++n)
            require(m_values.value(n) == FixedAnswers::word(n), "a wrong value");
    }

private:
    void decode(const QModbusResponse &response)
    {
        quint8 bytes = 0;
        QDataStream data(response.data());
        data >> bytes;
        m_values.resize(bytes / 2);
        for (quint16 &value : m_values)
            data >> value;
    }

    const QByteArray m_reply = replyPdu();
    QVector<quint16> m_values;
    int m_sent = 0;
};

class LibmodbusInMemory : public Scenario
{
public:
    LibmodbusInMemory() : m_context(modbus_new_tcp("127.0.0.1", 502))
    {
        require(socketpair(AF_UNIX, SOCK_STREAM, 0, m_sockets) == 0, "no socket pair");
        modbus_set_socket(m_context, m_sockets[0]);
        modbus_set_slave(m_context, 1);
    }
    ~LibmodbusInMemory() override
    {
        modbus_free(m_context);
        close(m_sockets[0]);
        close(m_sockets[1]);
    }
    void prepare(long times) override
    {
        char requests[4096];
        while (recv(m_sockets[1], requests, sizeof requests, MSG_DONTWAIT) > 0) {
        }
        const QByteArray pdu = replyPdu();
        QByteArray replies;
        for (long i = 0; i < times; ++i) {
            m_transaction = m_transaction < 0xFFFF ? m_transaction + 1 : 0; // as the library counts
            replies.append(char(m_transaction >> 8)).append(char(m_transaction & 255));
            replies.append(3, '\0').append(char(pdu.size() + 1)).append('\1').append(pdu);
        }
        require(send(m_sockets[1], replies.constData(), std::size_t(replies.size()), 0) == replies.size(), "not sent");
    }
    void run(long times) override
    {
        for (; times > 0; --times)
            m_failed += modbus_read_registers(m_context, 0, kReaderWords, m_values) != kReaderWords;
    }
    void check() override
    {
        require(m_failed == 0, "a read failed");
        for (int n = 0; n < kReaderWords; ++n)
            require(m_values[n] == FixedAnswers::word(n), "a wrong value");
    }

private:
    modbus_t *m_context;
    int m_sockets[2] = {};
    int m_transaction = 0;
    std::uint16_t m_values[kReaderWords] = {};
    long m_failed = 0;
};

/// The reader looks at the values itself.
class QtClient : public Scenario
{
public:
    QtClient() : m_reader(qtModbusReader(m_server.modbusPort())) {}
    void run(long times) override { m_reader->read(times); }
    void check() override {}

private:
    ServerProcess m_server;
    std::unique_ptr<Reader> m_reader;
};

} // namespace

std::vector<NamedScenario> peerScenarios()
{
    return {{"peer/QModbusPdu/16 registers", 1000, true, [] { return std::make_unique<QtPdu>(); }},
            {"peer/libmodbus in a socket pair/16 registers", 100, true,
             [] { return std::make_unique<LibmodbusInMemory>(); }},
            {"peer/QModbusTcpClient/16 registers", 100, false, [] { return std::make_unique<QtClient>(); }}};
}

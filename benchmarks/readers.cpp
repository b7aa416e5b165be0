// readers.cpp - see readers.h.

#include "readers.h"
#include "fixed_answers.h"
#include "scenario.h"

#include <QtCore/QEventLoop>
#include <QtCore/QVariant>
#include <QtSerialBus/QModbusDataUnit>
#include <QtSerialBus/QModbusReply>
#include <QtSerialBus/QModbusTcpClient>

#include <modbus/modbus.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

const int kUnit = 1;
const char kLoopback[] = "127.0.0.1";

class RawReader : public Reader
{
public:
    explicit RawReader(int port) : m_socket(socket(AF_INET, SOCK_STREAM, 0)), m_reply(FixedAnswers().answer(m_request))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(std::uint16_t(port));
        inet_pton(AF_INET, kLoopback, &address.sin_addr);
        require(connect(m_socket, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0, "no connection");
        const int on = 1;
        setsockopt(m_socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    }
    ~RawReader() override { close(m_socket); }
    void read(long times) override
    {
        char reply[128];
        for (; times > 0; --times) {
            require(send(m_socket, m_request.data(), m_request.size(), 0) == ssize_t(m_request.size()), "not sent");
            std::size_t got = 0;
            while (got < m_reply.size()) {
                const ssize_t more = recv(m_socket, reply + got, sizeof reply - got, 0);
                require(more > 0, "the server has gone");
                got += std::size_t(more);
            }
            require(m_reply.compare(0, m_reply.size(), reply, got) == 0, "a wrong reply");
        }
    }

private:
    int m_socket;
    const std::string m_request = "%01#RDD0000000015**\r";
    const std::string m_reply;
};

class LibmodbusReader : public Reader
{
public:
    LibmodbusReader(int port, int words) : m_context(modbus_new_tcp(kLoopback, port)), m_words(words)
    {
        modbus_set_slave(m_context, kUnit);
        require(modbus_connect(m_context) == 0, "no connection");
    }
    ~LibmodbusReader() override
    {
        modbus_close(m_context);
        modbus_free(m_context);
    }
    void read(long times) override
    {
        std::uint16_t values[kReaderWords];
        for (int n = 0; n < times; ++n) {
            const int first = m_words == 1 ? n : 0;
            require(modbus_read_registers(m_context, first, m_words, values) == m_words, modbus_strerror(errno));
            require(values[m_words - 1] == FixedAnswers::word(first + m_words - 1), "a wrong value");
        }
    }

private:
    modbus_t *m_context;
    int m_words;
};

class QtModbusReader : public Reader
{
public:
    explicit QtModbusReader(int port)
    {
        m_client.setConnectionParameter(QModbusDevice::NetworkAddressParameter, QString::fromLatin1(kLoopback));
        m_client.setConnectionParameter(QModbusDevice::NetworkPortParameter, port);
        QObject::connect(&m_client, &QModbusDevice::stateChanged, &m_loop, [this](QModbusDevice::State state) {
            if (state == QModbusDevice::ConnectedState || state == QModbusDevice::UnconnectedState)
                m_loop.quit();
        });
        require(m_client.connectDevice(), "no connection");
        m_loop.exec();
        require(m_client.state() == QModbusDevice::ConnectedState, "no connection");
    }
    ~QtModbusReader() override { m_client.disconnectDevice(); }
    void read(long times) override
    {
        m_left = times;
        sendNext();
        m_loop.exec();
        require(m_left == 0, m_failure);
    }

private:
    void sendNext()
    {
        QModbusReply *reply = m_client.sendReadRequest(m_unit, kUnit);
        if (!reply)
            return fail("not sent");
        QObject::connect(reply, &QModbusReply::finished, &m_loop, [this, reply] { finished(reply); });
    }
    void finished(QModbusReply *reply)
    {
        const QModbusDataUnit result = reply->result();
        reply->deleteLater();
        if (reply->error() != QModbusDevice::NoError || result.valueCount() != kReaderWords ||
            result.value(kReaderWords - 1) != FixedAnswers::word(kReaderWords - 1))
            return fail("a read failed");
        if (--m_left == 0)
            m_loop.quit();
        else
            sendNext();
    }
    void fail(const char *why)
    {
        m_failure = why;
        m_loop.quit();
    }

    QEventLoop m_loop;
    QModbusTcpClient m_client;
    const QModbusDataUnit m_unit{QModbusDataUnit::HoldingRegisters, 0, kReaderWords};
    long m_left = 0;
    const char *m_failure = "";
};

} // namespace

std::unique_ptr<Reader> rawReader(int plcPort)
{
    return std::make_unique<RawReader>(plcPort);
}

std::unique_ptr<Reader> libmodbusReader(int modbusPort, int words)
{
    return std::make_unique<LibmodbusReader>(modbusPort, words);
}

std::unique_ptr<Reader> qtModbusReader(int modbusPort)
{
    return std::make_unique<QtModbusReader>(modbusPort);
}

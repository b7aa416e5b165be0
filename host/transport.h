// transport.h - one TCP connection to the PLC, on the socket itself.
//
//  - One system call to send and one to receive in the usual case: the reply's time-out is the socket's own.
//  - Addresses are IPv4, IPv6 or host names; every address of a name is tried.
//  - One thread uses it; only interrupt() may be called from another.

#pragma once

#include "byte_pipe.h"

#include <QtCore/QByteArray>

#include <atomic>
#include <mutex>

struct addrinfo;

namespace fphost
{

class SystemClock : public Clock
{
public:
    qint64 nowUs() override;
};

class Transport : public BytePipe
{
public:
    struct Settings {
        QString host = QStringLiteral("127.0.0.1");
        quint16 port = 0;
        int connectTimeoutMs = 3000; ///< for each address of the host; looking a name up is the system's and not in it
        int replyTimeoutMs = 1000;   ///< the wait that costs no extra call; also the longest a send may take
    };

    explicit Transport(const Settings &settings);
    ~Transport() override; // closes
    Transport(const Transport &) = delete;
    Transport &operator=(const Transport &) = delete;

    /// As BytePipe says. Errors read "cannot connect to 127.0.0.1:9094: Connection refused".
    std::optional<QString> open() override;
    bool isOpen() const override { return socket_ >= 0; }
    bool send(const char *bytes, int count) override;
    Piped receive(char *to, int room, int *count, qint64 timeoutUs) override;
    void close() override;

    /// Ends what waits, now and in future: open() fails, send() and receive() find the connection closed. Any thread.
    void interrupt();

private:
    bool connectTo(const addrinfo &address, int *error);
    bool waitForConnect(int socket, int *error);
    bool prepare(int socket);
    bool waitForBytes(qint64 timeoutUs);

    Settings settings_;
    qint64 socketTimeoutUs_;
    int wake_ = -1; // readable once interrupt() was called
    std::atomic<bool> interrupted_{false};
    std::mutex socketMutex_; // the socket's number changes under it, so that interrupt() never meets another's
    int socket_ = -1;
};

} // namespace fphost

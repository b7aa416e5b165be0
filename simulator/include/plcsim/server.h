// server.h - the simulated PLCs behind two TCP ports, one for request frames and one for binary records.
//
//  - Needs no event loop and no QCoreApplication: sockets live on the server's own threads.
//  - Every connection is a Line of its own; what the lines deliver is sent in real time. A port serves 128 connections
//    at once and closes those that come on top.
//  - The values move while the server listens.

#pragma once

#include "plcsim/simulator.h"

#include <QtNetwork/QHostAddress>

#include <memory>
#include <optional>

namespace plcsim
{

class Server
{
public:
    explicit Server(std::shared_ptr<Simulator> simulator);
    ~Server(); // closes
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    /// Starts to serve.
    /// \param port        for request frames; 0 takes a free one
    /// \param remotePort  for binary records; 0 takes a free one
    /// Result: nothing, or one line that says which port could not be opened and why; then none is open.
    std::optional<QString> listen(const QHostAddress &address, quint16 port, quint16 remotePort);

    /// The ports in use; 0 while the server does not listen.
    quint16 port() const;
    quint16 remotePort() const;

    /// How often the values move, in milliseconds of real time: 1 or more, 100 at first. Each time they move by the
    /// time that has really passed.
    void setTickMs(int milliseconds);

    /// Number of connections that stand, both ports together.
    int connections() const;

    /// Closes the ports and all connections and waits for the threads to end. The simulator stays as it is; listen()
    /// may be called again. Does nothing when the server does not listen.
    void close();

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace plcsim

// server.cpp - two listening ports, one thread for each and one for every connection, and one that moves the values.
//
// Qt delivers no events to sockets while there is no QCoreApplication, so the threads wait on their sockets with the
// blocking calls instead of an event loop. Every wait is short, so that close() is.

#include "plcsim/server.h"

#include "plcsim/line.h"

#include <QtCore/QThread>
#include <QtNetwork/QNetworkProxy>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <list>
#include <mutex>
#include <system_error>
#include <thread>

#include <sys/socket.h>

namespace plcsim
{

namespace
{

constexpr int kLongestWaitMs = 20;    // after which a thread looks whether it shall end
constexpr int kSendTimeoutMs = 5000;  // a host that takes nothing for so long is given up
constexpr int kMostConnections = 128; // per port; more are closed at once
constexpr int kReadSize = 16384;      // bytes taken from a socket at a time
constexpr int kMostDue = 1000000;     // deliveries; while more wait, nothing is taken from the socket

qint64 nowMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

/// Gives every accepted descriptor to a function, on the thread that waits for connections.
class Acceptor : public QTcpServer
{
public:
    explicit Acceptor(std::function<void(qintptr)> accepted) : accepted_(std::move(accepted))
    {
        setProxy(QNetworkProxy::NoProxy);
    }

protected:
    void incomingConnection(qintptr descriptor) override { accepted_(descriptor); }

private:
    std::function<void(qintptr)> accepted_;
};

/// One connection for as long as it stands, on the calling thread.
class Connection
{
public:
    Connection(std::shared_ptr<Simulator> simulator, Line::Kind kind, const std::atomic<bool> &stopping)
        : line_(std::move(simulator), kind), stopping_(stopping)
    {
    }

    void serve(qintptr descriptor)
    {
        socket_.setProxy(QNetworkProxy::NoProxy);
        if (!socket_.setSocketDescriptor(descriptor))
            return;
        socket_.setSocketOption(QAbstractSocket::LowDelayOption, 1);
        while (!stopping_ && !dead_) {
            if (!sendWhatIsDue() || !receive())
                break;
        }
        if (!dead_)
            socket_.abort();
    }

private:
    bool receive()
    {
        if (due_.size() > kMostDue) {
            QThread::msleep(1);
            return socket_.state() == QAbstractSocket::ConnectedState;
        }
        if (socket_.bytesAvailable() == 0 && !socket_.waitForReadyRead(waitMs()))
            return socket_.state() == QAbstractSocket::ConnectedState;
        const std::vector<Delivery> more = line_.take(socket_.read(kReadSize), nowMs());
        due_.insert(due_.end(), more.begin(), more.end());
        return true;
    }

    int waitMs() const
    {
        if (due_.empty())
            return kLongestWaitMs;
        return static_cast<int>(std::clamp<qint64>(due_.front().atMs - nowMs(), 1, kLongestWaitMs));
    }

    bool sendWhatIsDue()
    {
        while (!due_.empty() && due_.front().atMs <= nowMs() && !dead_) {
            const Delivery delivery = due_.front();
            due_.pop_front();
            if (!send(delivery))
                return false;
        }
        return true;
    }

    bool send(const Delivery &delivery)
    {
        switch (delivery.kind) {
        case Delivery::Kind::Bytes:
            return write(delivery.bytes);
        case Delivery::Kind::Reset:
            reset();
            return true;
        case Delivery::Kind::HalfOpen:
            return true; // the line gives nothing more; the socket stands until the host closes it
        }
        return true;
    }

    /// False when the host has not taken the bytes in time, or the server shall end.
    bool write(const QByteArray &bytes)
    {
        socket_.write(bytes);
        for (int waitedMs = 0; socket_.bytesToWrite() > 0; waitedMs += kLongestWaitMs) {
            const bool connected = socket_.state() == QAbstractSocket::ConnectedState;
            if (stopping_ || !connected || waitedMs >= kSendTimeoutMs)
                return false;
            if (socket_.waitForBytesWritten(kLongestWaitMs))
                waitedMs = 0;
        }
        return true;
    }

    /// Closes so that the host sees a reset and not an orderly end.
    void reset()
    {
        const linger noWait = {1, 0};
        setsockopt(static_cast<int>(socket_.socketDescriptor()), SOL_SOCKET, SO_LINGER, &noWait, sizeof(noWait));
        socket_.abort();
        dead_ = true;
    }

    QTcpSocket socket_;
    Line line_;
    const std::atomic<bool> &stopping_;
    std::deque<Delivery> due_; // in order of time, since a line never overtakes itself
    bool dead_ = false;
};

/// One listening port with its threads.
class Port
{
public:
    Port(std::shared_ptr<Simulator> simulator, Line::Kind kind) : simulator_(std::move(simulator)), kind_(kind) {}
    ~Port() { close(); }

    std::optional<QString> open(const QHostAddress &address, quint16 port)
    {
        std::promise<std::optional<QString>> opened;
        std::future<std::optional<QString>> result = opened.get_future();
        listener_ = std::thread([this, address, port, &opened] { listen(address, port, &opened); });
        return result.get();
    }

    void close()
    {
        stopping_ = true;
        if (listener_.joinable())
            listener_.join();
        for (Worker &worker : workers_)
            worker.thread.join();
        workers_.clear();
    }

    quint16 number() const { return number_; }
    int connections() const { return connections_; }

private:
    struct Worker {
        std::thread thread;
        std::atomic<bool> ended{false};
    };

    void listen(const QHostAddress &address, quint16 port, std::promise<std::optional<QString>> *opened)
    {
        Acceptor acceptor([this](qintptr descriptor) { accept(descriptor); });
        if (!acceptor.listen(address, port)) {
            opened->set_value(QStringLiteral("cannot listen on %1 port %2: %3")
                                  .arg(address.toString())
                                  .arg(port)
                                  .arg(acceptor.errorString()));
            return;
        }
        number_ = acceptor.serverPort();
        opened->set_value(std::nullopt);
        while (!stopping_) {
            acceptor.waitForNewConnection(kLongestWaitMs);
            buryEnded();
        }
    }

    void accept(qintptr descriptor)
    {
        if (connections_ >= kMostConnections) {
            refuse(descriptor);
            return;
        }
        ++connections_;
        Worker &worker = workers_.emplace_back();
        try {
            worker.thread = std::thread([this, &worker, descriptor] { work(&worker, descriptor); });
        } catch (const std::system_error &) { // no more threads to be had
            workers_.pop_back();
            --connections_;
            refuse(descriptor);
        }
    }

    void work(Worker *worker, qintptr descriptor)
    {
        Connection(simulator_, kind_, stopping_).serve(descriptor);
        --connections_;
        worker->ended = true;
    }

    static void refuse(qintptr descriptor)
    {
        QTcpSocket refused;
        refused.setSocketDescriptor(descriptor); // closed by its destructor
    }

    void buryEnded()
    {
        for (auto worker = workers_.begin(); worker != workers_.end();) {
            if (!worker->ended) {
                ++worker;
                continue;
            }
            worker->thread.join();
            worker = workers_.erase(worker);
        }
    }

    std::shared_ptr<Simulator> simulator_;
    const Line::Kind kind_;
    std::atomic<bool> stopping_{false};
    std::atomic<quint16> number_{0};
    std::atomic<int> connections_{0};
    std::list<Worker> workers_; // the listener's alone, until it has ended
    std::thread listener_;
};

/// Moves the values in real time.
class Ticker
{
public:
    explicit Ticker(std::shared_ptr<Simulator> simulator) : simulator_(std::move(simulator)) {}
    ~Ticker() { stop(); }

    void start()
    {
        stopping_ = false;
        thread_ = std::thread([this] { run(); });
    }

    void stop()
    {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            stopping_ = true;
        }
        changed_.notify_all();
        if (thread_.joinable())
            thread_.join();
    }

    void setTickMs(int milliseconds)
    {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            tickMs_ = std::max(1, milliseconds);
        }
        changed_.notify_all();
    }

private:
    void run()
    {
        qint64 last = nowMs();
        std::unique_lock<std::mutex> lock(mutex_);
        while (!stopping_) {
            changed_.wait_for(lock, std::chrono::milliseconds(tickMs_));
            lock.unlock();
            const qint64 now = nowMs();
            simulator_->advance(now - last);
            last = now;
            lock.lock();
        }
    }

    std::shared_ptr<Simulator> simulator_;
    std::mutex mutex_;
    std::condition_variable changed_;
    int tickMs_ = 100;
    bool stopping_ = true;
    std::thread thread_;
};

} // namespace

struct Server::Private {
    explicit Private(const std::shared_ptr<Simulator> &behind) : simulator(behind), ticker(behind) {}

    void close()
    {
        ticker.stop();
        frames.reset();
        records.reset();
    }

    mutable std::mutex mutex; // guards the rest
    std::shared_ptr<Simulator> simulator;
    std::unique_ptr<Port> frames;
    std::unique_ptr<Port> records;
    Ticker ticker;
};

Server::Server(std::shared_ptr<Simulator> simulator) : d(std::make_unique<Private>(simulator)) {}

Server::~Server()
{
    close();
}

std::optional<QString> Server::listen(const QHostAddress &address, quint16 port, quint16 remotePort)
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    if (d->frames)
        return QStringLiteral("the server listens already");
    d->frames = std::make_unique<Port>(d->simulator, Line::Kind::Text);
    d->records = std::make_unique<Port>(d->simulator, Line::Kind::Binary);
    std::optional<QString> fault = d->frames->open(address, port);
    if (!fault)
        fault = d->records->open(address, remotePort);
    if (fault)
        d->close();
    else
        d->ticker.start();
    return fault;
}

quint16 Server::port() const
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    return d->frames ? d->frames->number() : quint16(0);
}

quint16 Server::remotePort() const
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    return d->records ? d->records->number() : quint16(0);
}

void Server::setTickMs(int milliseconds)
{
    d->ticker.setTickMs(milliseconds);
}

int Server::connections() const
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    return d->frames ? d->frames->connections() + d->records->connections() : 0;
}

void Server::close()
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    d->close();
}

} // namespace plcsim

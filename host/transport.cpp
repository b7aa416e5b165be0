// transport.cpp - see transport.h.

#include "transport.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>

namespace fphost
{

namespace
{

constexpr qint64 kUsPerSecond = 1000000;

timeval timevalOf(qint64 us)
{
    timeval value{};
    value.tv_sec = static_cast<decltype(value.tv_sec)>(us / kUsPerSecond);
    value.tv_usec = static_cast<decltype(value.tv_usec)>(us % kUsPerSecond);
    return value;
}

bool setOption(int socket, int level, int name, const void *value, std::size_t size)
{
    return setsockopt(socket, level, name, value, static_cast<socklen_t>(size)) == 0;
}

QString systemText(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

} // namespace

qint64 SystemClock::nowUs()
{
    const auto since = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(since).count();
}

Transport::Transport(const Settings &settings)
    : settings_(settings), socketTimeoutUs_(kUsPerMs * settings.replyTimeoutMs),
      wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
}

Transport::~Transport()
{
    close();
    if (wake_ >= 0)
        ::close(wake_);
}

std::optional<QString> Transport::open()
{
    close();
    const bool bare = settings_.host.contains(QLatin1Char(':')); // IPv6
    const QString cannot = QStringLiteral("cannot connect to %1:%2: %3")
                               .arg(bare ? QStringLiteral("[%1]").arg(settings_.host) : settings_.host)
                               .arg(settings_.port);
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo *found = nullptr;
    const int lookup = getaddrinfo(settings_.host.toLocal8Bit().constData(),
                                   QByteArray::number(settings_.port).constData(), &hints, &found);
    if (lookup != 0)
        return cannot.arg(lookup == EAI_SYSTEM ? systemText(errno) : QString::fromLocal8Bit(gai_strerror(lookup)));
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> addresses(found, &freeaddrinfo);
    int error = 0;
    for (const addrinfo *address = found; address; address = address->ai_next) {
        if (connectTo(*address, &error))
            return std::nullopt;
        if (interrupted_)
            return cannot.arg(QStringLiteral("stopped"));
    }
    return cannot.arg(systemText(error));
}

bool Transport::connectTo(const addrinfo &address, int *error)
{
    const int socket = ::socket(address.ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, address.ai_protocol);
    if (socket < 0) {
        *error = errno;
        return false;
    }
    bool connected = ::connect(socket, address.ai_addr, address.ai_addrlen) == 0;
    if (!connected && errno == EINPROGRESS)
        connected = waitForConnect(socket, error);
    else if (!connected)
        *error = errno;
    if (connected && !prepare(socket)) {
        *error = errno;
        connected = false;
    }
    const std::lock_guard<std::mutex> lock(socketMutex_);
    if (!connected || interrupted_) {
        ::close(socket);
        return false;
    }
    socket_ = socket;
    return true;
}

bool Transport::waitForConnect(int socket, int *error)
{
    SystemClock clock;
    const qint64 deadlineUs = clock.nowUs() + kUsPerMs * settings_.connectTimeoutMs;
    pollfd waits[] = {{socket, POLLOUT, 0}, {wake_, POLLIN, 0}};
    int ready = 0;
    do {
        const qint64 leftUs = deadlineUs - clock.nowUs();
        ready = poll(waits, 2, leftUs > 0 ? static_cast<int>((leftUs + kUsPerMs - 1) / kUsPerMs) : 0);
    } while (ready < 0 && errno == EINTR);
    if (ready <= 0 || waits[0].revents == 0) {
        *error = ready < 0 ? errno : ready == 0 ? ETIMEDOUT : ECANCELED;
        return false;
    }
    socklen_t size = sizeof(*error);
    if (getsockopt(socket, SOL_SOCKET, SO_ERROR, error, &size) != 0)
        *error = errno;
    return *error == 0;
}

// The connection goes on as a blocking one whose time-outs are its own: a wait is then one call.
bool Transport::prepare(int socket)
{
    const int on = 1;
    const timeval wait = timevalOf(socketTimeoutUs_);
    const int flags = fcntl(socket, F_GETFL);
    return setOption(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on)) &&
           setOption(socket, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof(wait)) &&
           setOption(socket, SOL_SOCKET, SO_SNDTIMEO, &wait, sizeof(wait)) && flags >= 0 &&
           fcntl(socket, F_SETFL, flags & ~O_NONBLOCK) == 0;
}

bool Transport::send(const char *bytes, int count)
{
    for (int done = 0; done < count;) {
        if (socket_ < 0)
            return false;
        const ssize_t sent = ::send(socket_, bytes + done, static_cast<std::size_t>(count - done), MSG_NOSIGNAL);
        if (sent >= 0)
            done += static_cast<int>(sent);
        else if (errno != EINTR)
            close(); // also when the other side takes nothing any more: part of a request is of no use
    }
    return socket_ >= 0;
}

Piped Transport::receive(char *to, int room, int *count, qint64 timeoutUs)
{
    *count = 0;
    bool wait = timeoutUs > 0;
    if (wait && timeoutUs != socketTimeoutUs_) {
        if (!waitForBytes(timeoutUs))
            return Piped::TimedOut;
        wait = false;
    }
    while (socket_ >= 0) {
        const ssize_t came = recv(socket_, to, static_cast<std::size_t>(room), wait ? 0 : MSG_DONTWAIT);
        if (came > 0) {
            *count = static_cast<int>(came);
            return Piped::Bytes;
        }
        if (came < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            return Piped::TimedOut;
        if (came == 0 || errno != EINTR) {
            close();
        } else if (wait) { // by a signal: the socket's own time-out would begin anew with every one
            if (!waitForBytes(timeoutUs))
                return Piped::TimedOut;
            wait = false;
        }
    }
    return Piped::Closed;
}

// False: no byte within the time. True: there is one, or recv() will tell what is wrong; interrupt() ends the
// connection, which ends this wait too.
bool Transport::waitForBytes(qint64 timeoutUs)
{
    SystemClock clock;
    const qint64 deadlineUs = clock.nowUs() + timeoutUs;
    pollfd wait = {socket_, POLLIN, 0};
    int ready = 0;
    do {
        const qint64 leftUs = deadlineUs - clock.nowUs();
        ready = poll(&wait, 1, leftUs > 0 ? static_cast<int>((leftUs + kUsPerMs - 1) / kUsPerMs) : 0);
    } while (ready < 0 && errno == EINTR);
    return ready != 0;
}

void Transport::close()
{
    const std::lock_guard<std::mutex> lock(socketMutex_);
    if (socket_ >= 0)
        ::close(socket_);
    socket_ = -1;
}

void Transport::interrupt()
{
    interrupted_ = true;
    const quint64 one = 1;
    const ssize_t written = ::write(wake_, &one, sizeof(one));
    static_cast<void>(written); // full means that it is readable already
    const std::lock_guard<std::mutex> lock(socketMutex_);
    if (socket_ >= 0)
        shutdown(socket_, SHUT_RDWR);
}

} // namespace fphost

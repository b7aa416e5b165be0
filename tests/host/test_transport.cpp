// The TCP connection against small local servers: time-outs, refusals, resets, half-open lines, slow drips.

#include "host/transport.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <string>
#include <thread>

using fphost::Piped;
using fphost::SystemClock;
using fphost::Transport;

namespace
{

constexpr qint64 kMs = 1000;

/// A listening socket on a free loopback port; the test is its server.
class Listener
{
public:
    explicit Listener(int family = AF_INET) : socket_(socket(family, SOCK_STREAM, 0))
    {
        sockaddr_in four{};
        four.sin_family = AF_INET;
        four.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        sockaddr_in6 six{};
        six.sin6_family = AF_INET6;
        six.sin6_addr = in6addr_loopback;
        const bool v4 = family == AF_INET;
        const auto *address = v4 ? reinterpret_cast<const sockaddr *>(&four) : reinterpret_cast<const sockaddr *>(&six);
        works_ = bind(socket_, address, v4 ? sizeof(four) : sizeof(six)) == 0 && listen(socket_, 1) == 0;
        sockaddr_storage bound{};
        socklen_t size = sizeof(bound);
        getsockname(socket_, reinterpret_cast<sockaddr *>(&bound), &size);
        port_ = ntohs(v4 ? reinterpret_cast<sockaddr_in *>(&bound)->sin_port
                         : reinterpret_cast<sockaddr_in6 *>(&bound)->sin6_port);
    }
    ~Listener() { close(); }

    bool works() const { return works_; }
    quint16 port() const { return port_; }
    int accept() { return ::accept(socket_, nullptr, nullptr); }
    void close()
    {
        if (socket_ >= 0)
            ::close(socket_);
        socket_ = -1;
    }

private:
    int socket_;
    bool works_ = false;
    quint16 port_ = 0;
};

Transport::Settings settingsFor(quint16 port, int replyTimeoutMs = 2000)
{
    Transport::Settings settings;
    settings.host = QStringLiteral("127.0.0.1");
    settings.port = port;
    settings.connectTimeoutMs = 2000;
    settings.replyTimeoutMs = replyTimeoutMs;
    return settings;
}

std::string text(const std::optional<QString> &error)
{
    return error ? error->toStdString() : std::string();
}

/// A connection and the server's end of it.
struct Connected {
    Listener listener;
    Transport transport;
    int peer = -1;

    explicit Connected(int replyTimeoutMs = 2000) : transport(settingsFor(listener.port(), replyTimeoutMs))
    {
        EXPECT_EQ(text(transport.open()), "");
        peer = listener.accept();
    }
    ~Connected() { closePeer(); }
    void closePeer()
    {
        if (peer >= 0)
            ::close(peer);
        peer = -1;
    }
    void resetPeer()
    {
        const linger now = {1, 0};
        setsockopt(peer, SOL_SOCKET, SO_LINGER, &now, sizeof(now));
        closePeer();
    }
    void say(const std::string &bytes)
    {
        EXPECT_EQ(::send(peer, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    }
    Piped hear(std::string *bytes, qint64 timeoutUs)
    {
        char buffer[64];
        int count = 0;
        const Piped piped = transport.receive(buffer, sizeof(buffer), &count, timeoutUs);
        *bytes = std::string(buffer, static_cast<std::size_t>(count));
        return piped;
    }
};

qint64 msOf(const std::function<void()> &what)
{
    SystemClock clock;
    const qint64 start = clock.nowUs();
    what();
    return (clock.nowUs() - start) / kMs;
}

} // namespace

TEST(Transport, SendsAndReceives)
{
    Connected line;
    EXPECT_TRUE(line.transport.isOpen());
    EXPECT_TRUE(line.transport.send("%01#RT**\r", 9));
    char heard[9];
    ASSERT_EQ(recv(line.peer, heard, sizeof(heard), MSG_WAITALL), 9);
    EXPECT_EQ(std::string(heard, 9), "%01#RT**\r");
    line.say("%01$RT");
    std::string bytes;
    EXPECT_EQ(line.hear(&bytes, 2000 * kMs), Piped::Bytes);
    EXPECT_EQ(bytes, "%01$RT");
}

TEST(Transport, SendsMoreThanTheSystemTakesAtOnce)
{
    Connected line;
    const int kMany = 8 * 1000 * 1000;
    std::size_t heard = 0;
    std::thread reader([&line, &heard] {
        char buffer[65536];
        for (ssize_t came = 0; (came = recv(line.peer, buffer, sizeof(buffer), 0)) > 0;)
            heard += static_cast<std::size_t>(came);
    });
    const std::string much(static_cast<std::size_t>(kMany), 'x');
    EXPECT_TRUE(line.transport.send(much.data(), kMany));
    line.transport.close();
    reader.join();
    EXPECT_EQ(heard, static_cast<std::size_t>(kMany));
}

TEST(Transport, ASendThatNobodyTakesEndsWithinTheTimeOut)
{
    Connected line(100);
    const std::string much(64 * 1000 * 1000, 'x');
    bool sent = true;
    EXPECT_LT(msOf([&] { sent = line.transport.send(much.data(), static_cast<int>(much.size())); }), 1500);
    EXPECT_FALSE(sent);
    EXPECT_FALSE(line.transport.isOpen());
}

TEST(Transport, TimesOutWithTheSocketsOwnTimeOut)
{
    Connected line(100);
    std::string bytes;
    const qint64 took = msOf([&] { EXPECT_EQ(line.hear(&bytes, 100 * kMs), Piped::TimedOut); });
    EXPECT_GE(took, 90);
    EXPECT_LT(took, 1000);
    EXPECT_EQ(bytes, "");
    EXPECT_TRUE(line.transport.isOpen());
}

TEST(Transport, TimesOutWithAnyOtherTimeOut)
{
    Connected line(5000);
    std::string bytes;
    const qint64 took = msOf([&] { EXPECT_EQ(line.hear(&bytes, 60 * kMs), Piped::TimedOut); });
    EXPECT_GE(took, 55);
    EXPECT_LT(took, 1000);
    line.say("x");
    EXPECT_EQ(line.hear(&bytes, 1000 * kMs), Piped::Bytes);
    EXPECT_EQ(bytes, "x");
}

TEST(Transport, WithoutATimeTakesOnlyWhatIsThere)
{
    Connected line(5000);
    std::string bytes;
    EXPECT_LT(msOf([&] { EXPECT_EQ(line.hear(&bytes, 0), Piped::TimedOut); }), 1000);
    line.say("ab");
    EXPECT_EQ(line.hear(&bytes, 1000 * kMs), Piped::Bytes);
    EXPECT_EQ(line.hear(&bytes, 0), Piped::TimedOut);
}

TEST(Transport, GivesNoMoreThanThereIsRoomFor)
{
    Connected line;
    line.say("abcdef");
    char three[3];
    int count = 0;
    EXPECT_EQ(line.transport.receive(three, 3, &count, 2000 * kMs), Piped::Bytes);
    EXPECT_EQ(std::string(three, 3), "abc");
    EXPECT_EQ(count, 3);
    EXPECT_EQ(line.transport.receive(three, 3, &count, 2000 * kMs), Piped::Bytes);
    EXPECT_EQ(std::string(three, 3), "def");
}

TEST(Transport, ASlowDripComesPieceByPiece)
{
    Connected line(5000);
    std::string all;
    for (const char *drop : {"%", "01", "$", "WC14\r"}) {
        line.say(drop);
        std::string bytes;
        ASSERT_EQ(line.hear(&bytes, 4000 * kMs), Piped::Bytes);
        all += bytes;
    }
    EXPECT_EQ(all, "%01$WC14\r");
}

TEST(Transport, NoticesThatTheOtherSideHasClosed)
{
    Connected line;
    line.closePeer();
    std::string bytes;
    EXPECT_EQ(line.hear(&bytes, 2000 * kMs), Piped::Closed);
    EXPECT_FALSE(line.transport.isOpen());
    EXPECT_EQ(line.hear(&bytes, 2000 * kMs), Piped::Closed);
    EXPECT_FALSE(line.transport.send("x", 1));
}

TEST(Transport, NoticesAClosedConnectionWithoutWaiting)
{
    Connected line;
    line.closePeer();
    std::string bytes;
    Piped piped = Piped::TimedOut;
    for (int i = 0; i < 1000 && piped == Piped::TimedOut; ++i) { // until the FIN has crossed the loopback
        piped = line.hear(&bytes, 0);
        std::this_thread::yield();
    }
    EXPECT_EQ(piped, Piped::Closed);
}

TEST(Transport, DeliversWhatCameBeforeTheEnd)
{
    Connected line;
    line.say("last");
    line.closePeer();
    std::string bytes;
    EXPECT_EQ(line.hear(&bytes, 2000 * kMs), Piped::Bytes);
    EXPECT_EQ(bytes, "last");
    EXPECT_EQ(line.hear(&bytes, 2000 * kMs), Piped::Closed);
}

TEST(Transport, NoticesAReset)
{
    Connected line;
    line.resetPeer();
    std::string bytes;
    EXPECT_EQ(line.hear(&bytes, 2000 * kMs), Piped::Closed);
    EXPECT_FALSE(line.transport.isOpen());
}

TEST(Transport, AResetWhileSendingIsAFalseAndNoSignal)
{
    Connected line;
    line.resetPeer();
    bool sent = true;
    for (int i = 0; i < 1000 && sent; ++i)
        sent = line.transport.send("x", 1);
    EXPECT_FALSE(sent);
}

TEST(Transport, SaysThatTheConnectionWasRefused)
{
    Listener listener;
    const quint16 port = listener.port();
    listener.close();
    Transport transport(settingsFor(port));
    EXPECT_EQ(text(transport.open()), "cannot connect to 127.0.0.1:" + std::to_string(port) + ": Connection refused");
    EXPECT_FALSE(transport.isOpen());
}

TEST(Transport, GivesUpAConnectionThatNobodyAnswers)
{
    // A listener whose queue is full lets further connections wait.
    Listener listener;
    Transport::Settings settings = settingsFor(listener.port());
    std::vector<std::unique_ptr<Transport>> queue;
    settings.connectTimeoutMs = 150;
    std::string error;
    qint64 took = 0;
    for (int i = 0; i < 10 && error.empty(); ++i) {
        queue.push_back(std::make_unique<Transport>(settings));
        took = msOf([&] { error = text(queue.back()->open()); });
    }
    EXPECT_EQ(error, "cannot connect to 127.0.0.1:" + std::to_string(settings.port) + ": Connection timed out");
    EXPECT_GE(took, 140);
    EXPECT_LT(took, 1500);
}

TEST(Transport, NamesAHostThatIsNotKnown)
{
    Transport::Settings settings = settingsFor(9094);
    settings.host = QStringLiteral("no host of this name");
    Transport transport(settings);
    const std::string error = text(transport.open());
    EXPECT_EQ(error.find("cannot connect to no host of this name:9094: "), 0u) << error;
}

TEST(Transport, ConnectsByHostName)
{
    Listener listener;
    Transport::Settings settings = settingsFor(listener.port());
    settings.host = QStringLiteral("localhost");
    Transport transport(settings);
    EXPECT_EQ(text(transport.open()), "");
}

TEST(Transport, ConnectsToAnIPv6Address)
{
    Listener listener(AF_INET6);
    if (!listener.works())
        GTEST_SKIP() << "this machine has no IPv6 loopback";
    Transport::Settings settings = settingsFor(listener.port());
    settings.host = QStringLiteral("::1");
    Transport transport(settings);
    EXPECT_EQ(text(transport.open()), "");
    listener.close();
    EXPECT_EQ(text(transport.open()),
              "cannot connect to [::1]:" + std::to_string(settings.port) + ": Connection refused");
}

TEST(Transport, AFreshConnectionNeverShowsBytesOfTheOldOne)
{
    Connected line;
    line.say("late reply");
    EXPECT_EQ(text(line.transport.open()), "");
    line.closePeer();
    line.peer = line.listener.accept();
    line.say("new");
    std::string bytes;
    EXPECT_EQ(line.hear(&bytes, 2000 * kMs), Piped::Bytes);
    EXPECT_EQ(bytes, "new");
}

TEST(Transport, InterruptEndsAWaitForBytes)
{
    Connected line(20000);
    std::thread other([&line] { line.transport.interrupt(); });
    std::string bytes;
    EXPECT_LT(msOf([&] { EXPECT_EQ(line.hear(&bytes, 20000 * kMs), Piped::Closed); }), 10000);
    other.join();
    EXPECT_EQ(text(line.transport.open()),
              "cannot connect to 127.0.0.1:" + std::to_string(line.listener.port()) + ": stopped");
}

TEST(Transport, InterruptEndsAWaitWithAnotherTimeOut)
{
    Connected line(5);
    std::thread other([&line] { line.transport.interrupt(); });
    std::string bytes;
    EXPECT_LT(msOf([&] { EXPECT_EQ(line.hear(&bytes, 20000 * kMs), Piped::Closed); }), 10000);
    other.join();
}

TEST(Transport, InterruptEndsAnAttemptToConnect)
{
    Listener listener;
    Transport::Settings settings = settingsFor(listener.port());
    std::vector<std::unique_ptr<Transport>> queue;
    settings.connectTimeoutMs = 100;
    for (int i = 0; i < 10; ++i) { // fills the listener's queue
        queue.push_back(std::make_unique<Transport>(settings));
        if (queue.back()->open())
            break;
    }
    settings.connectTimeoutMs = 20000;
    Transport transport(settings);
    std::thread other([&transport] { transport.interrupt(); });
    EXPECT_LT(msOf([&] { EXPECT_NE(text(transport.open()), ""); }), 10000);
    other.join();
}

namespace
{
void ignoreSignal(int) {}
} // namespace

TEST(Transport, SignalsDoNotStretchAWait)
{
    struct sigaction action {
    };
    action.sa_handler = &ignoreSignal;
    struct sigaction before {
    };
    sigaction(SIGUSR1, &action, &before);
    Connected line(200);
    std::atomic<bool> done{false};
    const pthread_t waiter = pthread_self();
    std::thread other([&done, waiter] {
        while (!done) {
            pthread_kill(waiter, SIGUSR1);
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    });
    std::string bytes;
    EXPECT_LT(msOf([&] { EXPECT_EQ(line.hear(&bytes, 200 * kMs), Piped::TimedOut); }), 1500);
    done = true;
    other.join();
    sigaction(SIGUSR1, &before, nullptr);
}

// The server over real sockets, with and without a QCoreApplication.

#include "wire.h"

#include "plcsim/server.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QThread>
#include <QtNetwork/QNetworkProxy>
#include <QtNetwork/QTcpSocket>

#include <thread>
#include <vector>

using namespace plcsim;

namespace
{

constexpr int kPatienceMs = 5000; // for what must come
constexpr int kSilenceMs = 100;   // for what must not

struct Served {
    Served()
    {
        plc->addStation("01", 1);
        plc->setWord("01", Area::DT, 0, 5);
        plc->setWord("01", Area::DT, 1, 10);
        server.listen(QHostAddress::LocalHost, 0, 0);
    }
    std::shared_ptr<Simulator> plc = std::make_shared<Simulator>();
    Server server{plc};
};

class Host
{
public:
    explicit Host(quint16 port)
    {
        socket_.setProxy(QNetworkProxy::NoProxy);
        socket_.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
        EXPECT_TRUE(socket_.waitForConnected(kPatienceMs));
    }
    void send(const QByteArray &bytes)
    {
        socket_.write(bytes);
        EXPECT_TRUE(socket_.waitForBytesWritten(kPatienceMs));
    }
    std::string receive(int size)
    {
        QElapsedTimer timer;
        timer.start();
        while (socket_.bytesAvailable() < size && timer.elapsed() < kPatienceMs)
            socket_.waitForReadyRead(kSilenceMs);
        return socket_.read(size).toStdString();
    }
    std::string ask(const QByteArray &request, int size)
    {
        send(request);
        return receive(size);
    }
    bool silent() { return socket_.bytesAvailable() == 0 && !socket_.waitForReadyRead(kSilenceMs); }
    bool connected() const { return socket_.state() == QAbstractSocket::ConnectedState; }
    QAbstractSocket::SocketError error() const { return socket_.error(); }
    bool closedByPeer()
    {
        return socket_.state() == QAbstractSocket::UnconnectedState || socket_.waitForDisconnected(kPatienceMs);
    }

private:
    QTcpSocket socket_;
};

const char kRead[] = "%01#RDD0000000001**\r";
const char kReply[] = "%01$RD05000A0062\r";
const QByteArray kWriteRecord("\x18\0\0\x01\x01\0\x0A\0\0\0\x64\0\x01\0\0\0\0\0\0\0\0\x34\x12\xCF", 24);

} // namespace

TEST(Server, AnswersFramesAndRecordsWithoutAnApplicationObject)
{
    ASSERT_EQ(QCoreApplication::instance(), nullptr);
    Served served;
    EXPECT_EQ(Host(served.server.port()).ask(kRead, 17), kReply);
    EXPECT_EQ(Host(served.server.remotePort()).ask(kWriteRecord, 9), "%01$WD13\r");
    EXPECT_EQ(served.plc->word("01", Area::DT, 100), 0x1234);
}

TEST(Server, AnswersWhileAnApplicationObjectExistsWhoseLoopDoesNotRun)
{
    int argc = 1;
    char name[] = "test";
    char *argv[] = {name, nullptr};
    const QCoreApplication application(argc, argv);
    Served served;
    EXPECT_EQ(Host(served.server.port()).ask(kRead, 17), kReply);
    EXPECT_EQ(Host(served.server.remotePort()).ask(kWriteRecord, 9), "%01$WD13\r");
}

TEST(Server, MayBeUsedFromAnyThread)
{
    std::string reply;
    std::thread caller([&reply] {
        Served served;
        reply = Host(served.server.port()).ask(kRead, 17);
        served.server.close();
    });
    caller.join();
    EXPECT_EQ(reply, kReply);
}

TEST(Server, TakesRequestsInPieces)
{
    Served served;
    Host host(served.server.port());
    const QByteArray request(kRead);
    for (int i = 0; i < request.size(); ++i) {
        host.send(request.mid(i, 1));
        QThread::msleep(1);
    }
    EXPECT_EQ(host.receive(17), kReply);
    EXPECT_TRUE(host.silent());
}

TEST(Server, AnswersTheSecondOfTwoGluedRequestsWithAProcedureError)
{
    Served served;
    Host host(served.server.port());
    EXPECT_EQ(host.ask(QByteArray(kRead) + kRead, 26), std::string(kReply) + "%01!4302\r");
}

TEST(Server, SaysNothingForBroadcastsAndAbsentStations)
{
    Served served;
    Host host(served.server.port());
    host.send("%FF#WDD00000000000700**\r");
    host.send("%09#RDD0000000000**\r");
    EXPECT_TRUE(host.silent());
    EXPECT_EQ(served.plc->word("01", Area::DT, 0), 7);
    EXPECT_EQ(host.ask("%01#RDD0000000000**\r", 13), "%01$RD070011\r");
}

TEST(Server, ServesManyConnectionsAtOnce)
{
    Served served;
    std::vector<std::thread> hosts;
    std::atomic<int> good{0};
    for (int i = 0; i < 8; ++i) {
        hosts.emplace_back([&served, &good] {
            Host host(served.server.port());
            for (int n = 0; n < 100; ++n)
                good += host.ask(kRead, 17) == kReply ? 1 : 0;
        });
    }
    for (std::thread &host : hosts)
        host.join();
    EXPECT_EQ(good, 800);
}

TEST(Server, CountsItsConnections)
{
    Served served;
    EXPECT_EQ(served.server.connections(), 0);
    {
        Host frames(served.server.port());
        Host records(served.server.remotePort());
        frames.ask(kRead, 17);
        records.ask(kWriteRecord, 9);
        EXPECT_EQ(served.server.connections(), 2);
    }
    for (int i = 0; i < 100 && served.server.connections() > 0; ++i)
        QThread::msleep(20);
    EXPECT_EQ(served.server.connections(), 0);
}

TEST(Server, Serves128ConnectionsAndClosesTheNext)
{
    Served served;
    std::vector<std::unique_ptr<Host>> hosts;
    for (int i = 0; i < 128; ++i) {
        hosts.push_back(std::make_unique<Host>(served.server.port()));
        ASSERT_EQ(hosts.back()->ask(kRead, 17), kReply) << i;
    }
    Host surplus(served.server.port());
    EXPECT_TRUE(surplus.closedByPeer());
    EXPECT_EQ(hosts.front()->ask(kRead, 17), kReply);
    EXPECT_EQ(served.server.connections(), 128);
}

TEST(Server, SendsBigReplies)
{
    Served served;
    StationSettings settings;
    settings.words = AreaSizes::largest();
    settings.frameLimit = 400009;
    served.plc->setSettings("01", settings);
    Host host(served.server.port());
    EXPECT_EQ(host.ask("%01#RDD0000099999**\r", 400009).size(), 400009U);
}

TEST(Server, MovesTheValuesInRealTime)
{
    Served served;
    served.server.setTickMs(1);
    Movement counter;
    counter.shape = Movement::Shape::Counter;
    counter.number = 50;
    counter.periodMs = 10;
    served.plc->addMovement("01", counter);
    QElapsedTimer timer;
    timer.start();
    const auto steps = [&served] { return int(served.plc->word("01", Area::DT, 50).value()); };
    while (steps() < 30 && timer.elapsed() < kPatienceMs)
        QThread::msleep(5);
    EXPECT_GE(steps(), 30);
    EXPECT_GE(timer.elapsed(), 150); // 300 by the clock, less a tick that was under way when the movement came
}

TEST(Server, PortInUseIsToldAndNothingStaysOpen)
{
    Served served;
    auto plc = std::make_shared<Simulator>();
    Server other(plc);
    const quint16 taken = served.server.remotePort();
    EXPECT_EQ(other.listen(QHostAddress::LocalHost, taken, 0),
              QStringLiteral("cannot listen on 127.0.0.1 port %1: The bound address is already in use").arg(taken));
    EXPECT_EQ(other.port(), 0);
    EXPECT_NE(other.listen(QHostAddress::LocalHost, 0, taken), std::nullopt);
    EXPECT_EQ(other.port(), 0);
    EXPECT_EQ(other.remotePort(), 0);
    EXPECT_EQ(other.listen(QHostAddress::LocalHost, 0, 0), std::nullopt);
    EXPECT_NE(other.port(), 0);
}

TEST(Server, ListensOnceAtATime)
{
    Served served;
    const quint16 port = served.server.port();
    EXPECT_EQ(served.server.listen(QHostAddress::LocalHost, 0, 0), QStringLiteral("the server listens already"));
    EXPECT_EQ(served.server.port(), port);
}

TEST(Server, CloseEndsConnectionsAndListenMayFollow)
{
    Served served;
    Host host(served.server.port());
    EXPECT_EQ(host.ask(kRead, 17), kReply);
    QElapsedTimer timer;
    timer.start();
    served.server.close();
    EXPECT_LT(timer.elapsed(), kPatienceMs);
    EXPECT_TRUE(host.closedByPeer());
    EXPECT_EQ(served.server.port(), 0);
    EXPECT_EQ(served.server.remotePort(), 0);
    served.server.close();
    EXPECT_EQ(served.server.listen(QHostAddress::LocalHost, 0, 0), std::nullopt);
    EXPECT_EQ(Host(served.server.port()).ask(kRead, 17), kReply);
}

TEST(Server, HostThatTakesNothingDoesNotHoldUpTheOthers)
{
    Served served;
    StationSettings settings;
    settings.words = AreaSizes::largest();
    settings.frameLimit = 400009;
    served.plc->setSettings("01", settings);
    Host lazy(served.server.port());
    for (int i = 0; i < 50; ++i)
        lazy.send("%01#RDD0000099999**\r");
    EXPECT_EQ(Host(served.server.port()).ask(kRead, 17), kReply);
}

namespace
{
void plan(const Served &served, const char *text)
{
    const std::optional<FaultPlan> parsed = FaultPlan::parse(text);
    ASSERT_TRUE(parsed.has_value());
    ASSERT_TRUE(served.plc->setFaultPlan("01", *parsed));
}
} // namespace

TEST(ServerFaults, DelayAndDripTakeRealTime)
{
    Served served;
    plan(served, "delay 100; drip 10");
    Host host(served.server.port());
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(host.ask(kRead, 17), kReply);
    EXPECT_GE(timer.elapsed(), 250); // 100 and sixteen times 10, less what rounding to milliseconds takes away
}

TEST(ServerFaults, DelayedAnswerLetsTheNextRequestComeTooSoon)
{
    Served served;
    plan(served, "delay 1000");
    Host host(served.server.port());
    host.send(kRead);
    QThread::msleep(100);
    host.send(kRead);
    EXPECT_EQ(host.receive(26), std::string(kReply) + "%01!4302\r");
}

TEST(ServerFaults, DroppedAnswerNeverComes)
{
    Served served;
    plan(served, "drop");
    Host host(served.server.port());
    host.send(kRead);
    EXPECT_TRUE(host.silent());
    plan(served, "");
    EXPECT_EQ(host.ask(kRead, 17), kReply);
}

TEST(ServerFaults, SplitAnswerArrivesWhole)
{
    Served served;
    plan(served, "split");
    Host host(served.server.port());
    EXPECT_EQ(host.ask(kRead, 17), kReply);
    EXPECT_EQ(host.ask(kRead, 17), kReply);
}

TEST(ServerFaults, ResetIsSeenAsAResetAndANewConnectionIsServed)
{
    Served served;
    plan(served, "reset");
    Host host(served.server.port());
    host.send(kRead);
    EXPECT_TRUE(host.closedByPeer());
    EXPECT_EQ(host.error(), QAbstractSocket::RemoteHostClosedError); // Qt's name for ECONNRESET
    plan(served, "");
    EXPECT_EQ(Host(served.server.port()).ask(kRead, 17), kReply);
}

TEST(ServerFaults, HalfOpenConnectionStandsButIsSilentAndANewOneIsServed)
{
    Served served;
    plan(served, "half-open");
    Host host(served.server.port());
    host.send(kRead);
    EXPECT_TRUE(host.silent());
    plan(served, "");
    host.send(kRead);
    EXPECT_TRUE(host.silent());
    EXPECT_TRUE(host.connected());
    EXPECT_EQ(Host(served.server.port()).ask(kRead, 17), kReply);
}

TEST(ServerFaults, CloseDoesNotWaitForAnswersThatAreDueLater)
{
    Served served;
    plan(served, "delay 3600000");
    Host host(served.server.port());
    host.send(kRead);
    QThread::msleep(50);
    QElapsedTimer timer;
    timer.start();
    served.server.close();
    EXPECT_LT(timer.elapsed(), kPatienceMs);
}

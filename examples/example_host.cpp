// example_host.cpp - the smallest host of the driver: one polling cycle and one write over a plain socket.
//
//   example_host 127.0.0.1 9094
//
//  - Reads DT0 to DT3, R10F and T5 of station 1 until a whole cycle is answered, prints them, and writes 4660 to DT20.
//  - Exit code 0: all done; 1: an exchange failed; 2: bad call, or nobody listens there.

#include <matsushita_tcpip_net.h>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cstdio>
#include <cstdlib>

static const int kTimeoutSeconds = 2, kLongestReply = 2048;

static void readFinished(qint32, qint32, qint32, qint32) {} // tells of one-shot reads; here are none
static void requestAbandoned(QList<RW_VAR> *, qint32, qint32) {}

static int connectTo(const char *address, const char *port)
{
    sockaddr_in plc = sockaddr_in();
    plc.sin_family = AF_INET;
    plc.sin_port = htons(static_cast<unsigned short>(std::atoi(port)));
    const timeval timeout = {kTimeoutSeconds, 0};
    const int line = socket(AF_INET, SOCK_STREAM, 0);
    const bool connected = inet_pton(AF_INET, address, &plc.sin_addr) == 1 &&
                           setsockopt(line, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout) == 0 &&
                           connect(line, reinterpret_cast<sockaddr *>(&plc), sizeof plc) == 0;
    return connected ? line : -1;
}

static QByteArray receive(int line, int replyLen)
{
    char bytes[kLongestReply];
    QByteArray reply;
    const int wanted = replyLen < 0 ? kLongestReply : replyLen;
    while (sizeOf(reply) < wanted && !reply.endsWith('\r')) { // the CR of an error response comes early
        const ssize_t came = recv(line, bytes, sizeof bytes, 0);
        if (came <= 0)
            break; // too late, or the connection is gone
        reply.append(bytes, int(came));
    }
    return reply;
}

// Sends the driver's next frame and hands the reply in; false when there was none to send or the exchange failed.
static bool exchange(int line)
{
    const Protocol *request = ComCommunication();
    if (!request || send(line, request->frame.constData(), size_t(request->frameLen), MSG_NOSIGNAL) < 0)
        return false;
    std::printf("%.*s\n", request->frameLen - 1, request->frame.constData()); // all but the CR
    QByteArray reply = receive(line, request->replyLen);
    std::printf("    %.*s\n", sizeOf(reply) - 1, reply.constData());
    // To the driver every well-formed reply to a write is good; its fourth character tells a refusal.
    return DataCom(&reply, sizeOf(reply))->result == 1 && reply.at(3) != '!';
}

static HostReadItem item(AreaKind kind, const char *address, int count)
{
    HostReadItem wanted;
    wanted.areaKind = quint8(kind);
    wanted.addrText = QLatin1String(address);
    wanted.count = count;
    return wanted;
}

static void show(const char *title, AreaKind kind, const char *address, int count)
{
    QString text = QLatin1String(address);
    QByteArray value; // one byte per bit, two per word, low byte first
    GetRegisterData(nullptr, kind, &text, 1, &value, count);
    std::printf("%s:", title);
    for (int i = 0; i < sizeOf(value); ++i)
        std::printf(" %02x", unsigned(value.at(i)) & 0xFF);
    std::printf("\n");
}

int main(int argc, char **argv)
{
    const int line = argc == 3 ? connectTo(argv[1], argv[2]) : -1;
    if (line < 0) {
        std::fprintf(stderr, "example_host ADDRESS PORT: nobody listens there, or they are missing\n");
        return 2;
    }
    static ComInfo settings; // lent to the driver, so it outlives every call
    settings.defaultStation = 1;
    settings.hostMode = 2; // SetRegisterData writes to the PLC
    settings.maxWordsPerWrite = 16;
    SetComInfo(&settings);
    RegistCallBackFuncIntf(readFinished, requestAbandoned);

    QList<HostReadItem> items;
    items.append(item(KindDT, "0", 4));
    items.append(item(KindR, "10F", 1));
    items.append(item(KindT, "5", 1));
    ReCreatReadVarList(&items);
    while (settings.cycleDone == 0)
        if (!exchange(line))
            return 1;
    show("DT0 to DT3", KindDT, "0", 4);
    show("R10F", KindR, "10F", 1);
    show("T5", KindT, "5", 1);

    QString address = QLatin1String("20");
    QByteArray value("\x34\x12", 2);
    SetRegisterData(nullptr, KindDT, &address, 1, &value, 1, 1, 0); // the next frame is the write's
    return exchange(line) ? 0 : 1;
}

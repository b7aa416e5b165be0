// server_main.cpp - see server_process.h: prints its two ports on one line, serves until its standard input ends.

#include "fixed_answers.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <thread>
#include <vector>

namespace
{

/// Listens on a free loopback port, which goes into \a port. \return the socket, or below 0.
int listening(int &port)
{
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto *any = reinterpret_cast<sockaddr *>(&address);
    if (listener < 0 || bind(listener, any, size) != 0 || listen(listener, 8) != 0 ||
        getsockname(listener, any, &size) != 0)
        return -1;
    port = ntohs(address.sin_port);
    return listener;
}

bool sendAll(int connection, const char *bytes, std::size_t size)
{
    return send(connection, bytes, size, MSG_NOSIGNAL) == ssize_t(size); // far below the socket's buffer
}

/// Requests end with CR.
void servePlc(int connection)
{
    FixedAnswers answers;
    std::string pending;
    char chunk[4096];
    for (ssize_t got; (got = recv(connection, chunk, sizeof chunk, 0)) > 0;) {
        pending.append(chunk, std::size_t(got));
        for (std::size_t end; (end = pending.find('\r')) != std::string::npos; pending.erase(0, end + 1)) {
            const std::string &reply = answers.answer(pending.substr(0, end + 1));
            if (!sendAll(connection, reply.data(), reply.size()))
                return;
        }
    }
}

/// Every word as Modbus sends it, high byte first.
std::vector<unsigned char> registerImage()
{
    std::vector<unsigned char> image;
    for (int n = 0; n < 0x10000; ++n) {
        image.push_back(static_cast<unsigned char>(FixedAnswers::word(n) >> 8));
        image.push_back(static_cast<unsigned char>(FixedAnswers::word(n) & 255));
    }
    return image;
}

const std::size_t kModbusRequest = 12; // transaction 2, protocol 2, length 2, unit, function, first 2, count 2
const std::size_t kModbusHead = 9;     // of the reply: the same up to the function, then the number of data bytes
const std::size_t kMaxRegisters = 125;

/// Reads of holding registers, whole requests only.
void serveModbus(int connection)
{
    const std::vector<unsigned char> image = registerImage();
    unsigned char request[kModbusRequest];
    while (recv(connection, request, sizeof request, MSG_WAITALL) == ssize_t(sizeof request)) {
        const std::size_t first = std::size_t(request[8] << 8 | request[9]);
        const std::size_t count = std::size_t(request[10] << 8 | request[11]);
        if (count > kMaxRegisters || 2 * (first + count) > image.size())
            return;
        char reply[kModbusHead + 2 * kMaxRegisters];
        std::memcpy(reply, request, 8);
        reply[4] = 0;
        reply[5] = char(3 + 2 * count);
        reply[8] = char(2 * count);
        std::memcpy(reply + kModbusHead, &image[2 * first], 2 * count);
        if (!sendAll(connection, reply, kModbusHead + 2 * count))
            return;
    }
}

void acceptFor(int listener, void (*serve)(int))
{
    for (int connection; (connection = accept(listener, nullptr, nullptr)) >= 0;) {
        const int on = 1;
        setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        std::thread([=] {
            try {
                serve(connection);
            } catch (const std::exception &e) { // a request that it does not know: the client sees the connection end
                std::fprintf(stderr, "benchmark server: %s\n", e.what());
            }
            close(connection);
        }).detach();
    }
}

} // namespace

int main()
{
    int plcPort = 0;
    int modbusPort = 0;
    const int plc = listening(plcPort);
    const int modbus = listening(modbusPort);
    if (plc < 0 || modbus < 0) {
        std::perror("benchmark server: listen");
        return 1;
    }
    std::thread(acceptFor, plc, servePlc).detach();
    std::thread(acceptFor, modbus, serveModbus).detach();
    std::printf("%d %d\n", plcPort, modbusPort);
    std::fflush(stdout);
    while (std::getchar() != EOF) {
    }
    std::fflush(stdout);
    _exit(0); // the connections' threads wait in the kernel
}

// tcp_main.cpp - exchanges over TCP loopback, client and server on one core, side by side.
//
//  - Every round gives each client the same time, one after another, each with a connection of its own; what the
//    machine does meanwhile touches all of them.
//  - Prints one line per round and client: "round", client, exchanges per second, microseconds of the client's
//    processor time per exchange; and one line per way to sweep: "sweep", client, frames, bytes. Parted by tabs.

#include "driver_exchanges.h"
#include "fixed_answers.h"
#include "readers.h"
#include "scenario.h"
#include "server_process.h"

#include "host/runtime.h"

#include <QtCore/QCoreApplication>

#include <sched.h>
#include <time.h>

#include <chrono>
#include <cstdio>
#include <thread>

namespace
{

const int kRounds = 51;
const auto kStretchTime = std::chrono::milliseconds(40);
const long kWarmUp = 50;
const std::size_t kModbusBytesPerTag = 12 + 11; // request and reply of one register

/// This process, and those that it starts, run on one core from now on.
void stayOnOneCore()
{
    cpu_set_t all;
    require(sched_getaffinity(0, sizeof all, &all) == 0, "no affinity");
    int core = 0;
    while (!CPU_ISSET(core, &all))
        ++core;
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(core, &one);
    require(sched_setaffinity(0, sizeof one, &one) == 0, "cannot stay on one core");
}

double cpuMicros(clockid_t clock)
{
    timespec used{};
    clock_gettime(clock, &used);
    return double(used.tv_sec) * 1e6 + double(used.tv_nsec) / 1e3;
}

/// A client's turn in a round; measures from its making on.
class Stretch
{
public:
    explicit Stretch(const ServerProcess &server) : m_serverClock(server.cpuClock()) {}

    double seconds() const { return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count(); }
    bool isOver() const { return std::chrono::steady_clock::now() - m_start >= kStretchTime; }

    /// \param done  exchanges, or sweeps, since the start
    void print(const char *client, double done) const
    {
        const double rate = done / seconds();
        const double ours = cpuMicros(CLOCK_PROCESS_CPUTIME_ID) - m_ours;
        const double servers = cpuMicros(m_serverClock) - m_servers;
        std::printf("round\t%s\t%.1f\t%.3f\t%.3f\n", client, rate, ours / done, (ours + servers) / done);
        std::fflush(stdout);
    }

private:
    const clockid_t m_serverClock;
    const std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    const double m_ours = cpuMicros(CLOCK_PROCESS_CPUTIME_ID);
    const double m_servers = cpuMicros(m_serverClock);
};

/// A client that is driven from here. \param reads  that make one exchange or sweep
void turn(const char *client, const ServerProcess &server, Reader &reader, long reads)
{
    const long atOnce = reads == 1 ? 20 : 1;
    reader.read(kWarmUp);
    const Stretch stretch(server);
    long done = 0;
    for (; !stretch.isOver(); done += atOnce)
        reader.read(atOnce * reads);
    stretch.print(client, double(done));
}

/// The host with the driver polls by itself. \param frames  that make one exchange or sweep
void hostTurn(const char *client, const ServerProcess &server, const std::vector<fphost::Span> &polled, long frames)
{
    fphost::RuntimeSettings settings;
    settings.library = QStringLiteral(FP_DRIVER_LIBRARY);
    settings.link.port = quint16(server.plcPort());
    fphost::Runtime runtime(settings);
    if (const auto error = runtime.open())
        throw std::runtime_error(error->toStdString());
    require(!runtime.setPolling(polled), "this cannot be polled");
    runtime.start();
    const auto good = [&runtime] { return long(runtime.counters()[fphost::Count::Good]); };
    for (int waits = 0; good() < kWarmUp + frames; ++waits) { // one time around, then all values are there
        require(waits < 10000, "the host does not start");
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }

    const Stretch stretch(server);
    const long before = good();
    std::this_thread::sleep_for(kStretchTime);
    stretch.print(client, double(good() - before) / double(frames));
    require(runtime.counters()[fphost::Count::Failures] == 0, "an exchange failed"); // stopping may cost the last one
    runtime.stop();
    for (const fphost::Span &span : polled) {
        const QByteArray values = runtime.values(span);
        const int last = FixedAnswers::word(span.first + span.count - 1);
        require(quint8(values[2 * span.count - 2]) == (last & 255) && quint8(values[2 * span.count - 1]) == last >> 8,
                "a wrong value");
    }
}

/// The requests of one sweep, and what it carries over the line.
struct DriverSweep {
    long frames;
    long bytes;
};

DriverSweep driverSweep()
{
    LoadedDriver driver(LoadedDriver::SingleStation);
    QList<HostReadItem> items = scatteredTags();
    const PollingCycle sweep(driver, driver.api.ReCreatReadVarList(&items));
    require(sweep.entries() == driver.object.lst_PollingReadVar.size(), "the cycle is not one sweep");
    return {sweep.frames(), sweep.bytes()};
}

std::vector<fphost::Span> scatteredSpans()
{
    std::vector<fphost::Span> spans;
    for (const int number : scatteredTagNumbers())
        spans.push_back({KindDT, number, 1, 1});
    return spans;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    try {
        stayOnOneCore();
        const ServerProcess server;
        const std::vector<fphost::Span> tags = scatteredSpans();
        const DriverSweep sweep = driverSweep();
        std::printf("sweep\tsweep, host + driver\t%ld\t%ld\t0\n", sweep.frames, sweep.bytes);
        std::printf("sweep\tsweep, libmodbus, one read per tag\t%zu\t%zu\t0\n", tags.size(),
                    tags.size() * kModbusBytesPerTag);
        const auto raw = rawReader(server.plcPort());
        const auto modbus = libmodbusReader(server.modbusPort(), kReaderWords);
        const auto qtModbus = qtModbusReader(server.modbusPort());
        const auto tagByTag = libmodbusReader(server.modbusPort(), 1);
        for (int i = 0; i < kRounds; ++i) {
            turn("raw socket loop", server, *raw, 1);
            hostTurn("host + driver", server, {{KindDT, 0, kReaderWords, 1}}, 1);
            turn("libmodbus", server, *modbus, 1);
            turn("QModbusTcpClient", server, *qtModbus, 1);
            hostTurn("sweep, host + driver", server, tags, sweep.frames);
            turn("sweep, libmodbus, one read per tag", server, *tagByTag, long(tags.size()));
        }
    } catch (const std::exception &e) {
        std::fprintf(stderr, "tcp: %s\n", e.what());
        return 1;
    }
    return 0;
}

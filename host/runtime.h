// runtime.h - the reference host: driver library, connection and communication thread in one object.
//
//  - Set-up: open(), the polling list, setObservers(), start(). Then any thread reads and writes values until stop().
//  - Nothing here decides how frames are exchanged; that is the exchanger's. Nothing here knows the protocol.
//  - The driver library has one driver object, so there is one open Runtime per process at a time.
//
// Example, reading DT100 to DT107 cyclically and writing DT200:
//
//     fphost::RuntimeSettings settings;
//     settings.library = "/usr/lib/libMatsushita_TCPIP_net.so";
//     settings.link.host = "192.168.1.5";
//     settings.link.port = 9094;
//     fphost::Runtime runtime(settings);
//     if (const auto error = runtime.open())
//         return fail(*error);
//     runtime.setPolling({{KindDT, 100, 8, 1}});
//     runtime.start();
//     ...
//     const QByteArray bytes = runtime.values({KindDT, 100, 8, 1}); // 16 bytes, low byte first
//     runtime.write({KindDT, 200, 1, 1}, QByteArray("\x34\x12", 2), [](const fphost::Finished &f) { ... });

#pragma once

#include "driver_library.h"
#include "exchanger.h"
#include "transport.h"

#include <condition_variable>
#include <thread>

namespace fphost
{

struct RuntimeSettings {
    QString library; ///< path of the driver library, or its bare file name
    SessionSettings session;
    ExchangeSettings exchange;
    Transport::Settings link; ///< its replyTimeoutMs is taken from exchange
};

class Runtime
{
public:
    explicit Runtime(const RuntimeSettings &settings);
    ~Runtime(); // stops, unloads the library
    Runtime(const Runtime &) = delete;
    Runtime &operator=(const Runtime &) = delete;

    /// Loads the library and sets the driver up; nothing is connected yet.
    /// Result: nothing, or one line: a library that is missing or lacks a name, or another open Runtime.
    std::optional<QString> open();

    /// Set before start().
    void setObservers(Observers observers);

    /// Starts the communication thread, which connects and keeps the link up. Once only, after open().
    void start();

    /// Ends the communication thread, also while it waits for a reply. Requests that are still queued end as Stopped,
    /// when the Runtime is destroyed.
    void stop();

    // Any thread, between open() and destruction; see DriverSession for what each does.

    std::optional<QString> setPolling(const std::vector<Span> &spans);
    QByteArray values(const Span &span) const { return session_.values(span); }
    Queued read(const Span &span, RequestLedger::Done done, int ownerId = 0);
    Queued write(const Span &span, const QByteArray &values, RequestLedger::Done done, int ownerId = 0);
    void enableStation(int station, bool enable);
    const Counters &counters() const { return exchanger_.counters(); }

private:
    void run();
    void wake();

    RuntimeSettings settings_;
    DriverLibrary library_; // outlives the session
    DriverSession session_;
    SystemClock clock_;
    Transport transport_;
    Exchanger exchanger_;

    std::thread thread_;
    std::atomic<bool> stopping_{false};
    std::mutex wakeMutex_;
    std::condition_variable wakeUp_;
    bool woken_ = false;
};

} // namespace fphost

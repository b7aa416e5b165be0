// connection.h - a command's connection to its PLC: the options that all of them share, the host runtime, and reads and
// writes that wait for their end.
//
//  - Without a PLC named, the embedded simulator is started and talked to over TCP like any other.
//  - Every way in which it can go wrong is a Failure with its exit code and its line.

#pragma once

#include "address.h"
#include "embedded_plc.h"
#include "exit_code.h"
#include "host/runtime.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace fplink
{

/// What read, write and watch take alike.
struct LinkOptions {
    QString plc;          // HOST:PORT; empty = the embedded simulator
    int station = 1;      // of addresses that name none
    QString library;      // empty = defaultDriverPath()
    int timeoutMs = 1000; // for a reply
    int connectTimeoutMs = 3000;
    int retries = 2;     // repeats of a request without a good reply
    int quietMs = 0;     // behind a serial converter
    bool remote = false; // binary records
    int cycleMs = 0;     // least time from one polling cycle to the next
};

class Connection
{
public:
    explicit Connection(const LinkOptions &options) : options_(options) {}

    /// Starts the embedded simulator if no PLC is named, loads the library and starts the communication.
    /// \param spans      all elements that will be asked for: they decide whether there is one station or several
    /// \param observers  for the exchanges; the link's observer is taken
    /// Connecting goes on behind; read(), write() and waitForLink() tell how it ended.
    std::optional<Failure> open(const std::vector<fphost::Span> &spans, fphost::Observers observers = {});

    /// Reads the span's values from the PLC and waits for them; more than the driver queues at once in parts.
    std::optional<Failure> read(const fphost::Span &span, QByteArray *values);

    /// Writes the values and waits until the PLC has acknowledged all of them (station 255: until they are sent).
    std::optional<Failure> write(const fphost::Span &span, const QByteArray &values);

    /// Waits until the connection stands or the first attempt has failed.
    std::optional<Failure> waitForLink();

    fphost::Runtime &runtime() { return *runtime_; }
    EmbeddedPlc *embedded() { return embedded_.get(); } // null when a PLC was named
    QString plcText() const; // "192.168.1.5:9094", "the embedded simulator at 127.0.0.1:40123"
    bool severalStations() const { return severalStations_; }

    /// Why a request failed: its exit code and its line.
    Failure failureOf(const fphost::Finished &finished) const;

    /// Why the link is down; empty while it was never down.
    QString linkTrouble() const;

private:
    using Queue = std::function<fphost::Queued(fphost::RequestLedger::Done)>;
    std::optional<Failure> startPlc(const std::set<int> &stations);
    std::optional<Failure> waitFor(const Queue &queue);
    void onLink(const fphost::LinkReport &report);

    LinkOptions options_;
    Endpoint endpoint_;
    bool severalStations_ = false;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    bool wasUp_ = false;
    QString linkTrouble_;

    std::unique_ptr<EmbeddedPlc> embedded_;
    std::unique_ptr<fphost::Runtime> runtime_; // its thread uses what stands above
};

} // namespace fplink

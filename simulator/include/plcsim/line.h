// line.h - one connection to the simulated PLCs without its socket: bytes in, deliveries out, on the caller's clock.
//
//  - Requests may arrive in any pieces. Bytes before a header are skipped; a line that grows too long is dropped.
//  - A PLC serves one request at a time: a request that comes before the answer to the one before is out gets error 43.
//  - The stations' fault plans take effect here. All lines of one simulator go by the same clock.
//  - Not thread-safe: one line belongs to one thread. The Simulator behind it may be shared.

#pragma once

#include "plcsim/simulator.h"

#include <QtCore/QByteArray>

#include <memory>
#include <vector>

namespace plcsim
{

/// Something that happens on a connection at a moment.
struct Delivery {
    enum class Kind {
        Bytes,   // these bytes arrive at the host
        Reset,   // the connection is reset
        HalfOpen // from now on nothing comes any more, though the connection seems to stand
    };
    qint64 atMs = 0;
    QByteArray bytes; // Kind::Bytes only
    Kind kind = Kind::Bytes;
};

class Line
{
public:
    enum class Kind {
        Text,  // request frames that begin with '%' or '<' and end with CR
        Binary // binary records
    };

    explicit Line(std::shared_ptr<Simulator> simulator, Kind kind = Kind::Text);
    ~Line();
    Line(const Line &) = delete;
    Line &operator=(const Line &) = delete;

    /// Takes bytes that arrive at the moment \a nowMs, which never runs backwards.
    /// Result: what the line delivers because of them, in order of time; a moment may lie in the future, but never
    /// before one that an earlier call gave. Empty when no request is complete, or nobody answers.
    /// "%01#RDD0000000001**\r" at 100 gives one delivery at 100 with the bytes "%01$RD05000A0062\r".
    ///
    /// After a Reset or HalfOpen the line is dead: it takes bytes and gives nothing until reconnect().
    std::vector<Delivery> take(const QByteArray &bytes, qint64 nowMs);

    /// A fresh connection: forgets half-received requests and replies that were held back.
    void reconnect();

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace plcsim

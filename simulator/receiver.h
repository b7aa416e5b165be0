// receiver.h - cuts what arrives on a connection into whole requests.
//
//  - Bytes come in any pieces; what is kept of an unfinished request never grows past a limit.

#pragma once

#include "plcsim/line.h"

#include <QtCore/QByteArray>

#include <vector>

namespace plcsim
{

class Receiver
{
public:
    explicit Receiver(Line::Kind kind) : kind_(kind) {}

    /// Takes the bytes that arrive at \a nowMs and gives the requests that they complete, in order.
    /// \param longestFrame  characters, CR included, that a text line may have; a longer one is dropped
    std::vector<QByteArray> take(const QByteArray &bytes, qint64 nowMs, int longestFrame);

    void clear() { unfinished_.clear(); }

private:
    std::vector<QByteArray> takeText(const QByteArray &bytes, int longestFrame);
    std::vector<QByteArray> takeBinary(const QByteArray &bytes);

    Line::Kind kind_;
    QByteArray unfinished_;
    qint64 lastMs_ = 0;
};

} // namespace plcsim

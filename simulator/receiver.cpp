// receiver.cpp - requests out of a stream of bytes.

#include "receiver.h"

#include "wire_text.h"

namespace plcsim
{

namespace
{
constexpr qint64 kLongestPauseMs = 1000; // between two pieces of a record
}

std::vector<QByteArray> Receiver::take(const QByteArray &bytes, qint64 nowMs, int longestFrame)
{
    // A record has no mark to begin with, so the rest of one that was broken off must not spoil the next.
    if (kind_ == Line::Kind::Binary && nowMs - lastMs_ > kLongestPauseMs)
        unfinished_.clear();
    lastMs_ = nowMs;
    return kind_ == Line::Kind::Text ? takeText(bytes, longestFrame) : takeBinary(bytes);
}

// A header never stands inside a request, so it always begins one: what was unfinished before it is noise.
std::vector<QByteArray> Receiver::takeText(const QByteArray &bytes, int longestFrame)
{
    std::vector<QByteArray> frames;
    for (const char character : bytes) {
        if (isHeader(character))
            unfinished_.clear();
        else if (unfinished_.isEmpty())
            continue;
        unfinished_.append(character);
        if (character == kCarriageReturn)
            frames.push_back(unfinished_);
        if (character == kCarriageReturn || unfinished_.size() >= longestFrame)
            unfinished_.clear();
    }
    return frames;
}

// Behind a record whose sum does not fit nothing can be trusted, its length neither: the rest goes with it.
std::vector<QByteArray> Receiver::takeBinary(const QByteArray &bytes)
{
    std::vector<QByteArray> records;
    unfinished_.append(bytes);
    for (;;) {
        const std::optional<int> length = recordLength(unfinished_);
        if (!length || unfinished_.size() < *length)
            return records;
        records.push_back(unfinished_.left(*length));
        unfinished_.remove(0, *length);
        if (!recordSumFits(records.back()))
            unfinished_.clear();
    }
}

} // namespace plcsim

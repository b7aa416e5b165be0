// receiver.cpp - see receiver.h.

#include "receiver.h"

#include <algorithm>
#include <cstring>

namespace fphost
{

namespace
{

constexpr char kHeader = '%';
constexpr char kEnd = '\r';
constexpr char kGoodMark = '$';
constexpr char kErrorMark = '!';

// Where things stand in a request and in a reply: %, two station characters, mark, two command letters.
constexpr int kStationAt = 1;
constexpr int kMarkAt = 3;
constexpr int kCommandAt = 4;
constexpr int kShortestReply = 9; // a reply without data, and an error response

const char *find(const char *from, const char *to, char what)
{
    return static_cast<const char *>(std::memchr(from, what, static_cast<std::size_t>(to - from)));
}

} // namespace

Receiver::Receiver()
{
    reply_.reserve(kLongestReply);
}

Receiver::Receiver(int replyLen) : Receiver()
{
    expect(nullptr, 0, replyLen);
}

void Receiver::expect(const char *request, int length, int replyLen)
{
    begin_ = end_ = 0;
    inStep_ = true;
    replyLen_ = std::min(replyLen, kLongestReply);
    compares_ = request && length >= kCommandAt + 2;
    if (compares_) {
        std::memcpy(echo_, request + kStationAt, 2);
        std::memcpy(echo_ + 2, request + kCommandAt, 2);
    }
}

char *Receiver::room(int *bytes)
{
    if (end_ - begin_ == kLongestReply) // only when a Stale was not followed up by again()
        dropJunk(kLongestReply);
    if (begin_ > 0) { // judge() leaves less than a reply behind, so this moves little
        std::memmove(bytes_.data(), bytes_.data() + begin_, static_cast<std::size_t>(end_ - begin_));
        end_ -= begin_;
        begin_ = 0;
    }
    *bytes = kLongestReply - end_;
    return bytes_.data() + end_;
}

Received Receiver::arrived(int count)
{
    end_ += count;
    return judge();
}

Received Receiver::again()
{
    return judge();
}

Received Receiver::take(const QByteArray &bytes)
{
    Received state = Received::NeedMore;
    bool stale = false;
    for (int done = 0; done < bytes.size() && state != Received::Whole;) {
        int space = 0;
        char *to = room(&space);
        const int part = std::min(space, bytes.size() - done);
        std::memcpy(to, bytes.constData() + done, static_cast<std::size_t>(part));
        done += part;
        state = arrived(part);
        // Room for the rest is made by judging what is here; the last answer is the caller's to follow up.
        while (state == Received::Stale && done < bytes.size()) {
            stale = true;
            state = again();
        }
    }
    return state == Received::NeedMore && stale ? Received::Stale : state;
}

// Drops what cannot begin a reply, then looks for the end of what can. Ends with NeedMore when the end is not here yet;
// with Stale when a frame was dropped, or everything because nothing is expected; with Whole when reply_ is filled.
Received Receiver::judge()
{
    if (replyLen_ == 0) {
        const bool any = end_ > begin_;
        drop(end_ - begin_);
        return any ? Received::Stale : Received::NeedMore;
    }
    const int longest = replyLen_ > 0 ? replyLen_ : kLongestReply;
    for (;;) {
        const char *const end = bytes_.data() + end_;
        const char *const start = find(bytes_.data() + begin_, end, kHeader);
        dropJunk(static_cast<int>((start ? start : end) - (bytes_.data() + begin_)));
        if (!start)
            return Received::NeedMore;

        // Only what may belong to the reply is looked at, so that what follows in the same piece decides nothing.
        const char *const limit = end - start > longest ? start + longest : end;
        const char *const cr = find(start, limit, kEnd);
        const char *const stop = cr ? cr + 1 : limit;
        // A header never stands inside a reply: the one before it was cut off, and this one is fresh.
        if (const char *const fresh = find(start + 1, stop, kHeader)) {
            dropJunk(static_cast<int>(fresh - start));
            continue;
        }
        const int length = static_cast<int>(stop - start);
        if (!cr && length < longest)
            return Received::NeedMore;
        if (!answersTheRequest(start, length)) {
            drop(length);
            return Received::Stale;
        }
        reply_.resize(length);
        std::memcpy(reply_.data(), start, static_cast<std::size_t>(length));
        inStep_ = cr && !find(start + length, end, kHeader);
        drop(end_ - begin_);
        return Received::Whole;
    }
}

bool Receiver::answersTheRequest(const char *frame, int length) const
{
    if (!compares_)
        return true;
    if (length < kShortestReply || std::memcmp(frame + kStationAt, echo_, 2) != 0)
        return false;
    if (frame[kMarkAt] == kErrorMark)
        return true;
    // A request mark here is our own request, echoed by a line that hears itself.
    return frame[kMarkAt] == kGoodMark && std::memcmp(frame + kCommandAt, echo_ + 2, 2) == 0;
}

void Receiver::drop(int count)
{
    begin_ += count;
    if (begin_ == end_)
        begin_ = end_ = 0;
}

void Receiver::dropJunk(int count)
{
    junkBytes_ += static_cast<unsigned long long>(count);
    drop(count);
}

} // namespace fphost

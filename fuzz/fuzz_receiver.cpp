// fuzz_receiver.cpp - the host's receiver, fed with any bytes in any pieces.
//
// Invariant: never more than kLongestReply bytes are kept; a whole reply begins with a header, holds no other one, ends
// with its first CR or at the length that was asked for, and answers the request that was sent; the line is out of step
// after one without a CR; where the bytes are cut changes neither whether a whole reply comes nor which bytes it is;
// every follow-up of a Stale comes to an end.

#include "invariant.h"

#include "dice.h"
#include "host/receiver.h"

#include <algorithm>
#include <vector>

using fphost::Received;
using fphost::Receiver;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size);

enum { kLongestStream = 6000, kRepeat = 0xFD };

struct Request {
    QByteArray frame;
    bool compared;
    int replyLen;

    void expectIn(Receiver &receiver) const
    {
        receiver.expect(compared ? frame.constData() : nullptr, int(frame.size()), replyLen);
    }
};

static void checkReply(Receiver &receiver, const Request &request)
{
    const QByteArray reply = receiver.reply();
    const int longest =
        request.replyLen < 0 ? fphost::kLongestReply : std::min(request.replyLen, fphost::kLongestReply);
    require(reply.lastIndexOf('%') == 0, "a whole reply begins with its only header");
    require(reply.size() <= longest, "a whole reply is not longer than asked for");
    const int cr = reply.indexOf('\r');
    require(cr >= 0 ? cr == reply.size() - 1 : reply.size() == longest, "a reply ends with its CR or at its length");
    require(cr >= 0 || !receiver.inStep(), "a reply without a CR leaves the line out of step");
    if (!request.compared)
        return;
    require(reply.mid(1, 2) == request.frame.mid(1, 2), "the reply comes from the station that was asked");
    require(reply.at(3) == '!' || reply.mid(4, 2) == request.frame.mid(4, 2), "the reply answers the command");
}

/// Feeds \a stream in pieces of at most \a pieces bytes, in turn. \return the first whole reply, empty for none
static QByteArray firstReply(const Request &request, const QByteArray &stream, const std::vector<int> &pieces)
{
    Receiver receiver;
    request.expectIn(receiver);
    std::size_t turn = 0;
    for (int done = 0; done < stream.size();) {
        const int piece = pieces[turn++ % pieces.size()];
        int space = 0;
        char *const to = receiver.room(&space);
        require(space >= 1 && space <= fphost::kLongestReply, "there is always room, and not more than one reply's");
        const int part = std::min({space, piece, int(stream.size()) - done});
        std::copy(stream.constData() + done, stream.constData() + done + part, to);
        done += part;
        Received state = receiver.arrived(part);
        int followUps = 0;
        while (state == Received::Stale) {
            require(++followUps <= fphost::kLongestReply + 1, "the follow-up of a Stale ends");
            state = receiver.again();
        }
        if (state == Received::Whole) {
            checkReply(receiver, request);
            return receiver.reply();
        }
    }
    return QByteArray();
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    ByteDice dice(bytes, size);
    Request request;
    request.compared = dice.chance(70);
    request.frame = dice.oneOf<const char *>({"%01#RDD0000000000**\r", "%1F#WCSR00231\r", "%02#MG**\r", "%01"});
    request.compared = request.compared && request.frame.size() >= 6;
    request.replyLen = dice.oneOf<int>({13, 9, -1, 0, 73, 1, 4096, 5, -7});
    const std::vector<int> pieces = {dice.from(1, 40), dice.from(1, 40), dice.from(1, 40)};
    QByteArray stream;
    while (!dice.usedUp() && stream.size() < kLongestStream) {
        const int c = dice.below(256);
        if (c == kRepeat) // brings short inputs to the longest reply
            stream.append(QByteArray(700, char(dice.below(256))));
        else
            stream.append(char(c));
    }

    const QByteArray whole = firstReply(request, stream, {1 << 20});
    require(firstReply(request, stream, pieces) == whole, "the cuts do not change the reply");
    require(firstReply(request, stream, {1}) == whole, "single bytes do not change the reply");

    Receiver taker;
    request.expectIn(taker);
    int followUps = 0;
    Received state = taker.take(stream);
    for (; state == Received::Stale; state = taker.again())
        require(++followUps <= fphost::kLongestReply + 1, "the follow-up of a Stale ends");
    require((state == Received::Whole ? taker.reply() : QByteArray()) == whole, "take() finds the same reply");
    return 0;
}

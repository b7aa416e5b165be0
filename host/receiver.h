// receiver.h - finds the reply to the request in flight in the bytes that come from the line.
//
//  - Nobody outside sees half a reply: bytes go in as they come, and one reply, whole, comes out.
//  - A reply is compared with the request: the two station characters and, unless it is an error response, the
//    command's first two letters. What answers another request is dropped and told as Stale.
//  - What the reply says, and whether its check code is right, is the driver's business.
//  - Where the line cuts the bytes into pieces changes nothing about which bytes are the reply: a wait for n bytes ends
//    with the n-th byte from the header on, CR or not, whatever came behind it in the same piece.
//  - Memory is bounded: never more than kLongestReply bytes are kept. No socket, no clock.

#pragma once

#include <QtCore/QByteArray>

#include <array>

namespace fphost
{

/// Longest reply that any unit sends (the long frames with room for 2,048 characters).
constexpr int kLongestReply = 2048;

enum class Received {
    NeedMore, ///< not all of it is here, and no CR yet: keep reading
    Whole,    ///< reply() is what DataCom gets
    Stale     ///< bytes that answer no request in flight were dropped: count them and call again()
};

class Receiver
{
public:
    Receiver();

    /// Waits for a reply of \a replyLen bytes without comparing it with a request; see expect().
    explicit Receiver(int replyLen);

    /// Begins to wait for the reply to a request. Bytes of before are dropped.
    /// \param request   the request frame as sent, "%01#RDD0010000115**" and CR, or null where a reply carries no echo
    ///                  to compare (binary records)
    /// \param length    its bytes
    /// \param replyLen  n: a reply of n bytes, or fewer when a CR comes earlier (an error response has 9);
    ///                  -1: any length, up to the CR; 0: no reply at all, every byte is stale
    void expect(const char *request, int length, int replyLen);

    /// Where the next bytes from the line go, and in \a bytes how many have room (always 1 or more). Call arrived()
    /// after.
    char *room(int *bytes);

    /// \a count bytes were put into room(). Result as the enumeration says; a Whole ends the wait.
    ///
    /// Example, after expect("%01#RDD0000000000**\r", 20, 13): "\n%02$RD0000" is NeedMore, "10\r" makes the reply of
    /// station 2 whole and is Stale, "%01$RD050016\r" is Whole.
    Received arrived(int count);

    /// The same for bytes that are elsewhere; more than room() has are taken in turns. A Whole ends the taking.
    Received take(const QByteArray &bytes);

    /// Looks at what is left after a Stale.
    Received again();

    /// The last whole reply, header to CR (or to its replyLen-th byte when no CR came). Valid until expect().
    QByteArray &reply() { return reply_; }

    /// False when the last whole reply shows that the line is out of step: it did not end with a CR, or the beginning
    /// of another reply came in the same piece, behind it. What comes next can then not be told from a late reply.
    /// Of another reply that comes in a later piece nobody knows yet: the one who sends next has to look.
    bool inStep() const { return inStep_; }

    /// Bytes skipped because they belong to no reply, since construction.
    unsigned long long junkBytes() const { return junkBytes_; }

private:
    Received judge();
    bool answersTheRequest(const char *frame, int length) const;
    void drop(int count);
    void dropJunk(int count);

    static constexpr int kEchoChars = 4; // two station characters, two command letters

    std::array<char, kLongestReply> bytes_;
    int begin_ = 0; // bytes_[begin_] to bytes_[end_ - 1] wait to be judged
    int end_ = 0;
    int replyLen_ = 0;
    bool compares_ = false;
    char echo_[kEchoChars] = {};
    bool inStep_ = true;
    unsigned long long junkBytes_ = 0;
    QByteArray reply_;
};

} // namespace fphost

// request_ledger.h - what became of every write and every one-shot read that the host queued with the driver.
//
//  - The driver may drop queued entries without a word (a full list, a station that is switched off, an abandoned
//    request that takes others with it, a newer write to the same target). The ledger compares what it expects to be
//    queued with what really is, so that every request ends with an outcome and none is lost in silence.
//  - Knows numbers only: no driver, no socket, no clock, no lock of its own.

#pragma once

#include "areas.h"

#include <functional>
#include <map>
#include <vector>

namespace fphost
{

/// How a request ended.
enum class Outcome {
    Done,       ///< read: the values are in the driver's store; write: the PLC has acknowledged all of it
    Sent,       ///< a broadcast is out; nobody answers those
    Refused,    ///< the PLC answered with an error response
    NoReply,    ///< nothing came in time, after all repeats
    BadReply,   ///< replies came, and none was a right one
    NoLink,     ///< the PLC could not be reached
    StationOff, ///< the station is switched off
    Superseded, ///< a newer write to the same target took its place before it was sent
    QueueFull,  ///< the driver's list had no room
    Dropped,    ///< the driver gave up another request and dropped this one with it
    Stopped     ///< the host stopped first
};

/// "done", "no reply": for messages.
const char *outcomeText(Outcome outcome);

/// A request that has ended.
struct Finished {
    int id = 0;
    bool write = false;
    Span span;
    Outcome outcome = Outcome::Done;
    int errorCode = 0;  ///< of the PLC, when Refused
    int pieces = 0;     ///< frames that the driver made of it
    int piecesDone = 0; ///< of which so many were good
};

class RequestLedger
{
public:
    /// Called once when the request has ended, on any thread.
    using Done = std::function<void(const Finished &)>;

    struct Ended {
        Finished finished;
        Done done; // may be empty
    };

    /// Enters a request. \return its id, 1 or more, which the driver carries as ownerTag
    int enter(bool write, const Span &span, Done done);

    /// \a pieces of the request stand in the driver's list; 0 ends it with \a otherwise.
    void queued(int id, int pieces, Outcome otherwise);

    /// One piece left the driver's list with this outcome. The request ends with its last piece; its outcome is the
    /// first one that was not good.
    void pieceEnded(int id, Outcome outcome, int errorCode);

    /// The request as a whole is not good, whatever its pieces say: its outcome will be this one.
    void spoil(int id, Outcome outcome, int errorCode);

    /// Compares with what stands in the driver's list: \a present holds the pieces per id. Those that are gone end with
    /// \a outcome.
    void reconcile(bool write, const std::map<int, int> &present, Outcome outcome);

    /// Ends everything with this outcome.
    void endAll(Outcome outcome);

    /// Pieces that should stand in the driver's list of writes (true) or of one-shot reads (false).
    int waiting(bool write) const { return write ? waitingWrites_ : waitingReads_; }

    /// The requests that have ended since the last call, in that order.
    std::vector<Ended> takeEnded();

private:
    struct Open {
        Finished finished;
        int remaining = 0;
        Done done;
    };
    using Iterator = std::map<int, Open>::iterator;

    int &waitingOf(const Open &open) { return open.finished.write ? waitingWrites_ : waitingReads_; }
    static void note(Open &open, Outcome outcome, int errorCode);
    Iterator end(Iterator request);

    std::map<int, Open> open_;
    std::vector<Ended> ended_;
    int lastId_ = 0;
    int waitingWrites_ = 0;
    int waitingReads_ = 0;
};

} // namespace fphost

// request_ledger.cpp - see request_ledger.h.

#include "request_ledger.h"

#include <limits>
#include <utility>

namespace fphost
{

const char *outcomeText(Outcome outcome)
{
    switch (outcome) {
    case Outcome::Done:
        return "done";
    case Outcome::Sent:
        return "sent";
    case Outcome::Refused:
        return "refused by the PLC";
    case Outcome::NoReply:
        return "no reply";
    case Outcome::BadReply:
        return "no reply that could be understood";
    case Outcome::NoLink:
        return "no connection";
    case Outcome::StationOff:
        return "the station is switched off";
    case Outcome::Superseded:
        return "replaced by a newer write";
    case Outcome::QueueFull:
        return "the queue is full";
    case Outcome::Dropped:
        return "dropped with a request that failed";
    case Outcome::Stopped:
        return "stopped";
    }
    return "unknown";
}

int RequestLedger::enter(bool write, const Span &span, Done done)
{
    lastId_ = lastId_ == std::numeric_limits<int>::max() ? 1 : lastId_ + 1;
    Open open;
    open.finished.id = lastId_;
    open.finished.write = write;
    open.finished.span = span;
    open.done = std::move(done);
    open_[lastId_] = std::move(open);
    return lastId_;
}

void RequestLedger::queued(int id, int pieces, Outcome otherwise)
{
    const Iterator found = open_.find(id);
    if (found == open_.end())
        return;
    Open &open = found->second;
    open.finished.pieces = open.remaining = pieces;
    waitingOf(open) += pieces;
    if (pieces == 0) {
        note(open, otherwise, 0);
        end(found);
    }
}

void RequestLedger::pieceEnded(int id, Outcome outcome, int errorCode)
{
    const Iterator found = open_.find(id);
    if (found == open_.end() || found->second.remaining == 0)
        return;
    Open &open = found->second;
    note(open, outcome, errorCode);
    if (outcome == Outcome::Done || outcome == Outcome::Sent)
        ++open.finished.piecesDone;
    --waitingOf(open);
    if (--open.remaining == 0)
        end(found);
}

void RequestLedger::spoil(int id, Outcome outcome, int errorCode)
{
    const Iterator found = open_.find(id);
    if (found != open_.end())
        note(found->second, outcome, errorCode);
}

void RequestLedger::reconcile(bool write, const std::map<int, int> &present, Outcome outcome)
{
    for (Iterator it = open_.begin(); it != open_.end();) {
        Open &open = it->second;
        const auto here = present.find(it->first);
        const int left = here == present.end() ? 0 : here->second;
        if (open.finished.write != write || left >= open.remaining) {
            ++it;
            continue;
        }
        note(open, outcome, 0);
        waitingOf(open) -= open.remaining - left;
        open.remaining = left;
        it = left == 0 ? end(it) : std::next(it);
    }
}

void RequestLedger::endAll(Outcome outcome)
{
    for (Iterator it = open_.begin(); it != open_.end();) {
        note(it->second, outcome, 0);
        it = end(it);
    }
    waitingWrites_ = waitingReads_ = 0;
}

std::vector<RequestLedger::Ended> RequestLedger::takeEnded()
{
    std::vector<Ended> taken;
    taken.swap(ended_);
    return taken;
}

// The first outcome that was not good stays. Done gives way to Sent, so that a broadcast never looks acknowledged.
void RequestLedger::note(Open &open, Outcome outcome, int errorCode)
{
    Finished &finished = open.finished;
    if (finished.outcome != Outcome::Done && finished.outcome != Outcome::Sent)
        return;
    if (outcome == Outcome::Done)
        return;
    finished.outcome = outcome;
    finished.errorCode = errorCode;
}

RequestLedger::Iterator RequestLedger::end(Iterator request)
{
    ended_.push_back({request->second.finished, std::move(request->second.done)});
    return open_.erase(request);
}

} // namespace fphost

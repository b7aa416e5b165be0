// What became of each request.

#include "host/request_ledger.h"

#include <gtest/gtest.h>

using fphost::Finished;
using fphost::Outcome;
using fphost::RequestLedger;
using fphost::Span;

namespace
{

const Span kSpan = {KindDT, 100, 40, 1};

/// The requests that have ended, as "id outcome done/pieces".
std::vector<std::string> ended(RequestLedger &ledger)
{
    std::vector<std::string> texts;
    for (const RequestLedger::Ended &one : ledger.takeEnded())
        texts.push_back(std::to_string(one.finished.id) + " " + fphost::outcomeText(one.finished.outcome) + " " +
                        std::to_string(one.finished.piecesDone) + "/" + std::to_string(one.finished.pieces));
    return texts;
}

using Texts = std::vector<std::string>;

} // namespace

TEST(RequestLedger, EndsARequestWithItsLastPiece)
{
    RequestLedger ledger;
    const int id = ledger.enter(true, kSpan, nullptr);
    EXPECT_EQ(id, 1);
    ledger.queued(id, 3, Outcome::QueueFull);
    EXPECT_EQ(ledger.waiting(true), 3);
    EXPECT_EQ(ledger.waiting(false), 0);
    ledger.pieceEnded(id, Outcome::Done, 0);
    ledger.pieceEnded(id, Outcome::Done, 0);
    EXPECT_EQ(ended(ledger), Texts());
    ledger.pieceEnded(id, Outcome::Done, 0);
    EXPECT_EQ(ended(ledger), Texts({"1 done 3/3"}));
    EXPECT_EQ(ledger.waiting(true), 0);
    EXPECT_EQ(ended(ledger), Texts()) << "told once";
}

TEST(RequestLedger, KeepsTheFirstOutcomeThatWasNotGood)
{
    RequestLedger ledger;
    const int id = ledger.enter(true, kSpan, nullptr);
    ledger.queued(id, 3, Outcome::QueueFull);
    ledger.pieceEnded(id, Outcome::Done, 0);
    ledger.pieceEnded(id, Outcome::Refused, 0x61);
    ledger.pieceEnded(id, Outcome::NoReply, 0);
    const auto all = ledger.takeEnded();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].finished.outcome, Outcome::Refused);
    EXPECT_EQ(all[0].finished.errorCode, 0x61);
    EXPECT_EQ(all[0].finished.piecesDone, 1);
    EXPECT_EQ(all[0].finished.span, kSpan);
    EXPECT_TRUE(all[0].finished.write);
}

TEST(RequestLedger, ARequestOfNoPiecesEndsAtOnce)
{
    RequestLedger ledger;
    ledger.queued(ledger.enter(false, kSpan, nullptr), 0, Outcome::QueueFull);
    EXPECT_EQ(ended(ledger), Texts({"1 the queue is full 0/0"}));
}

TEST(RequestLedger, PiecesThatAreGoneFromTheListEndWithTheReason)
{
    RequestLedger ledger;
    const int one = ledger.enter(true, kSpan, nullptr);
    ledger.queued(one, 2, Outcome::QueueFull);
    const int two = ledger.enter(true, kSpan, nullptr);
    ledger.queued(two, 1, Outcome::QueueFull);
    const int read = ledger.enter(false, kSpan, nullptr);
    ledger.queued(read, 1, Outcome::QueueFull);

    ledger.reconcile(true, {{one, 1}, {two, 1}}, Outcome::Superseded);
    EXPECT_EQ(ended(ledger), Texts());
    EXPECT_EQ(ledger.waiting(true), 2);
    ledger.pieceEnded(one, Outcome::Done, 0);
    EXPECT_EQ(ended(ledger), Texts({"1 replaced by a newer write 1/2"}));

    ledger.reconcile(true, {}, Outcome::Dropped);
    EXPECT_EQ(ended(ledger), Texts({"2 dropped with a request that failed 0/1"}));
    EXPECT_EQ(ledger.waiting(true), 0);
    EXPECT_EQ(ledger.waiting(false), 1) << "reads are another list";
    ledger.reconcile(false, {{77, 5}}, Outcome::StationOff);
    EXPECT_EQ(ended(ledger), Texts({"3 the station is switched off 0/1"}));
}

TEST(RequestLedger, ASpoiledRequestIsNotGoodThoughAllItsPiecesWere)
{
    RequestLedger ledger;
    const int id = ledger.enter(false, kSpan, nullptr);
    ledger.queued(id, 1, Outcome::QueueFull);
    ledger.spoil(id, Outcome::QueueFull, 0);
    ledger.pieceEnded(id, Outcome::Done, 0);
    EXPECT_EQ(ended(ledger), Texts({"1 the queue is full 1/1"}));
}

TEST(RequestLedger, ABroadcastIsSentAndNeverDone)
{
    RequestLedger ledger;
    const int id = ledger.enter(true, kSpan, nullptr);
    ledger.queued(id, 2, Outcome::QueueFull);
    ledger.pieceEnded(id, Outcome::Sent, 0);
    ledger.pieceEnded(id, Outcome::Sent, 0);
    EXPECT_EQ(ended(ledger), Texts({"1 sent 2/2"}));
}

TEST(RequestLedger, EndsEverything)
{
    RequestLedger ledger;
    ledger.queued(ledger.enter(true, kSpan, nullptr), 2, Outcome::QueueFull);
    ledger.queued(ledger.enter(false, kSpan, nullptr), 1, Outcome::QueueFull);
    ledger.endAll(Outcome::Stopped);
    EXPECT_EQ(ended(ledger), Texts({"1 stopped 0/2", "2 stopped 0/1"}));
    EXPECT_EQ(ledger.waiting(true), 0);
    EXPECT_EQ(ledger.waiting(false), 0);
}

TEST(RequestLedger, PiecesOfARequestItDoesNotKnowChangeNothing)
{
    RequestLedger ledger;
    ledger.pieceEnded(5, Outcome::Done, 0);
    ledger.queued(5, 3, Outcome::QueueFull);
    ledger.spoil(5, Outcome::Dropped, 0);
    EXPECT_EQ(ended(ledger), Texts());
    EXPECT_EQ(ledger.waiting(true), 0);
}

TEST(RequestLedger, HandsBackTheTeller)
{
    RequestLedger ledger;
    int told = 0;
    const int id = ledger.enter(true, kSpan, [&told](const Finished &finished) { told = finished.id; });
    ledger.queued(id, 1, Outcome::QueueFull);
    ledger.pieceEnded(id, Outcome::Done, 0);
    for (const RequestLedger::Ended &one : ledger.takeEnded())
        one.done(one.finished);
    EXPECT_EQ(told, id);
}

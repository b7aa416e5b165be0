// The host's receiver: replies in every cut, the three reply lengths, stale replies, junk, bounds.

#include "host/receiver.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using fphost::kLongestReply;
using fphost::Received;
using fphost::Receiver;

namespace
{

std::string text(const QByteArray &bytes)
{
    return std::string(bytes.constData(), static_cast<std::size_t>(bytes.size()));
}

/// What the receiver says about \a bytes, stale replies followed up: the last answer, and how many were stale.
struct Taken {
    Received last;
    int stale;
};
Taken takeAll(Receiver &receiver, const QByteArray &bytes)
{
    Taken taken = {receiver.take(bytes), 0};
    while (taken.last == Received::Stale) {
        ++taken.stale;
        taken.last = receiver.again();
    }
    return taken;
}

void expect(Receiver &receiver, const QByteArray &request, int replyLen)
{
    receiver.expect(request.constData(), request.size(), replyLen);
}

void deliverInEveryCut(const QByteArray &request, int replyLen, const QByteArray &reply)
{
    for (int cut = 1; cut < reply.size(); ++cut) {
        Receiver receiver;
        expect(receiver, request, replyLen);
        EXPECT_EQ(receiver.take(reply.left(cut)), Received::NeedMore) << "cut at " << cut;
        EXPECT_EQ(receiver.take(reply.mid(cut)), Received::Whole) << "cut at " << cut;
        EXPECT_EQ(text(receiver.reply()), text(reply));
        EXPECT_TRUE(receiver.inStep());
    }
}

void deliverByteByByte(const QByteArray &request, int replyLen, const QByteArray &reply)
{
    Receiver receiver;
    expect(receiver, request, replyLen);
    for (int i = 0; i < reply.size(); ++i)
        EXPECT_EQ(receiver.take(reply.mid(i, 1)), i + 1 < reply.size() ? Received::NeedMore : Received::Whole);
    EXPECT_EQ(text(receiver.reply()), text(reply));
}

const QByteArray kRead = "%01#RDD0000000001**\r";
const QByteArray kReadReply = "%01$RD05000A0062\r";
const QByteArray kWrite = "%01#WCSR0010122\r";
const QByteArray kWriteReply = "%01$WC14\r";
const QByteArray kErrorReply = "%01!6102\r";
const QByteArray kMonitor = "%01#MG**\r";

} // namespace

TEST(Receiver, TakesAReplyOfKnownLengthInEveryCut)
{
    deliverInEveryCut(kRead, 17, kReadReply);
    deliverInEveryCut(kWrite, 9, kWriteReply);
    deliverInEveryCut(kMonitor, 22, "%01$MG100080500100037\r");
}

TEST(Receiver, TakesAReplyByteByByte)
{
    deliverByteByByte(kRead, 17, kReadReply);
    deliverByteByByte(kRead, 17, kErrorReply);
    deliverByteByByte(kRead, -1, kReadReply);
}

TEST(Receiver, EndsEarlyAtTheCarriageReturnOfAShorterReply)
{
    deliverInEveryCut(kRead, 17, kErrorReply);
    deliverInEveryCut(kRead, 73, kReadReply);
}

TEST(Receiver, TakesAnyLengthUpToTheCarriageReturn)
{
    deliverInEveryCut(kRead, -1, kReadReply);
    deliverInEveryCut(kRead, -1, kErrorReply);
}

TEST(Receiver, WithoutARequestComparesNothing)
{
    Receiver receiver(9);
    EXPECT_EQ(receiver.take("%77$ZZ00\r"), Received::Whole);
    EXPECT_EQ(text(receiver.reply()), "%77$ZZ00\r");
}

TEST(Receiver, WhenNothingIsExpectedEveryByteIsStale)
{
    Receiver receiver;
    expect(receiver, "%1F#WDD0010000100341200\r", 0);
    EXPECT_EQ(receiver.take("x"), Received::Stale);
    EXPECT_EQ(receiver.again(), Received::NeedMore);
    EXPECT_EQ(receiver.take(kWriteReply), Received::Stale);
    EXPECT_EQ(receiver.again(), Received::NeedMore);
}

TEST(Receiver, EndsAReplyWithoutCarriageReturnAtItsLengthAndSaysThatTheLineIsOutOfStep)
{
    Receiver receiver;
    expect(receiver, kRead, 17);
    EXPECT_EQ(receiver.take("%01$RD05000A0062"), Received::NeedMore);
    EXPECT_EQ(receiver.take("9"), Received::Whole);
    EXPECT_EQ(text(receiver.reply()), "%01$RD05000A00629");
    EXPECT_FALSE(receiver.inStep());
}

TEST(Receiver, CutsAReplyThatIsTooLongAtItsLength)
{
    Receiver receiver;
    expect(receiver, kWrite, 9);
    EXPECT_EQ(receiver.take("%01$WC1234567\r"), Received::Whole);
    EXPECT_EQ(text(receiver.reply()), "%01$WC123");
    EXPECT_FALSE(receiver.inStep());
}

TEST(Receiver, AReplyWithoutCarriageReturnEndsAtItsLengthWhateverComesBehindItInTheSamePiece)
{
    const QByteArray line = "%01$RD05000A00629%02$RD05000A0061\r"; // 17 bytes, and another station's reply
    for (int cut = 1; cut <= line.size(); ++cut) {
        Receiver receiver;
        expect(receiver, kRead, 17);
        EXPECT_EQ(receiver.take(line.left(cut)), cut < 17 ? Received::NeedMore : Received::Whole) << "cut at " << cut;
        if (cut < 17) {
            EXPECT_EQ(receiver.take(line.mid(cut)), Received::Whole) << "cut at " << cut;
        }
        EXPECT_EQ(text(receiver.reply()), "%01$RD05000A00629") << "cut at " << cut;
        EXPECT_FALSE(receiver.inStep());
    }
}

/// A stale reply and the right one behind it: one of each is found, wherever \a line is cut in two.
static void expectTheSecondReply(const QByteArray &line)
{
    for (int cut = 1; cut < line.size(); ++cut) {
        Receiver receiver;
        expect(receiver, kRead, 17);
        const Taken first = takeAll(receiver, line.left(cut));
        EXPECT_EQ(first.last, Received::NeedMore) << "cut at " << cut;
        const Taken second = takeAll(receiver, line.mid(cut));
        EXPECT_EQ(second.last, Received::Whole) << "cut at " << cut;
        EXPECT_EQ(first.stale + second.stale, 1) << "cut at " << cut;
        EXPECT_EQ(text(receiver.reply()), "%01$RD05000A0062\r") << "cut at " << cut;
        EXPECT_TRUE(receiver.inStep());
    }
}

TEST(Receiver, FindsTheReplyBehindAStaleOneWithoutCarriageReturnInEveryCut)
{
    expectTheSecondReply("%02$RD05000A00619" + kReadReply);
}

TEST(Receiver, AHeaderInTheLastPlaceOfAReplyBeginsAnewInEveryCut)
{
    const QByteArray line = "%01$RD05000A0062" + kReadReply; // the header stands where the CR should
    for (int cut = 1; cut < line.size(); ++cut) {
        Receiver receiver;
        expect(receiver, kRead, 17);
        EXPECT_EQ(receiver.take(line.left(cut)), Received::NeedMore) << "cut at " << cut;
        EXPECT_EQ(receiver.take(line.mid(cut)), Received::Whole) << "cut at " << cut;
        EXPECT_EQ(text(receiver.reply()), "%01$RD05000A0062\r") << "cut at " << cut;
        EXPECT_EQ(receiver.junkBytes(), 16u) << "cut at " << cut;
    }
}

TEST(Receiver, DropsTheReplyOfAnotherStation)
{
    Receiver receiver;
    expect(receiver, kRead, 17);
    EXPECT_EQ(receiver.take("%02$RD05000A0061\r"), Received::Stale);
    EXPECT_EQ(receiver.again(), Received::NeedMore);
    EXPECT_EQ(receiver.take(kReadReply), Received::Whole);
    EXPECT_EQ(text(receiver.reply()), "%01$RD05000A0062\r");
}

TEST(Receiver, ComparesBothStationCharacters)
{
    for (const char *other : {"%11$RD05000A0062\r", "%02$RD05000A0062\r"}) {
        Receiver receiver;
        expect(receiver, kRead, 17);
        EXPECT_EQ(receiver.take(other), Received::Stale) << other;
    }
}

TEST(Receiver, DropsTheReplyToAnotherCommand)
{
    for (const char *other : {"%01$WC14\r", "%01$RC05000A0062\r", "%01$WD05000A0062\r"}) {
        Receiver receiver;
        expect(receiver, kRead, 17);
        EXPECT_EQ(takeAll(receiver, other).stale, 1) << other;
    }
}

TEST(Receiver, TakesAnErrorResponseWhateverTheCommandWas)
{
    Receiver receiver;
    expect(receiver, kRead, 17);
    EXPECT_EQ(receiver.take(kErrorReply), Received::Whole);
    EXPECT_EQ(text(receiver.reply()), "%01!6102\r");
}

TEST(Receiver, DropsTheErrorResponseOfAnotherStation)
{
    Receiver receiver;
    expect(receiver, kRead, 17);
    EXPECT_EQ(receiver.take("%02!6101\r"), Received::Stale);
}

TEST(Receiver, DropsTheRequestThatTheLineEchoes)
{
    Receiver receiver;
    expect(receiver, kRead, 17);
    const Taken taken = takeAll(receiver, kRead + kReadReply);
    EXPECT_GE(taken.stale, 1);
    EXPECT_EQ(taken.last, Received::Whole);
    EXPECT_EQ(text(receiver.reply()), "%01$RD05000A0062\r");
}

TEST(Receiver, DropsAFrameThatIsTooShortToSayWhatItAnswers)
{
    Receiver receiver;
    expect(receiver, kRead, 17);
    EXPECT_EQ(receiver.take("%01$RD0\r"), Received::Stale); // 8 bytes
    EXPECT_EQ(receiver.again(), Received::NeedMore);
    EXPECT_EQ(receiver.take("%01$RD00\r"), Received::Whole); // 9 bytes
}

TEST(Receiver, FindsTheReplyBehindAStaleOneInEveryCut)
{
    expectTheSecondReply("%02$RD05000A0061\r" + kReadReply);
}

TEST(Receiver, SkipsJunkBeforeTheHeaderInEveryCut)
{
    const QByteArray line = QByteArray("\0\xFF\r\n$!", 6) + kReadReply;
    for (int cut = 1; cut < line.size(); ++cut) {
        Receiver receiver;
        expect(receiver, kRead, 17);
        EXPECT_EQ(receiver.take(line.left(cut)), Received::NeedMore) << "cut at " << cut;
        EXPECT_EQ(receiver.take(line.mid(cut)), Received::Whole) << "cut at " << cut;
        EXPECT_EQ(text(receiver.reply()), "%01$RD05000A0062\r");
        EXPECT_EQ(receiver.junkBytes(), 6u);
    }
}

TEST(Receiver, BeginsAnewAtAHeaderInsideAReplyThatWasCutOff)
{
    Receiver receiver;
    expect(receiver, kRead, 17);
    EXPECT_EQ(receiver.take("%01$RD0500" + kReadReply), Received::Whole);
    EXPECT_EQ(text(receiver.reply()), "%01$RD05000A0062\r");
    EXPECT_EQ(receiver.junkBytes(), 10u);
}

TEST(Receiver, SaysThatTheLineIsOutOfStepWhenASecondReplyBeginsWithTheFirst)
{
    Receiver receiver;
    expect(receiver, kRead, 17);
    EXPECT_EQ(receiver.take(kReadReply + "%"), Received::Whole);
    EXPECT_EQ(text(receiver.reply()), "%01$RD05000A0062\r");
    EXPECT_FALSE(receiver.inStep());
}

TEST(Receiver, JunkBehindAReplyLeavesTheLineInStep)
{
    Receiver receiver;
    expect(receiver, kRead, 17);
    EXPECT_EQ(receiver.take(kReadReply + "\n"), Received::Whole);
    EXPECT_TRUE(receiver.inStep());
}

TEST(Receiver, AnotherRequestForgetsTheBytesOfBefore)
{
    Receiver receiver;
    expect(receiver, kRead, 17);
    EXPECT_EQ(receiver.take("%01$RD05000A"), Received::NeedMore);
    expect(receiver, kRead, 17);
    EXPECT_EQ(receiver.take("0062\r"), Received::NeedMore);
    EXPECT_EQ(receiver.take(kReadReply), Received::Whole);
    EXPECT_TRUE(receiver.inStep());
}

TEST(Receiver, KeepsNoMoreThanTheLongestReply)
{
    Receiver receiver;
    expect(receiver, kRead, -1);
    QByteArray endless = "%01$RD";
    endless.append(QByteArray(kLongestReply - 7, '0'));
    EXPECT_EQ(receiver.take(endless), Received::NeedMore); // 2,047 bytes
    EXPECT_EQ(receiver.take("0"), Received::Whole);        // 2,048
    EXPECT_EQ(receiver.reply().size(), 2048);
    EXPECT_FALSE(receiver.inStep());
}

TEST(Receiver, AnAbsurdReplyLengthIsCutToTheLongestReply)
{
    Receiver receiver(2000000000);
    EXPECT_EQ(receiver.take("%" + QByteArray(2047, '0')), Received::Whole);
    EXPECT_EQ(receiver.reply().size(), 2048);
}

TEST(Receiver, SwallowsAnyAmountOfJunk)
{
    Receiver receiver;
    expect(receiver, kRead, 17);
    EXPECT_EQ(receiver.take(QByteArray(100000, 'x')), Received::NeedMore);
    EXPECT_EQ(receiver.junkBytes(), 100000u);
    EXPECT_EQ(receiver.take(kReadReply), Received::Whole);
}

TEST(Receiver, FindsTheReplyBehindMoreStaleRepliesThanItHasRoomFor)
{
    Receiver receiver;
    expect(receiver, kRead, 17);
    QByteArray line;
    for (int i = 0; i < 500; ++i)
        line += "%02$RD05000A0061\r";
    const Taken taken = takeAll(receiver, line + kReadReply);
    EXPECT_EQ(taken.last, Received::Whole);
    EXPECT_EQ(text(receiver.reply()), "%01$RD05000A0062\r");
}

TEST(Receiver, AlwaysHasRoomForMore)
{
    Receiver receiver;
    expect(receiver, kRead, -1);
    for (int i = 0; i < 5000; ++i) {
        int bytes = 0;
        char *to = receiver.room(&bytes);
        ASSERT_GE(bytes, 1);
        *to = i % 3 == 0 ? '%' : '7';
        receiver.arrived(1);
    }
}

// What a watch knows of its elements.

#include "fplink/watch_list.h"

#include <gtest/gtest.h>

using fphost::ExchangeReport;
using fphost::Outcome;
using fphost::Span;
using fplink::WatchList;
using State = fplink::WatchList::State;

namespace
{

/// A read of \a spans that ended.
void serve(WatchList &list, const std::vector<Span> &spans, Outcome outcome = Outcome::Done, int errorCode = 0)
{
    const QByteArray none;
    list.served({none, none, RequestPolling, outcome, errorCode, 1, true, outcome != Outcome::Done, 1000, spans});
}

/// A store in which every byte is \a byte.
std::function<QByteArray(const Span &)> holding(char byte)
{
    return [byte](const Span &span) { return QByteArray(fphost::valueBytes(span.kind, span.count), byte); };
}

} // namespace

TEST(FplinkWatchList, AValueCountsOnceItWasRead)
{
    WatchList list({{KindDT, 5, 2, 1}});
    ASSERT_EQ(list.elements().size(), 2u);
    EXPECT_TRUE(list.sample(holding(1)).empty());
    EXPECT_EQ(list.elements()[0].state, State::Waiting);
    EXPECT_FALSE(list.elements()[0].known);

    serve(list, {{KindDT, 6, 1, 1}});
    const auto changes = list.sample(holding(1));
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_EQ(changes[0].element, 1u);
    EXPECT_TRUE(changes[0].first);
    EXPECT_EQ(list.elements()[1].value, 0x0101);
    EXPECT_EQ(list.elements()[1].state, State::Good);
    EXPECT_FALSE(list.elements()[0].known);
}

TEST(FplinkWatchList, CountsChangesAndKnowsTheValueBefore)
{
    WatchList list({{KindDT, 5, 1, 1}});
    serve(list, {{KindDT, 5, 1, 1}});
    list.sample(holding(1));
    serve(list, {{KindDT, 5, 1, 1}});
    EXPECT_TRUE(list.sample(holding(1)).empty()) << "the same value is no change";
    serve(list, {{KindDT, 5, 1, 1}});
    const auto changes = list.sample(holding(2));
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_FALSE(changes[0].first);
    EXPECT_EQ(changes[0].before, 0x0101);
    EXPECT_EQ(list.elements()[0].value, 0x0202);
    EXPECT_EQ(list.elements()[0].changes, 1);
}

TEST(FplinkWatchList, BitsAreReadWithTheirWord)
{
    WatchList list({{KindR, 0x10F, 2, 1}}); // the last bit of WR16 and the first of WR17
    serve(list, {{KindWR, 16, 1, 1}});
    EXPECT_EQ(list.sample(holding(1)).size(), 1u);
    EXPECT_TRUE(list.elements()[0].known);
    EXPECT_FALSE(list.elements()[1].known);
}

TEST(FplinkWatchList, ContactsAreReadWithTheirSixteen)
{
    WatchList list({{KindT, 15, 2, 1}});
    serve(list, {{KindT, 16, 16, 1}});
    list.sample(holding(1));
    EXPECT_FALSE(list.elements()[0].known);
    EXPECT_TRUE(list.elements()[1].known);
}

TEST(FplinkWatchList, KeepsStationsApart)
{
    WatchList list({{KindDT, 5, 1, 1}, {KindDT, 5, 1, 2}});
    serve(list, {{KindDT, 5, 1, 2}});
    list.sample(holding(1));
    EXPECT_FALSE(list.elements()[0].known);
    EXPECT_TRUE(list.elements()[1].known);
}

TEST(FplinkWatchList, AFailedReadKeepsTheValueAndTellsWhy)
{
    WatchList list({{KindDT, 5, 1, 1}});
    serve(list, {{KindDT, 5, 1, 1}});
    list.sample(holding(1));
    serve(list, {{KindDT, 5, 1, 1}}, Outcome::Refused, 0x61);
    EXPECT_TRUE(list.sample(holding(9)).empty());
    const WatchList::Element &element = list.elements()[0];
    EXPECT_EQ(element.state, State::Failed);
    EXPECT_EQ(element.outcome, Outcome::Refused);
    EXPECT_EQ(element.errorCode, 0x61);
    EXPECT_EQ(element.value, 0x0101) << "the driver's store was not looked at";
    serve(list, {{KindDT, 5, 1, 1}});
    list.sample(holding(9));
    EXPECT_EQ(element.state, State::Good);
    EXPECT_EQ(element.value, 0x0909);
}

TEST(FplinkWatchList, ARepeatThatIsPendingAndAWriteTellNothing)
{
    WatchList list({{KindDT, 5, 1, 1}});
    const QByteArray none;
    const std::vector<Span> spans = {{KindDT, 5, 1, 1}};
    list.served({none, none, RequestPolling, Outcome::NoReply, 0, 0, false, false, 1000, spans});
    list.served({none, none, RequestWrite, Outcome::Done, 0, 1, true, false, 1000, spans});
    list.sample(holding(1));
    EXPECT_EQ(list.elements()[0].state, State::Waiting);
}

// What fplink write is told, as people write it.

#include "fplink/assignments.h"

#include <gtest/gtest.h>

using fphost::Span;
using fplink::Assignment;
using fplink::parseAssignments;

namespace
{

std::vector<Assignment> assignmentsOf(const QStringList &texts)
{
    std::vector<Assignment> all;
    const std::optional<QString> why = parseAssignments(texts, 1, &all);
    EXPECT_FALSE(why.has_value()) << why->toStdString();
    return all;
}

/// Why the texts are refused; nothing must be changed.
std::string whyNot(const QStringList &texts)
{
    std::vector<Assignment> all(1);
    const std::optional<QString> why = parseAssignments(texts, 1, &all);
    EXPECT_EQ(all.size(), 1u);
    return why ? why->toStdString() : "";
}

} // namespace

TEST(FplinkAssignments, AreAddressesWithTheirValues)
{
    const std::vector<Assignment> all = assignmentsOf({"DT100=5,-1,0x1F", "R10F@2=1"});
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0].span, (Span{KindDT, 100, 3, 1}));
    EXPECT_EQ(all[0].bytes.toHex().toStdString(), "0500ffff1f00");
    EXPECT_EQ(all[0].values, QStringList({"5", "-1", "0x1F"}));
    EXPECT_EQ(all[1].span, (Span{KindR, 175, 1, 2}));
    EXPECT_EQ(all[1].bytes.toHex().toStdString(), "01");
}

TEST(FplinkAssignments, OfOneAddressMayFollowIt)
{
    const std::vector<Assignment> all = assignmentsOf({"DT100:3", "1,2", "3"});
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].span, (Span{KindDT, 100, 3, 1}));
    EXPECT_EQ(all[0].bytes.toHex().toStdString(), "010002000300");
}

TEST(FplinkAssignments, SayWhatIsWrong)
{
    EXPECT_EQ(whyNot({"DT5"}), "DT5: a value is missing");
    EXPECT_EQ(whyNot({"DT5=1", "DT6"}), "DT6: write ADDRESS=VALUE[,VALUE...]");
    EXPECT_EQ(whyNot({"DT5=1", "X0=1"}), "X0: the area X is read-only");
    EXPECT_EQ(whyNot({"DT5:2=1"}), "DT5: 1 value for 2 elements");
    EXPECT_EQ(whyNot({"=1"}), "an address is missing");
}

TEST(FplinkAssignments, ShowWhatTheyRefuseInOneLine)
{
    EXPECT_EQ(whyNot({"DT5\n"}), "DT5\\n: a value is missing");
    EXPECT_EQ(whyNot({"DT5=1", "\x1b[2J"}), "\\x1B[2J: write ADDRESS=VALUE[,VALUE...]");
    EXPECT_EQ(whyNot({"DT5=1\n2"}), "DT5: '1\\n2' is no value for a word; words are -32768 to 65535 or 0x0 to 0xFFFF");
    EXPECT_EQ(whyNot({"R5=\t"}), "R5: '\\t' is no value for a bit; bits are 0 and 1");
}

// Text from outside as fplink shows it: what is left as it is, and what is spelled out.

#include "fplink/shown_text.h"

#include <gtest/gtest.h>

using fplink::quoted;
using fplink::shown;

namespace
{

std::string shownOf(const QString &text)
{
    return shown(text).toStdString();
}
std::string shownOf(const char *utf8, int bytes)
{
    return shownOf(QString::fromUtf8(utf8, bytes));
}

} // namespace

TEST(FplinkShownText, PrintableTextStaysAsItIs)
{
    EXPECT_EQ(shownOf("DT100=1,-2 ~\"'\\x\\"), "DT100=1,-2 ~\"'\\x\\");
    EXPECT_EQ(shownOf(QStringLiteral("Gr\u00fc\u00dfe \u4e2d\u6587 \U0001F600")),
              "Gr\u00fc\u00dfe \u4e2d\u6587 \U0001F600");
    EXPECT_EQ(shownOf(""), "");
}

TEST(FplinkShownText, ControlCharactersAreSpelledOut)
{
    EXPECT_EQ(shownOf("a\nb\r\tc"), "a\\nb\\r\\tc");
    EXPECT_EQ(shownOf("\x1b[2J\x07\x7f"), "\\x1B[2J\\x07\\x7F");
    EXPECT_EQ(shownOf("a\0b", 3), "a\\x00b");
    EXPECT_EQ(shownOf(QStringLiteral("\u009b1m")), "\\u009B1m"); // a control sequence in one character
}

TEST(FplinkShownText, BothNeighboursOfTheControlCharactersShowAsThemselves)
{
    EXPECT_EQ(shownOf("\x1f\x20"), "\\x1F ");
    EXPECT_EQ(shownOf("\x7e\x7f"), "~\\x7F");
    EXPECT_EQ(shownOf(QStringLiteral("\u009f\u00a0")), "\\u009F\u00a0");
}

TEST(FplinkShownText, BytesThatAreNoTextAreSpelledOut)
{
    EXPECT_EQ(shownOf("\xff", 1), "\\uFFFD");
    EXPECT_EQ(shownOf("DT\xc3", 3), "DT\\uFFFD");          // a character that is cut off
    EXPECT_EQ(shownOf(QString(QChar(0xD800))), "\\uFFFD"); // half a character
}

TEST(FplinkShownText, WhatChangesTheLineOrItsDirectionIsSpelledOut)
{
    EXPECT_EQ(shownOf(QStringLiteral("a\u2028b\u2029c")), "a\\u2028b\\u2029c");
    EXPECT_EQ(shownOf(QStringLiteral("\u202egnp.exe")), "\\u202Egnp.exe");
    EXPECT_EQ(shownOf(QStringLiteral("\u200b\ufeff")), "\\u200B\\uFEFF");
}

TEST(FplinkShownText, CharactersWithoutAShapeAreSpelledOut)
{
    EXPECT_EQ(shownOf(QStringLiteral("\ue000")), "\\uE000");         // private
    EXPECT_EQ(shownOf(QStringLiteral("\U0010FFFF")), "\\U0010FFFF"); // none
}

TEST(FplinkShownText, ShownTwiceIsShownOnce)
{
    const QString text = QStringLiteral("\n\x1b\u202e\\n");
    EXPECT_EQ(shownOf(shown(text)), shownOf(text));
}

TEST(FplinkShownText, AQuoteIsTheBeginningOfALongText)
{
    EXPECT_EQ(quoted(QString(80, QLatin1Char('Z'))).toStdString(), std::string(80, 'Z'));
    EXPECT_EQ(quoted(QString(81, QLatin1Char('Z'))).toStdString(), std::string(80, 'Z') + "...");
    EXPECT_EQ(quoted(QStringLiteral("5\n")).toStdString(), "5\\n");
    EXPECT_EQ(quoted(QString(79, QLatin1Char('Z')) + QStringLiteral("\U0001F600")).toStdString(),
              std::string(79, 'Z') + "..."); // no half characters
}

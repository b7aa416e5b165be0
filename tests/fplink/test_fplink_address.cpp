// Addresses and endpoints as people write them.

#include "fplink/address.h"

#include <gtest/gtest.h>

using fphost::Span;
using fplink::addressOf;
using fplink::Endpoint;
using fplink::endpointText;
using fplink::parseAddress;
using fplink::parseEndpoint;

namespace
{

/// The elements of an address that is right, for station 1.
Span spanOf(const char *text)
{
    Span span = {-1, -1, -1, -1};
    const std::optional<QString> why = parseAddress(QString::fromUtf8(text), 1, &span);
    EXPECT_FALSE(why.has_value()) << why->toStdString();
    return span;
}

/// Why an address is refused; the span must stay as it was.
std::string whyNot(const QString &text)
{
    Span span = {-1, -1, -1, -1};
    const std::optional<QString> why = parseAddress(text, 1, &span);
    EXPECT_EQ(span, (Span{-1, -1, -1, -1})) << text.toStdString();
    return why ? why->toStdString() : "";
}
std::string whyNot(const char *text)
{
    return whyNot(QString::fromUtf8(text));
}

std::string endpointOf(const char *text)
{
    Endpoint endpoint;
    const std::optional<QString> why = parseEndpoint(QString::fromUtf8(text), &endpoint);
    return why ? why->toStdString()
               : endpoint.host.toStdString() + " " + std::to_string(endpoint.port) + " " +
                     endpointText(endpoint).toStdString();
}

} // namespace

TEST(FplinkAddress, NamesWordsOfEveryArea)
{
    EXPECT_EQ(spanOf("DT100"), (Span{KindDT, 100, 1, 1}));
    EXPECT_EQ(spanOf("LD7"), (Span{KindLD, 7, 1, 1}));
    EXPECT_EQ(spanOf("FL12"), (Span{KindFL, 12, 1, 1}));
    EXPECT_EQ(spanOf("SV2"), (Span{KindSV, 2, 1, 1}));
    EXPECT_EQ(spanOf("EV2"), (Span{KindEV, 2, 1, 1}));
    EXPECT_EQ(spanOf("WX3"), (Span{KindWX, 3, 1, 1}));
    EXPECT_EQ(spanOf("WY0"), (Span{KindWY, 0, 1, 1}));
    EXPECT_EQ(spanOf("WR5"), (Span{KindWR, 5, 1, 1}));
    EXPECT_EQ(spanOf("WL1"), (Span{KindWL, 1, 1, 1}));
}

TEST(FplinkAddress, NamesRelaysByWordAndHexadecimalBit)
{
    EXPECT_EQ(spanOf("R10F"), (Span{KindR, 175, 1, 1}));
    EXPECT_EQ(spanOf("Y1F"), (Span{KindY, 31, 1, 1}));
    EXPECT_EQ(spanOf("L3"), (Span{KindL, 3, 1, 1}));
    EXPECT_EQ(spanOf("XA"), (Span{KindX, 10, 1, 1}));
    EXPECT_EQ(spanOf("X10"), (Span{KindX, 16, 1, 1}));
    EXPECT_EQ(spanOf("L0D"), (Span{KindL, 13, 1, 1}));
    EXPECT_EQ(spanOf("R9999F"), (Span{KindR, 159999, 1, 1}));
}

TEST(FplinkAddress, NamesContactsByNumber)
{
    EXPECT_EQ(spanOf("T5"), (Span{KindT, 5, 1, 1}));
    EXPECT_EQ(spanOf("C7"), (Span{KindC, 7, 1, 1}));
    EXPECT_EQ(spanOf("T19999"), (Span{KindT, 19999, 1, 1}));
}

TEST(FplinkAddress, TakesACountAndAStation)
{
    EXPECT_EQ(spanOf("DT100:8"), (Span{KindDT, 100, 8, 1}));
    EXPECT_EQ(spanOf("DT100*8"), (Span{KindDT, 100, 8, 1}));
    EXPECT_EQ(spanOf("DT100@2"), (Span{KindDT, 100, 1, 2}));
    EXPECT_EQ(spanOf("R10F:3@12"), (Span{KindR, 175, 3, 12}));
    EXPECT_EQ(spanOf("DT5@255"), (Span{KindDT, 5, 1, 255}));
    EXPECT_EQ(spanOf("DT5@0"), (Span{KindDT, 5, 1, 0}));
}

TEST(FplinkAddress, TakesLowerCaseAndLeadingZeros)
{
    EXPECT_EQ(spanOf("dt00100"), (Span{KindDT, 100, 1, 1}));
    EXPECT_EQ(spanOf("r010f"), (Span{KindR, 175, 1, 1}));
}

TEST(FplinkAddress, ReachesExactlyToTheEndOfTheArea)
{
    EXPECT_EQ(spanOf("DT99999"), (Span{KindDT, 99999, 1, 1}));
    EXPECT_EQ(spanOf("DT0:100000"), (Span{KindDT, 0, 100000, 1}));
    EXPECT_EQ(whyNot("DT100000"), "DT100000: DT ends at DT99999");
    EXPECT_EQ(whyNot("DT99999:2"), "DT99999:2: DT ends at DT99999");
    EXPECT_EQ(whyNot("LD10000"), "LD10000: LD ends at LD9999");
    EXPECT_EQ(whyNot("R10000F"), "R10000F: R ends at R9999F");
    EXPECT_EQ(whyNot("T20000"), "T20000: T ends at T19999");
}

TEST(FplinkAddress, SaysWhatIsWrong)
{
    EXPECT_EQ(whyNot(""), "an address is missing");
    EXPECT_EQ(whyNot("Q5"), "Q5: there is no area 'Q'; areas are X Y R L T C WX WY WR WL DT LD FL SV EV");
    EXPECT_EQ(whyNot("D5"), "D5: there is no area 'D'; areas are X Y R L T C WX WY WR WL DT LD FL SV EV");
    EXPECT_EQ(whyNot("5"), "5: there is no area ''; areas are X Y R L T C WX WY WR WL DT LD FL SV EV");
    EXPECT_EQ(whyNot("DT"), "DT: a number is missing behind DT");
    EXPECT_EQ(whyNot("LD"), "LD: a number is missing behind LD");
    EXPECT_EQ(whyNot("R"), "R: a number is missing behind R");
    EXPECT_EQ(whyNot("DT1A"), "DT1A: '1A' is not a decimal number");
    EXPECT_EQ(whyNot("DT-1"), "DT-1: '-1' is not a decimal number");
    EXPECT_EQ(whyNot("DT 1"), "DT 1: ' 1' is not a decimal number");
    EXPECT_EQ(whyNot("T1F"), "T1F: '1F' is not a decimal number");
    EXPECT_EQ(whyNot("R10G"), "R10G: the last character must be the bit, 0 to F");
    EXPECT_EQ(whyNot("R1A0"), "R1A0: '1A' is not a decimal word number");
    EXPECT_EQ(whyNot("R-1"), "R-1: '-' is not a decimal word number");
    EXPECT_EQ(whyNot("DT5:0"), "DT5:0: the count behind ':' must be a number from 1 to 1000000");
    EXPECT_EQ(whyNot("DT5:"), "DT5:: the count behind ':' must be a number from 1 to 1000000");
    EXPECT_EQ(whyNot("DT5:x"), "DT5:x: the count behind ':' must be a number from 1 to 1000000");
    EXPECT_EQ(whyNot("DT5@256"), "DT5@256: the station behind '@' must be a number from 0 to 255");
    EXPECT_EQ(whyNot("DT5@"), "DT5@: the station behind '@' must be a number from 0 to 255");
    EXPECT_NE(whyNot("DT99999999999999999999"), "");
    EXPECT_NE(whyNot("DT5:99999999999999999999"), "");
}

TEST(FplinkAddress, TakesNoDigitsOfOtherScripts)
{
    EXPECT_NE(whyNot("DT\u0665"), "");
    EXPECT_NE(whyNot("R1\uFF26"), "");
}

TEST(FplinkAddress, SpellsOutWhatATerminalWouldObey)
{
    EXPECT_EQ(whyNot("DT5\n"), "DT5\\n: '5\\n' is not a decimal number");
    EXPECT_EQ(whyNot("\x1b[2J"), "\\x1B[2J: there is no area ''; areas are X Y R L T C WX WY WR WL DT LD FL SV EV");
    EXPECT_EQ(whyNot("R\r0"), "R\\r0: '\\r' is not a decimal word number");
    EXPECT_EQ(whyNot("DT\u202e5"), "DT\\u202E5: '\\u202E5' is not a decimal number");
    EXPECT_EQ(whyNot("DT\xff"), "DT\\uFFFD: '\\uFFFD' is not a decimal number");
}

TEST(FplinkAddress, QuotesOnlyTheBeginningOfAnEndlessText)
{
    const std::string beginning = std::string(80, 'Z') + "...";
    EXPECT_EQ(whyNot(QString(100000, QLatin1Char('Z'))),
              beginning + ": there is no area '" + beginning + "'; areas are X Y R L T C WX WY WR WL DT LD FL SV EV");
    EXPECT_EQ(whyNot(QStringLiteral("DT") + QString(100000, QLatin1Char('Z'))),
              "DT" + std::string(78, 'Z') + "...: '" + beginning + "' is not a decimal number");
}

TEST(FplinkAddress, WritesWhatItReads)
{
    for (const char *text : {"DT100", "DT100:8", "R10F", "L3", "XF", "X10", "T5", "WX3:2"})
        EXPECT_EQ(addressOf(spanOf(text), false).toStdString(), text);
    EXPECT_EQ(addressOf({KindDT, 5, 2, 7}, true).toStdString(), "DT5:2@7");
}

TEST(FplinkEndpoint, IsAHostAndAPort)
{
    EXPECT_EQ(endpointOf("192.168.1.5:9094"), "192.168.1.5 9094 192.168.1.5:9094");
    EXPECT_EQ(endpointOf("plc-7.local:1"), "plc-7.local 1 plc-7.local:1");
    EXPECT_EQ(endpointOf("[::1]:65535"), "::1 65535 [::1]:65535");
    EXPECT_EQ(endpointOf("[fe80::1%2]:9094"), "fe80::1%2 9094 [fe80::1%2]:9094"); // on the interface with number 2
}

TEST(FplinkEndpoint, SaysWhatIsWrong)
{
    EXPECT_EQ(endpointOf("192.168.1.5"), "192.168.1.5: the port is missing; write HOST:PORT");
    EXPECT_EQ(endpointOf("[::1]"), "[::1]: the port is missing; write HOST:PORT");
    EXPECT_EQ(endpointOf("::1"), "::1: write an IPv6 address in brackets, [::1]:9094");
    EXPECT_EQ(endpointOf(":9094"), ":9094: the host is missing; write HOST:PORT");
    EXPECT_EQ(endpointOf("[]:9094"), "[]:9094: the host is missing; write HOST:PORT");
    for (const char *port : {"h:", "h:0", "h:65536", "h:-1", "h:x", "h:99999999999"})
        EXPECT_EQ(endpointOf(port), std::string(port) + ": the port must be a number from 1 to 65535");
}

TEST(FplinkEndpoint, SpellsOutWhatATerminalWouldObey)
{
    EXPECT_EQ(endpointOf("a\nb"), "a\\nb: the port is missing; write HOST:PORT");
    EXPECT_EQ(endpointOf("\x1b:1:2"), "\\x1B:1:2: write an IPv6 address in brackets, [::1]:9094");
    EXPECT_EQ(endpointOf("h:\t"), "h:\\t: the port must be a number from 1 to 65535");
}

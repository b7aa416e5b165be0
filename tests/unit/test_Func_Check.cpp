// test_Func_Check.cpp - check codes, digit conversions and the reply check.
//
//  - Expected codes are typed in: worked out by hand or read off published frames, never taken from the code under
//    test.
//  - Replies are written as they stand on the wire, check code and CR included.

#include "fresh_driver.h"
#include "frames/Func_Check.h"

#include <climits>

namespace
{

/// The bytes of \a text, in a buffer of exactly that size, so that a sanitizer sees any read past them.
std::vector<unsigned char> bytesOf(const std::string &text)
{
    return std::vector<unsigned char>(text.begin(), text.end());
}

std::vector<unsigned char> repeated(std::size_t count, unsigned char byte)
{
    return std::vector<unsigned char>(count, byte);
}

// CalXOR --------------------------------------------------------------------------------------------------------------

TEST(CalXOR, GivesTheCheckCodeOfAWholeRequest)
{
    std::vector<unsigned char> request = bytesOf("%01#WCSR00101");
    EXPECT_EQ(CalXOR(request.data(), 13), 0x22);
}

TEST(CalXOR, GivesTheCheckCodesOfPublishedReplies)
{
    std::vector<unsigned char> read = bytesOf("%01$RD05000A00");
    EXPECT_EQ(CalXOR(read.data(), 14), 0x62);
    std::vector<unsigned char> written = bytesOf("%01$WC");
    EXPECT_EQ(CalXOR(written.data(), 6), 0x14);
}

TEST(CalXOR, ReadsTheFirstByteForLengthsZeroAndOne)
{
    std::vector<unsigned char> bytes = {0xA5, 0x0F};
    EXPECT_EQ(CalXOR(bytes.data(), 0), 0xA5);
    EXPECT_EQ(CalXOR(bytes.data(), 1), 0xA5);
    EXPECT_EQ(CalXOR(bytes.data(), 2), 0xAA);
}

TEST(CalXOR, TakesBytesAsUnsigned)
{
    std::vector<unsigned char> bytes = {0x80, 0x7F, 0xFF};
    EXPECT_EQ(CalXOR(bytes.data(), 1), 0x80);
    EXPECT_EQ(CalXOR(bytes.data(), 2), 0xFF);
    EXPECT_EQ(CalXOR(bytes.data(), 3), 0x00);
}

TEST(CalXOR, ReachesTheLongestLength)
{
    std::vector<unsigned char> bytes = repeated(65535, 0x01);
    EXPECT_EQ(CalXOR(bytes.data(), 65534), 0x00);
    EXPECT_EQ(CalXOR(bytes.data(), 65535), 0x01);
}

// CalSUM --------------------------------------------------------------------------------------------------------------

TEST(CalSUM, OfNoBytesIsZeroAndReadsNothing)
{
    EXPECT_EQ(CalSUM(nullptr, 0), 0);
}

TEST(CalSUM, AddsBytesAsUnsigned)
{
    std::vector<unsigned char> bytes = {0xFF, 0x80, 0x01};
    EXPECT_EQ(CalSUM(bytes.data(), 1), 0xFF);
    EXPECT_EQ(CalSUM(bytes.data(), 2), 0x17F);
    EXPECT_EQ(CalSUM(bytes.data(), 3), 0x180);
}

TEST(CalSUM, KeepsTheLowSixteenBits)
{
    std::vector<unsigned char> full = repeated(300, 0xFF);
    EXPECT_EQ(CalSUM(full.data(), 257), 0xFFFF);
    full[257] = 0x01;
    EXPECT_EQ(CalSUM(full.data(), 258), 0x0000);
    full[257] = 0xFF;
    EXPECT_EQ(CalSUM(full.data(), 300), 0x2AD4);
}

TEST(CalSUM, ReachesTheLongestLength)
{
    std::vector<unsigned char> bytes = repeated(65535, 0xFF);
    EXPECT_EQ(CalSUM(bytes.data(), 65535), 0xFF01);
}

// CalCRC --------------------------------------------------------------------------------------------------------------

TEST(CalCRC, OfTheNineDigitsIsTheValuePublishedForThisCrc)
{
    std::vector<unsigned char> digits = bytesOf("123456789");
    EXPECT_EQ(CalCRC(digits.data(), 9), 0x4B37);
}

TEST(CalCRC, OfNoBytesIsItsStartValueAndReadsNothing)
{
    EXPECT_EQ(CalCRC(nullptr, 0), 0xFFFF);
}

TEST(CalCRC, OfSingleBytesAndPairs)
{
    std::vector<unsigned char> zero = {0x00};
    EXPECT_EQ(CalCRC(zero.data(), 1), 0x40BF);
    std::vector<unsigned char> one = {0x01};
    EXPECT_EQ(CalCRC(one.data(), 1), 0x807E);
    std::vector<unsigned char> full = {0xFF, 0xFF};
    EXPECT_EQ(CalCRC(full.data(), 1), 0x00FF);
    EXPECT_EQ(CalCRC(full.data(), 2), 0x0000);
}

TEST(CalCRC, SeesEveryByteValue)
{
    std::vector<unsigned char> all;
    for (int value = 0; value < 256; ++value)
        all.push_back(static_cast<unsigned char>(value));
    EXPECT_EQ(CalCRC(all.data(), 256), 0xDE6C);
}

TEST(CalCRC, ReachesTheLongestLength)
{
    std::vector<unsigned char> bytes = repeated(65535, 0x00);
    EXPECT_EQ(CalCRC(bytes.data(), 65535), 0x40BF);
}

// CalLRC --------------------------------------------------------------------------------------------------------------

TEST(CalLRC, OfNoBytesIs256AndReadsNothing)
{
    EXPECT_EQ(CalLRC(nullptr, 0), 256);
}

TEST(CalLRC, LiesBetween1And256BecauseTheAdditionComesAfterTheMask)
{
    std::vector<unsigned char> zero = {0x00};
    EXPECT_EQ(CalLRC(zero.data(), 1), 256);
    std::vector<unsigned char> one = {0x01};
    EXPECT_EQ(CalLRC(one.data(), 1), 255);
    std::vector<unsigned char> full = {0xFF};
    EXPECT_EQ(CalLRC(full.data(), 1), 1);
}

TEST(CalLRC, OfASumThatIsAMultipleOf256Is256)
{
    std::vector<unsigned char> bytes = {0x80, 0x80, 0x01};
    EXPECT_EQ(CalLRC(bytes.data(), 2), 256);
    EXPECT_EQ(CalLRC(bytes.data(), 3), 255);
}

TEST(CalLRC, ReachesTheLongestLength)
{
    std::vector<unsigned char> bytes = repeated(65535, 0x00);
    bytes[65534] = 0x10;
    EXPECT_EQ(CalLRC(bytes.data(), 65534), 256);
    EXPECT_EQ(CalLRC(bytes.data(), 65535), 240);
}

// Digits --------------------------------------------------------------------------------------------------------------

TEST(DigitalToASCII, WritesUpperCaseHexadecimalDigits)
{
    const std::string digits = "0123456789ABCDEF";
    for (int value = 0; value < 16; ++value)
        EXPECT_EQ(DigitalToASCII(value), digits[std::size_t(value)]) << "value " << value;
}

TEST(DigitalToASCII, ChecksNoRange)
{
    EXPECT_EQ(DigitalToASCII(-1), '/');
    EXPECT_EQ(DigitalToASCII(16), 'G');
}

TEST(ASCIIToDigital, ReadsUpperCaseHexadecimalDigits)
{
    const std::string digits = "0123456789ABCDEF";
    for (int value = 0; value < 16; ++value)
        EXPECT_EQ(ASCIIToDigital(digits[std::size_t(value)]), value);
}

TEST(ASCIIToDigital, TakesTheSixCharactersBehindTheNineAs10To15)
{
    const std::string behindNine = ":;<=>?";
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(ASCIIToDigital(behindNine[std::size_t(i)]), 10 + i);
}

TEST(ASCIIToDigital, GivesZeroBelowTheDigitsAndForTheAtSign)
{
    EXPECT_EQ(ASCIIToDigital('/'), 0);
    EXPECT_EQ(ASCIIToDigital(0), 0);
    EXPECT_EQ(ASCIIToDigital(-1), 0);
    EXPECT_EQ(ASCIIToDigital('@'), 0);
}

TEST(ASCIIToDigital, DoesNotFoldLowerCase)
{
    EXPECT_EQ(ASCIIToDigital('a'), 42);
    EXPECT_EQ(ASCIIToDigital('f'), 47);
    EXPECT_EQ(ASCIIToDigital('G'), 16);
    EXPECT_EQ(ASCIIToDigital(255), 200);
}

// The reply check -----------------------------------------------------------------------------------------------------

enum { Rejected = 0, GoodWithData = 1, GoodWithoutData = 2 };
enum { ReplyWithData = 0, ReplyWithoutData = 1 };

class CheckReply : public FreshDriver
{
protected:
    /// CheckGetData's answer to the whole \a reply while a request with this varFlag is at the head of the queue.
    int checked(const std::string &reply, qint32 varFlag = ReplyWithData)
    {
        return checkedWithLength(reply, int(reply.size()), varFlag);
    }

    int checkedWithLength(const std::string &reply, int length, qint32 varFlag = ReplyWithData)
    {
        Protocol request;
        request.var = variable();
        request.var.varFlag = varFlag;
        PLC_driver.lst_Protocol.clear();
        PLC_driver.lst_Protocol.append(request);
        QByteArray bytes(reply.data(), int(reply.size()));
        return CheckGetData(&bytes, length);
    }
};

TEST_F(CheckReply, AGoodReplyIsToBeStoredIfItsRequestAsksForData)
{
    EXPECT_EQ(checked("%01$RD341212\r", ReplyWithData), GoodWithData);
    EXPECT_EQ(checked("%01$RD341212\r", ReplyWithoutData), GoodWithoutData);
}

TEST_F(CheckReply, PublishedRepliesAreGood)
{
    EXPECT_EQ(checked("%01$RD05000A0062\r", ReplyWithData), GoodWithData);
    EXPECT_EQ(checked("%01$WC14\r", ReplyWithoutData), GoodWithoutData);
    EXPECT_EQ(checked("%01$WC14\r", ReplyWithData), GoodWithData);
}

TEST_F(CheckReply, LowerCaseDataDigitsAreAccepted)
{
    EXPECT_EQ(checked("%01$RD3a1247\r"), GoodWithData);
}

TEST_F(CheckReply, AnErrorResponseIsRejectedOnlyWhereDataWasAskedFor)
{
    EXPECT_EQ(checked("%01!6102\r", ReplyWithData), Rejected);
    EXPECT_EQ(checked("%01!6102\r", ReplyWithoutData), GoodWithoutData);
    EXPECT_EQ(checked("%01!05\r", ReplyWithData), Rejected);
}

TEST_F(CheckReply, AnErrorResponseWithAWrongCheckCodeIsRejectedEitherWay)
{
    EXPECT_EQ(checked("%01!6103\r", ReplyWithData), Rejected);
    EXPECT_EQ(checked("%01!6103\r", ReplyWithoutData), Rejected);
}

TEST_F(CheckReply, OnlyTheVarFlags0And1AreKnown)
{
    EXPECT_EQ(checked("%01$RD341212\r", 2), Rejected);
    EXPECT_EQ(checked("%01$RD341212\r", -1), Rejected);
    EXPECT_EQ(checked("%01$RD341212\r", 256), Rejected);
}

TEST_F(CheckReply, StationEchoedCommandMarkAndLengthAreNotExamined)
{
    EXPECT_EQ(checked("%99$XX01\r"), GoodWithData); // another station, another command, shorter than asked
    EXPECT_EQ(checked("%ab26\r"), GoodWithData);    // no mark at all: byte 3 is the check code's first digit
}

TEST_F(CheckReply, HeaderTerminatorAndEachCheckDigitMustFit)
{
    EXPECT_EQ(checked("#01$RD341214\r"), Rejected); // header; the check code fits these bytes
    EXPECT_EQ(checked("%01$RD341212\n"), Rejected); // terminator
    EXPECT_EQ(checked("%01$RD341202\r"), Rejected); // high digit
    EXPECT_EQ(checked("%01$RD341213\r"), Rejected); // low digit
    EXPECT_EQ(checked("%01$RD341221\r"), Rejected); // digits exchanged
    EXPECT_EQ(checked("%01$RD341312\r"), Rejected); // a data character
}

TEST_F(CheckReply, TheCheckCodeMustBeUpperCase)
{
    EXPECT_EQ(checked("%01$RD90001F\r"), GoodWithData);
    EXPECT_EQ(checked("%01$RD90001f\r"), Rejected);
    EXPECT_EQ(checked("%\x8A"
                      "AF\r"),
              GoodWithData);
    EXPECT_EQ(checked("%\x8A"
                      "aF\r"),
              Rejected);
}

TEST_F(CheckReply, TwoAsterisksAreNoCheckCodeForAReply)
{
    EXPECT_EQ(checked("%01$RD3412**\r"), Rejected);
}

TEST_F(CheckReply, ReplyBytesAreUnsigned)
{
    EXPECT_EQ(checked("%01$RD\xFF\x80"
                      "69\r"),
              GoodWithData);
}

TEST_F(CheckReply, FourBytesAreTheShortestReply)
{
    EXPECT_EQ(checked("%25\r"), GoodWithData); // the check code of the header alone
    EXPECT_EQ(checked("%5\r"), Rejected);
    EXPECT_EQ(checked("%\r"), Rejected);
    EXPECT_EQ(checked("%"), Rejected);
    EXPECT_EQ(checked(""), Rejected);
}

TEST_F(CheckReply, FewerThanFourBytesAreRejectedBeforeAnyByteIsRead)
{
    EXPECT_EQ(checkedWithLength("", 3), Rejected);
    EXPECT_EQ(checkedWithLength("%25\r", 3), Rejected);
    EXPECT_EQ(CheckGetData(nullptr, 0), Rejected);
}

TEST_F(CheckReply, NoReplyAtAllIsRejectedWhateverItsLength)
{
    EXPECT_EQ(CheckGetData(nullptr, 4), Rejected);
    EXPECT_EQ(CheckGetData(nullptr, 9), Rejected);
}

TEST_F(CheckReply, EveryTruncationOfAReplyIsRejected)
{
    const std::string whole = "%01$RD05000A0062\r";
    for (std::size_t bytes = 0; bytes < whole.size(); ++bytes)
        EXPECT_EQ(checked(whole.substr(0, bytes)), Rejected) << "first " << bytes << " bytes";
}

TEST_F(CheckReply, EveryChangedBitOfAReplyIsNoticed)
{
    const std::string whole = "%01$WC14\r";
    for (std::size_t byte = 0; byte < whole.size(); ++byte) {
        for (int bit = 0; bit < 8; ++bit) {
            std::string damaged = whole;
            damaged[byte] = static_cast<char>(damaged[byte] ^ (1 << bit));
            EXPECT_EQ(checked(damaged, ReplyWithoutData), Rejected) << "byte " << byte << ", bit " << bit;
        }
    }
}

TEST_F(CheckReply, TheReportedLengthDecidesWhereTheReplyEnds)
{
    EXPECT_EQ(checkedWithLength("%01$WC14\rnoise", 9), GoodWithData);
    EXPECT_EQ(checkedWithLength("%01$WC14\rnoise", 14), Rejected);
}

TEST_F(CheckReply, ALengthBeyondTheBytesThatAreThereIsRejected)
{
    EXPECT_EQ(checkedWithLength("%01$WC14\r", 10), Rejected);
    EXPECT_EQ(checkedWithLength("%01$WC14\r", INT_MAX), Rejected);
    EXPECT_EQ(checkedWithLength("", 4), Rejected);
}

TEST_F(CheckReply, ANegativeLengthIsRejected)
{
    EXPECT_EQ(checkedWithLength("%01$WC14\r", -1), Rejected);
    EXPECT_EQ(checkedWithLength("%01$WC14\r", INT_MIN), Rejected);
}

// The number of bytes under the check code is a 16-bit one: it starts again at 0 behind 65535.

TEST_F(CheckReply, TheLongestReplyIsCheckedWhole)
{
    // 65535 bytes under the check code: the header, 0x11 65533 times, 0x5A once. 0x25 ^ 0x11 ^ 0x5A = 0x6E.
    const std::string longest = "%" + std::string(65533, '\x11') + "\x5A";
    EXPECT_EQ(checked(longest + "6E\r"), GoodWithData);
    EXPECT_EQ(checked(longest + "25\r"), Rejected);
}

TEST_F(CheckReply, BehindTheLongestReplyTheCountOfCheckedBytesStartsAgain)
{
    // 65536 bytes count as 0 and 65537 as 1: for both the header alone is checked, 0x25.
    const std::string counted0 = "%" + std::string(65534, '\x11') + "\x5A";
    EXPECT_EQ(checked(counted0 + "25\r"), GoodWithData);
    EXPECT_EQ(checked(counted0 + "7F\r"), Rejected); // of all of its bytes
    const std::string counted1 = "%" + std::string(65535, '\x11') + "\x5A";
    EXPECT_EQ(checked(counted1 + "25\r"), GoodWithData);
    EXPECT_EQ(checked(counted1 + "6E\r"), Rejected); // of all of its bytes
    // 65538 count as 2: 0x25 ^ 0x40 = 0x65.
    EXPECT_EQ(checked("%@" + std::string(65535, '\x11') + "\x5A" + "65\r"), GoodWithData);
}

TEST_F(CheckReply, OnlyTheHeadOfTheQueueIsLookedAtAndNothingIsRemoved)
{
    Protocol head, next;
    head.var.varFlag = ReplyWithoutData;
    next.var.varFlag = ReplyWithData;
    PLC_driver.lst_Protocol.append(head);
    PLC_driver.lst_Protocol.append(next);
    QByteArray reply("%01$WC14\r");
    EXPECT_EQ(CheckGetData(&reply, 9), GoodWithoutData);
    EXPECT_EQ(countOf(PLC_driver.lst_Protocol), 2);
    EXPECT_EQ(text(reply), "%01$WC14\r");
}

} // namespace

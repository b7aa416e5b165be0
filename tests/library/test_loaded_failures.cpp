// test_loaded_failures.cpp - bad replies and none, repeats, abandonment and what the host is told.

#include "loaded_driver.h"

namespace
{

class LoadedFailures : public LoadedLibrary
{
};

/// Settings under which the first failure abandons the request.
class LoadedFailuresAtOnce : public LoadedLibrary
{
protected:
    LoadedFailuresAtOnce() { info.retryLimit = 0; }
};

} // namespace

TEST_F(LoadedFailures, AFrameIsSentAgainUntilTheRepeatsAreUsedUp)
{
    poll({item(KindDT, "100", 5), item(KindDT, "200", 5)});
    EXPECT_EQ("%01#RDD0010000104**\r", next());
    EXPECT_EQ(0, noAnswer());
    EXPECT_EQ(1, info.retryCount);
    EXPECT_EQ("%01#RDD0010000104**\r", next());
    EXPECT_EQ(0, noAnswer());
    EXPECT_EQ(2, info.retryCount);
    EXPECT_TRUE(commFailed().empty());
    EXPECT_EQ("%01#RDD0010000104**\r", next());
    EXPECT_EQ(41, noAnswer());
    EXPECT_EQ(0, info.retryCount);
    EXPECT_EQ(std::vector<CommFailed>({{true, 0, 1}}), commFailed());
    EXPECT_TRUE(readFinished().empty());
    EXPECT_TRUE(lib.PLC_driver->lst_Protocol.isEmpty());
    EXPECT_EQ("%01#RDD0020000204**\r", next()) << "the list has turned";
}

TEST_F(LoadedFailures, AGoodReplyDoesNotForgetEarlierFailures)
{
    poll({item(KindDT, "100", 5)});
    next();
    EXPECT_EQ(0, noAnswer());
    EXPECT_EQ(0, noAnswer());
    next();
    EXPECT_EQ(1, answer("%01$RD0100020003000400050017\r"));
    EXPECT_EQ(2, info.retryCount);
    next();
    EXPECT_EQ(41, noAnswer());
}

TEST_F(LoadedFailures, AFailureStopsTheCycleCount)
{
    poll({item(KindDT, "100", 5)});
    for (int i = 0; i < 2; ++i) {
        next();
        EXPECT_EQ(1, answer("%01$RD0100020003000400050017\r"));
    }
    EXPECT_EQ(1, info.cycleDone);
    next();
    EXPECT_EQ(0, noAnswer());
    EXPECT_EQ(0, info.cycleDone);
    EXPECT_EQ(0, lib.PLC_driver->pollReplyCount);
    EXPECT_EQ(1, lib.PLC_driver->bCommFail);
}

TEST_F(LoadedFailures, ARepeatOfTheSecondFrameAbandonsTheWholeGroup)
{
    poll({item(KindDT, "0", 1), item(KindDT, "10", 1), item(KindDT, "100", 5)});
    EXPECT_EQ("%01#MDFFFFFF**\r", next());
    EXPECT_EQ(1, answer("%01$MD09\r"));
    for (const int code : {0, 0, 41}) {
        EXPECT_EQ("%01#MDD00010D00000**\r", next());
        EXPECT_EQ(code, noAnswer());
    }
    EXPECT_TRUE(lib.PLC_driver->lst_Protocol.isEmpty()) << "the third frame went with it";
    EXPECT_EQ("%01#RDD0010000104**\r", next());
}

TEST_F(LoadedFailures, ValuesStayAsTheyWere)
{
    poll({item(KindDT, "100", 5)});
    next();
    EXPECT_EQ(1, answer("%01$RD0100020003000400050017\r"));
    for (const int code : {0, 0, 41}) {
        next();
        EXPECT_EQ(code, noAnswer());
    }
    EXPECT_EQ("01 00 02 00 03 00 04 00 05 00", hex(read(KindDT, "100", 5)));
}

TEST_F(LoadedFailuresAtOnce, EveryWayToFailHasItsCode)
{
    const struct {
        const char *what;
        std::string reply;
        int code;
    } rows[] = {
        {"nothing", "", 41},
        {"a byte too few", "%01$RD05000A006\r", 71},
        {"a byte too many", "%01$RD05000A00062\r", 71},
        {"an error response, which is shorter", "%01!6102\r", 71},
        {"three bytes", "%0\r", 71},
        {"another header", "$01$RD05000A0063\r", 11},
        {"no CR", "%01$RD05000A00620", 11},
        {"a wrong check code", "%01$RD05000A0063\r", 11},
        {"an unchecked check code", "%01$RD05000A00**\r", 11},
        {"an error response of the right length", "%01!610000000002\r", 11},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.what);
        readOnce(KindDT, "0", 2, 0, 0);
        EXPECT_EQ("%01#RDD0000000001**\r", next());
        EXPECT_EQ(row.code, answer(row.reply));
        EXPECT_EQ("", next());
    }
    EXPECT_EQ("00 00 00 00", hex(read(KindDT, "0", 2)));
}

TEST_F(LoadedFailuresAtOnce, ALowerCaseCheckCodeIsABadReply)
{
    readOnce(KindDT, "0", 1, 0, 0);
    EXPECT_EQ("%01#RDD0000000000**\r", next());
    EXPECT_EQ(11, answer("%01$RD48001a\r"));
    readOnce(KindDT, "0", 1, 0, 0);
    EXPECT_EQ("%01#RDD0000000000**\r", next());
    EXPECT_EQ(1, answer("%01$RD48001A\r"));
}

TEST_F(LoadedFailuresAtOnce, LowerCaseDigitsInTheDataAreTaken)
{
    readOnce(KindDT, "100", 1);
    next();
    EXPECT_EQ(1, answer("%01$RD3a1247\r"));
    EXPECT_EQ("3A 12", hex(read(KindDT, "100", 1)));
}

TEST_F(LoadedFailuresAtOnce, TheRequesterChoosesTheDigitOfAFailureCode)
{
    const struct {
        int ownerId, silent, badCheck;
    } rows[] = {{-1, 41, 11}, {0, 41, 11}, {1, 42, 12}, {2, 43, 13}, {10, 51, 21}, {11, 52, 22}, {12, 41, 11}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.ownerId);
        write(KindDT, "5", "\x34\x12", 1, 1, row.ownerId, 8);
        EXPECT_NE("", next());
        EXPECT_EQ(row.silent, noAnswer());
        EXPECT_EQ(row.ownerId, commFailed().back().ownerId);
        EXPECT_EQ("", next());
        write(KindDT, "5", "\x34\x12", 1, 1, row.ownerId, 8);
        EXPECT_NE("", next());
        EXPECT_EQ(row.badCheck, answer("%01$WD00\r"));
        EXPECT_EQ("", next());
    }
}

TEST_F(LoadedFailuresAtOnce, AnAbandonedWriteEmptiesTheWriteListOfASingleStation)
{
    write(KindDT, "1", "\x34\x12", 1, 1, 5, 6);
    write(KindDT, "2", "\x34\x12", 1, 1, 7, 8);
    write(KindDT, "3", "\x34\x12", 1, 1, 7, 8);
    next();
    EXPECT_EQ(46, noAnswer());
    EXPECT_EQ(5, result->ownerId);
    EXPECT_EQ(6, result->ownerTag);
    EXPECT_EQ(1, result->address);
    EXPECT_TRUE(result->data.isEmpty());
    EXPECT_TRUE(lib.PLC_driver->lst_WriteVar.isEmpty());
    EXPECT_EQ(std::vector<CommFailed>({{true, 5, 1}}), commFailed());
}

TEST_F(LoadedFailuresAtOnce, AnAbandonedOneShotReadIsToldAndTakesItsOtherBlocksAlong)
{
    readOnce(KindDT, "0", 40, 3, 4);
    readOnce(KindDT, "0", 16, 3, 5);
    write(KindR, "0", std::string(1, '\1'), 1);
    next();
    EXPECT_EQ(1, answer("%01$WC14\r"));
    EXPECT_EQ("%01#RDD0000000015**\r", next());
    write(KindR, "1", std::string(1, '\1'), 1);
    EXPECT_EQ(44, noAnswer());
    EXPECT_EQ(std::vector<ReadFinished>({{77, 3, 4, 2}}), readFinished());
    EXPECT_EQ(std::vector<CommFailed>({{true, 3, 1}}), commFailed());
    ASSERT_EQ(1, countOf(lib.PLC_driver->lst_OnceReadVar));
    EXPECT_EQ(5, lib.PLC_driver->lst_OnceReadVar.at(0).ownerTag);
    EXPECT_TRUE(lib.PLC_driver->lst_WriteVar.isEmpty()) << "pending writes of the only station go too";
}

TEST_F(LoadedFailuresAtOnce, ThePollingListIsNeverPruned)
{
    poll({item(KindDT, "100", 5), item(KindDT, "200", 5)});
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(i % 2 ? "%01#RDD0020000204**\r" : "%01#RDD0010000104**\r", next());
        EXPECT_EQ(41, noAnswer());
    }
    EXPECT_EQ(2, countOf(lib.PLC_driver->lst_PollingReadVar));
}

TEST_F(LoadedFailuresAtOnce, WhileTheLinkIsDownAWriteIsShownAtOnceAndNotAgainWhenItGoesOut)
{
    poll({item(KindDT, "200", 5)});
    next();
    EXPECT_EQ(41, noAnswer());
    write(KindDT, "1", "\x34\x12", 1);
    EXPECT_EQ("34 12", hex(read(KindDT, "1", 1))) << "shown when it was queued";
    info.hostMode = 0;
    write(KindDT, "1", "\x78\x56", 1);
    EXPECT_EQ("%01#WDD0000100001341254\r", next());
    EXPECT_EQ("78 56", hex(read(KindDT, "1", 1))) << "not mirrored a second time";
}

TEST_F(LoadedFailuresAtOnce, AnAnswerWithNothingAskedIsGoodAndChangesNothing)
{
    poll({item(KindDT, "200", 5)});
    EXPECT_EQ(1, answer("%01$RD05000A0062\r"));
    EXPECT_EQ(1, noAnswer());
    EXPECT_EQ(0, lib.PLC_driver->bCommFail);
    EXPECT_EQ(0, info.retryCount);
    EXPECT_EQ(0, lib.PLC_driver->pollReplyCount);
    EXPECT_EQ(100, lib.PLC_driver->curReqKind);
    EXPECT_TRUE(commFailed().empty());
}

TEST_F(LoadedFailuresAtOnce, ALengthBeyondTheBytesIsJudgedByTheBytes)
{
    readOnce(KindDT, "0", 2, 0, 0);
    next();
    QByteArray cut("%01$RD0500", 10);
    EXPECT_EQ(11, lib.DataCom(&cut, 17)->result);
    EXPECT_EQ("", next());
    readOnce(KindDT, "0", 2, 0, 0);
    next();
    QByteArray none;
    EXPECT_EQ(11, lib.DataCom(&none, 17)->result);
    EXPECT_EQ("", next());
    readOnce(KindDT, "0", 2, 0, 0);
    next();
    EXPECT_EQ(71, lib.DataCom(&none, -1)->result);
    EXPECT_EQ("", next());
    readOnce(KindDT, "0", 2, 0, 0);
    next();
    EXPECT_EQ(41, lib.DataCom(nullptr, 0)->result);
    EXPECT_EQ("00 00 00 00", hex(read(KindDT, "0", 2)));
}

TEST_F(LoadedFailuresAtOnce, AOneShotReadWhoseListWasEmptiedEndsWithoutACall)
{
    readOnce(KindDT, "0", 2);
    next();
    lib.PLC_driver->lst_OnceReadVar.clear();
    EXPECT_EQ(1, answer("%01$RD05000A0062\r"));
    EXPECT_TRUE(readFinished().empty());
    EXPECT_EQ("05 00 0A 00", hex(read(KindDT, "0", 2)));
}

// test_loaded_exchange.cpp - polling, one-shot reads and writes of one station over a link without faults.

#include "loaded_driver.h"

namespace
{

class LoadedExchange : public LoadedLibrary
{
};

const std::string kOn(1, '\1');
const std::string kOff(1, '\0');

} // namespace

// One-shot reads ----------------------------------------------------------------------------------------------------

TEST_F(LoadedExchange, APublishedReadAndItsPublishedResponseStoreFiveAndTen)
{
    EXPECT_EQ(1, readOnce(KindDT, "0", 2));
    EXPECT_EQ("%01#RDD0000000001**\r", next());
    EXPECT_EQ(20, request->frameLen);
    EXPECT_EQ(17, request->replyLen);
    EXPECT_EQ(6, request->dataPos);
    EXPECT_EQ(8, request->dataLen);
    EXPECT_EQ(1, info.framesTotal);
    EXPECT_EQ(0, info.framesDone);
    EXPECT_EQ(2, lib.PLC_driver->curReqKind);

    EXPECT_EQ(1, answer("%01$RD05000A0062\r"));

    EXPECT_EQ(1, info.framesDone);
    EXPECT_EQ("05 00 0A 00", hex(read(KindDT, "0", 2)));
    EXPECT_EQ(std::vector<ReadFinished>({{77, 3, 4, 1}}), readFinished());
    EXPECT_TRUE(commFailed().empty());
    EXPECT_TRUE(lib.PLC_driver->lst_OnceReadVar.isEmpty());
    EXPECT_EQ("", next());
}

TEST_F(LoadedExchange, EveryAreaIsReadWithItsOwnCommandAndStoredWhereTheHostFindsIt)
{
    const struct {
        int kind;
        const char *text;
        int count;
        const char *request;
        int replyLen;
        const char *reply;
        const char *values;
    } rows[] = {
        {KindX, "0E", 20, "%01#RCCX00000002**\r", 21, "%01$RC0080010002001A\r",
         "00 01 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01"},
        {KindY, "10F", 1, "%01#RCCY00100010**\r", 13, "%01$RC008019\r", "01"},
        {KindR, "10F", 2, "%01#RCCR00100011**\r", 17, "%01$RC0080010018\r", "01 01"},
        {KindL, "5", 1, "%01#RCCL00000000**\r", 13, "%01$RC200013\r", "01"},
        {KindT, "33", 2, "%01#RCCT00020002**\r", 13, "%01$RC020013\r", "01 00"},
        {KindC, "47", 2, "%01#RCCC00020003**\r", 17, "%01$RC0080000019\r", "01 00"},
        {KindWX, "3", 1, "%01#RCCX00030003**\r", 13, "%01$RC341215\r", "34 12"},
        {KindWY, "3", 16, "%01#RCCY00030018**\r", 73,
         "%01$RC0100020003000400050006000700080009000A000B000C000D000E000F00FFFF17\r",
         "01 00 02 00 03 00 04 00 05 00 06 00 07 00 08 00 09 00 0A 00 0B 00 0C 00 0D 00 0E 00 0F 00 FF FF"},
        {KindWR, "3", 2, "%01#RCCR00030004**\r", 17, "%01$RCCDAB341211\r", "CD AB 34 12"},
        {KindWL, "9999", 1, "%01#RCCL99999999**\r", 13, "%01$RC008019\r", "00 80"},
        {KindDT, "12345", 1, "%01#RDD1234512345**\r", 13, "%01$RDFF7F67\r", "FF 7F"},
        {KindLD, "7", 2, "%01#RDL0000700008**\r", 17, "%01$RD0100020015\r", "01 00 02 00"},
        {KindFL, "99999", 1, "%01#RDF9999999999**\r", 13, "%01$RD341212\r", "34 12"},
        {KindSV, "2", 1, "%01#RS0002000206\r", 13, "%01$RS640003\r", "64 00"},
        {KindEV, "7", 3, "%01#RK0007000910\r", 21, "%01$RK01000200030019\r", "01 00 02 00 03 00"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.request);
        EXPECT_EQ(1, readOnce(row.kind, row.text, row.count));
        EXPECT_EQ(row.request, next());
        EXPECT_EQ(row.replyLen, request->replyLen);
        EXPECT_EQ(6, request->dataPos);
        EXPECT_EQ(row.replyLen - 9, request->dataLen);
        EXPECT_EQ(1, answer(row.reply));
        EXPECT_EQ(row.values, hex(read(row.kind, row.text, row.count)));
        EXPECT_EQ("", next()); // the empty polling list lets the next one-shot read through
    }
    EXPECT_EQ(15u, readFinished().size());
}

TEST_F(LoadedExchange, ALongOneShotReadIsCutIntoBlocksOfSixteenAndToldOnceAtItsEnd)
{
    EXPECT_EQ(3, readOnce(KindDT, "100", 40));
    EXPECT_EQ(3, readOnce(KindDT, "100", 40)) << "the same requester again adds nothing";
    EXPECT_EQ(6, readOnce(KindDT, "100", 40, 3, 5)) << "another tag is another request";

    const std::string sixteen = "01000000000000000000000000000000000000000000000000000000000000FF";
    EXPECT_EQ("%01#RDD0010000115**\r", next());
    EXPECT_EQ(1, answer("%01$RD" + sixteen + "17\r"));
    EXPECT_TRUE(readFinished().empty());
    EXPECT_EQ("%01#RDD0011600131**\r", next());
    EXPECT_EQ(1, answer("%01$RD" + sixteen + "17\r"));
    EXPECT_TRUE(readFinished().empty());
    EXPECT_EQ("%01#RDD0013200139**\r", next());
    EXPECT_EQ(41, request->replyLen);
    EXPECT_EQ(1, answer("%01$RD0100000000000000000000000000CDAB13\r"));
    EXPECT_EQ(std::vector<ReadFinished>({{77, 3, 4, 1}}), readFinished());
    EXPECT_EQ(3, countOf(lib.PLC_driver->lst_OnceReadVar));
    EXPECT_EQ("CD AB", hex(read(KindDT, "139", 1)));
}

TEST_F(LoadedExchange, TheCallersRecordShowsWhatAOneShotReadBecame)
{
    RW_VAR var;
    var.areaKind = KindX;
    var.addrText = QString::fromLatin1("0E");
    var.count = 20;
    var.station = 9;
    var.extra1 = 5;
    var.extra2 = 6;
    EXPECT_EQ(1, lib.AddListOnceReadVar(&var, 0));
    EXPECT_EQ(KindWX, var.areaKind);
    EXPECT_EQ(0, var.address);
    EXPECT_EQ(3, var.count);
    EXPECT_EQ(1, var.station);
    EXPECT_EQ(0, var.extra1);
    EXPECT_EQ(0, var.extra2);
}

TEST_F(LoadedExchange, ABadAddressQueuesNoOneShotReadAndLeavesTheRecord)
{
    RW_VAR var;
    var.areaKind = KindX;
    var.count = 20;
    var.station = 9;
    var.extra1 = 5;
    EXPECT_EQ(0, lib.AddListOnceReadVar(&var, 0)) << "no text";
    var.areaKind = KindDT;
    var.addrText = QString::fromLatin1("-1");
    EXPECT_EQ(0, lib.AddListOnceReadVar(&var, 0));
    EXPECT_EQ(9, var.station);
    EXPECT_EQ(5, var.extra1);
    EXPECT_EQ(20, var.count);
    EXPECT_TRUE(lib.PLC_driver->lst_OnceReadVar.isEmpty());
}

TEST_F(LoadedExchange, ADirectOneShotReadGoesOutAsItStands)
{
    RW_VAR var;
    var.areaKind = KindDT;
    var.address = 70;
    var.count = 30; // not cut
    var.station = 4;
    EXPECT_EQ(1, lib.AddListOnceReadVar(&var, 1));
    EXPECT_EQ(2, lib.AddListOnceReadVar(&var, 1)) << "no duplicate check";
    EXPECT_EQ("%04#RDD0007000099**\r", next());
    EXPECT_EQ(129, request->replyLen);
}

// Polling -----------------------------------------------------------------------------------------------------------

TEST_F(LoadedExchange, APolledBlockIsReadAndShownAndTheCycleEndsWithTheNextGoodReply)
{
    EXPECT_EQ(1, poll({item(KindDT, "100", 16)}));
    EXPECT_EQ("%01#RDD0010000115**\r", next());
    EXPECT_EQ(73, request->replyLen);
    EXPECT_EQ(6, request->dataPos);
    EXPECT_EQ(64, request->dataLen);
    EXPECT_EQ(0, lib.PLC_driver->curReqKind);
    EXPECT_EQ(1, countOf(*lib.qmap_list));
    EXPECT_EQ(1, *lib.qmap_length);

    const std::string reply = "%01$RD3412020003000400050006000700080009000A000B000C000D000E000F00CDAB11\r";
    EXPECT_EQ(1, answer(reply));
    EXPECT_EQ(0, info.cycleDone);
    EXPECT_EQ("34 12 02 00", hex(read(KindDT, "100", 2)));
    EXPECT_EQ("CD AB 00 00", hex(read(KindDT, "115", 2)));
    EXPECT_EQ(0, result->ownerId);
    EXPECT_EQ(-1, result->ownerTag);
    EXPECT_EQ(10, result->areaKind);
    EXPECT_EQ(100, result->address);
    EXPECT_EQ(16, result->count);
    EXPECT_EQ("100", result->addrText.toStdString());

    EXPECT_EQ("%01#RDD0010000115**\r", next());
    EXPECT_EQ(1, answer(reply));
    EXPECT_EQ(1, info.cycleDone);
    EXPECT_TRUE(readFinished().empty()) << "polling is not reported";
}

TEST_F(LoadedExchange, ShortEntriesAreReadTogetherThroughTheMonitor)
{
    EXPECT_EQ(3, poll({item(KindDT, "0", 1), item(KindDT, "10", 1), item(KindWY, "3", 1)}));
    EXPECT_EQ("%01#MDFFFFFF**\r", next());
    EXPECT_EQ(9, request->replyLen);
    EXPECT_EQ(88, request->var.extra1);
    EXPECT_EQ(1, request->var.varFlag);
    EXPECT_EQ(3, info.framesTotal);
    EXPECT_EQ(3, countOf(*lib.qmap_list));
    EXPECT_EQ(0, lib.qmap_list->at(0).extra1);
    EXPECT_EQ(1, answer("%01$MD09\r"));
    EXPECT_EQ(1, info.framesDone);

    EXPECT_EQ("%01#MDD00010D00000WY00003**\r", next());
    EXPECT_EQ(9, request->replyLen);
    EXPECT_EQ(1, answer("%01$MD09\r"));

    EXPECT_EQ("%01#MG**\r", next());
    EXPECT_EQ(26, request->replyLen);
    EXPECT_EQ(11, request->dataPos);
    EXPECT_EQ(12, request->dataLen);
    EXPECT_EQ(0, request->var.varFlag);
    EXPECT_EQ(1, answer("%01$MG100120A0014001E0038\r"));
    EXPECT_EQ(3, info.framesDone);

    EXPECT_EQ("0A 00", hex(read(KindDT, "10", 1)));
    EXPECT_EQ("14 00", hex(read(KindDT, "0", 1)));
    EXPECT_EQ("1E 00", hex(read(KindWY, "3", 1)));
    EXPECT_EQ("%01#MDFFFFFF**\r", next());
}

TEST_F(LoadedExchange, GroupsOfShortEntriesHoldAtMostFourteenWords)
{
    // Six DT entries of 4, 4, 4, 4, 2 and 1 words, too far apart to be merged.
    EXPECT_EQ(6, poll({item(KindDT, "0", 1), item(KindDT, "20", 2), item(KindDT, "40", 4), item(KindDT, "60", 4),
                       item(KindDT, "80", 4), item(KindDT, "100", 4)}));
    EXPECT_EQ("%01#MDFFFFFF**\r", next());
    EXPECT_EQ(3, *lib.qmap_length);
    EXPECT_EQ(1, answer("%01$MD09\r"));
    EXPECT_EQ("%01#MDD00100D00101D00102D00103D00080D00081D00082D00083D00060D00061D00062D00063**\r", next());
    EXPECT_EQ(1, answer("%01$MD09\r"));
    EXPECT_EQ("%01#MG**\r", next());
    EXPECT_EQ(62, request->replyLen);
    EXPECT_EQ(1, answer("%01$MG1004800000000000000000000000000000000000000000000000037\r"));
    EXPECT_EQ("%01#MDFFFFFF**\r", next());
    EXPECT_EQ(1, answer("%01$MD09\r"));
    // The list has turned: behind the last entry comes the first of the group before, and one of four still fits.
    EXPECT_EQ("%01#MDD00040D00041D00042D00043D00020D00021D00000D00100D00101D00102D00103**\r", next());
}

TEST_F(LoadedExchange, ARunOfFortyWordsIsPolledAsThreeBlocksOverAndOver)
{
    EXPECT_EQ(3, poll({item(KindDT, "100", 40)}));
    const std::string sixteen = "01000000000000000000000000000000000000000000000000000000000000FF";
    for (int cycle = 0; cycle < 2; ++cycle) {
        EXPECT_EQ("%01#RDD0010000115**\r", next());
        EXPECT_EQ(1, answer("%01$RD" + sixteen + "17\r"));
        EXPECT_EQ("%01#RDD0011600131**\r", next());
        EXPECT_EQ(1, answer("%01$RD" + sixteen + "17\r"));
        EXPECT_EQ("%01#RDD0013200139**\r", next());
        EXPECT_EQ(1, answer("%01$RD0100000000000000000000000000CDAB13\r"));
    }
    EXPECT_EQ(1, info.cycleDone) << "more good replies than the list has entries";
}

TEST_F(LoadedExchange, NeighboursAreMergedAcrossUpToFourWords)
{
    EXPECT_EQ(1, poll({item(KindDT, "5", 1), item(KindDT, "0", 1)}));
    EXPECT_EQ("%01#RDD0000000005**\r", next());
    EXPECT_EQ(1, answer("%01$RD01000000000000000000060011\r"));
    EXPECT_EQ(2, poll({item(KindDT, "6", 1), item(KindDT, "0", 1)}));
}

TEST_F(LoadedExchange, AnEntryInsideABlockCutsTheBlockAtItsEnd)
{
    EXPECT_EQ(1, poll({item(KindDT, "0", 16), item(KindDT, "2", 1)}));
    EXPECT_EQ("%01#MDFFFFFF**\r", next());
    EXPECT_EQ(1, answer("%01$MD09\r"));
    EXPECT_EQ("%01#MDD00000D00001D00002**\r", next());
}

TEST_F(LoadedExchange, RelayBitsArePolledAsTheWordsThatTheyTouch)
{
    EXPECT_EQ(1, poll({item(KindX, "1F", 3)}));
    EXPECT_EQ("%01#MDFFFFFF**\r", next());
    EXPECT_EQ(1, answer("%01$MD09\r"));
    EXPECT_EQ("%01#MDWX00001WX00002**\r", next());
    EXPECT_EQ(1, answer("%01$MD09\r"));
    EXPECT_EQ("%01#MG**\r", next());
    EXPECT_EQ(1, answer("%01$MG100080080020039\r"));
    EXPECT_EQ("01 00 01", hex(read(KindX, "1F", 3)));
}

TEST_F(LoadedExchange, ContactsArePolledAloneByTheirWords)
{
    EXPECT_EQ(2, poll({item(KindT, "33", 1), item(KindC, "5", 1)}));
    EXPECT_EQ("%01#RCCC00000000**\r", next());
    EXPECT_EQ(1, *lib.qmap_length);
    EXPECT_EQ(1, answer("%01$RC200013\r"));
    EXPECT_EQ("%01#RCCT00020002**\r", next());
    EXPECT_EQ(1, answer("%01$RC020013\r"));
    EXPECT_EQ("01", hex(read(KindC, "5", 1)));
    EXPECT_EQ("00 01 00", hex(read(KindT, "32", 3)));
}

TEST_F(LoadedExchange, AVariableAddedToThePollingListIsReadAsItStands)
{
    RW_VAR var;
    var.areaKind = KindDT;
    var.address = 200;
    var.addrText = QString::fromLatin1("not looked at");
    var.count = 5;
    var.station = 1;
    EXPECT_EQ(1, lib.AddListReadVar(&var));
    EXPECT_EQ(2, lib.AddListReadVar(&var));
    EXPECT_EQ("%01#RDD0020000204**\r", next());
}

TEST_F(LoadedExchange, AnEmptyListOfItemsEmptiesThePollingListAndLeavesTheCycle)
{
    poll({item(KindDT, "0", 1)});
    info.cycleDone = 1;
    lib.PLC_driver->pollReplyCount = 5;
    EXPECT_EQ(0, poll({}));
    EXPECT_TRUE(lib.PLC_driver->lst_PollingReadVar.isEmpty());
    EXPECT_EQ(1, info.cycleDone);
    EXPECT_EQ(5, lib.PLC_driver->pollReplyCount);
}

TEST_F(LoadedExchange, ARebuildStartsTheCycleAnewAndLeavesBadItemsOut)
{
    info.cycleDone = 1;
    lib.PLC_driver->pollReplyCount = 5;
    EXPECT_EQ(1, poll({item(KindX, "", 1), item(KindDT, "-4", 1), item(15, "4", 1), item(KindDT, "4", 9)}));
    EXPECT_EQ(0, info.cycleDone);
    EXPECT_EQ(0, lib.PLC_driver->pollReplyCount);
    EXPECT_EQ("%01#RDD0000400012**\r", next());
}

TEST_F(LoadedExchange, NothingToPollIsAFinishedCycle)
{
    EXPECT_EQ("", next());
    EXPECT_EQ(nullptr, request);
    EXPECT_EQ(1, info.cycleDone);
    EXPECT_EQ(100, lib.PLC_driver->curReqKind);
}

TEST_F(LoadedExchange, AnAbsurdItemPlansOnlyWhatLiesInsideItsArea)
{
    EXPECT_EQ(1, poll({item(KindDT, "999990", 2147483647)}));
    EXPECT_EQ("%01#RDD9999000005**\r", next()) << "numbers of more than five digits keep their low ones";
    EXPECT_EQ(0, poll({item(KindDT, "1000000", 1), item(KindDT, "2147483647", 2147483647)}));
    EXPECT_EQ(1, readOnce(KindDT, "999999", 2147483647));
    EXPECT_EQ(1, readOnce(KindDT, "1000000", 2147483647));
    EXPECT_EQ(1, write(KindDT, "999999", "\x34\x12", 2147483647));
    EXPECT_EQ(0, write(KindDT, "1000000", "\x34\x12", 2147483647));
}

// Writes ------------------------------------------------------------------------------------------------------------

TEST_F(LoadedExchange, APublishedWriteOfAContactIsAnsweredByItsPublishedResponse)
{
    EXPECT_EQ(1, write(KindR, "23", kOn, 1, 1, 5, 6));
    EXPECT_EQ("00", hex(read(KindR, "23", 1))) << "shown when the write goes out";
    EXPECT_EQ("%01#WCSR0023122\r", next());
    EXPECT_EQ(16, request->frameLen);
    EXPECT_EQ(9, request->replyLen);
    EXPECT_EQ(0, request->dataPos);
    EXPECT_EQ(0, request->dataLen);
    EXPECT_EQ("01", hex(read(KindR, "23", 1)));
    EXPECT_EQ(1, lib.PLC_driver->curReqKind);

    EXPECT_EQ(1, answer("%01$WC14\r"));
    EXPECT_EQ(5, result->ownerId);
    EXPECT_EQ(6, result->ownerTag);
    EXPECT_EQ(KindR, result->areaKind);
    EXPECT_EQ(35, result->address);
    EXPECT_EQ("written", result->name.toStdString());
    EXPECT_TRUE(result->data.isEmpty());
    EXPECT_TRUE(lib.PLC_driver->lst_WriteVar.isEmpty());
    EXPECT_EQ("", next());
}

TEST_F(LoadedExchange, EveryWritableAreaHasItsOwnCommand)
{
    const struct {
        int kind;
        const char *text;
        std::string values;
        int count;
        const char *request, *reply;
    } rows[] = {
        {KindY, "10F", kOn, 1, "%01#WCSY010F15F\r", "%01$WC14\r"},
        {KindR, "0", kOff, 1, "%01#WCSR0000022\r", "%01$WC14\r"},
        {KindL, "999A", kOn, 1, "%01#WCSL999A145\r", "%01$WC14\r"},
        {KindWY, "3", "\x34\x12", 1, "%01#WCCY0003000334120D\r", "%01$WC14\r"},
        {KindWR, "5", "\x34\x12\x78\x56", 2, "%01#WCCR000500063412785609\r", "%01$WC14\r"},
        {KindWL, "9999", "\xFF\xFF", 1, "%01#WCCL99999999FFFF1C\r", "%01$WC14\r"},
        {KindDT, "100", "\x34\x12\x78\x56", 2, "%01#WDD00100001013412785659\r", "%01$WD13\r"},
        {KindLD, "7", "\xCD\xAB", 1, "%01#WDL0000700007CDAB5C\r", "%01$WD13\r"},
        {KindFL, "32000", "\x01\x80", 1, "%01#WDF320003200001805B\r", "%01$WD13\r"},
        {KindSV, "2", "\x64\x01", 1, "%01#WS00020002640100\r", "%01$WS04\r"},
        {KindEV, "5", "\x34\x12", 1, "%01#WK0005000534121F\r", "%01$WK1C\r"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.request);
        EXPECT_EQ(1, write(row.kind, row.text, row.values, row.count));
        EXPECT_EQ(row.request, next());
        EXPECT_EQ(9, request->replyLen);
        EXPECT_EQ(hex(row.values), hex(read(row.kind, row.text, row.count)));
        EXPECT_EQ(1, answer(row.reply));
        EXPECT_EQ("", next());
    }
}

TEST_F(LoadedExchange, AreasThatThePlcOwnsAreNotWrittenToIt)
{
    EXPECT_EQ(0, write(KindX, "1", kOn, 1));
    EXPECT_EQ(0, write(KindT, "1", kOn, 1));
    EXPECT_EQ(0, write(KindC, "1", kOn, 1));
    EXPECT_EQ(0, write(KindWX, "1", "\x34\x12", 1));
    EXPECT_EQ(0, write(15, "1", "\x34\x12", 1));
    EXPECT_EQ(0, write(-1, "1", "\x34\x12", 1));
    EXPECT_EQ("", next());
    EXPECT_EQ("00 00", hex(read(KindWX, "1", 1)));
}

TEST_F(LoadedExchange, AWriteInAnotherHostModeStaysInTheLocalStore)
{
    info.hostMode = 0;
    EXPECT_EQ(1, write(KindWX, "1", "\x34\x12", 1));
    EXPECT_EQ(1, write(KindR, "2F", kOn, 1));
    EXPECT_EQ(1, write(KindX, "0", kOn, 1)) << "accepted and ignored";
    EXPECT_EQ("34 12", hex(read(KindWX, "1", 1)));
    EXPECT_EQ("01", hex(read(KindR, "2F", 1)));
    EXPECT_EQ("00", hex(read(KindX, "0", 1)));
    EXPECT_EQ("", next());
}

TEST_F(LoadedExchange, BitsGoOutOneByOneAndOnlyExactlyOneIsOn)
{
    EXPECT_EQ(3, write(KindR, "2E", std::string("\1\2\0", 3), 3));
    EXPECT_EQ("%01#WCSR002E154\r", next());
    EXPECT_EQ(1, answer("%01$WC14\r"));
    // A byte that is neither 0 nor 1 leaves its place empty: a zero byte, which the check code covers.
    EXPECT_EQ(std::string("%01#WCSR002F\0", 13) + "66\r", next());
    EXPECT_EQ("00", hex(read(KindR, "2F", 1)));
    EXPECT_EQ(1, answer("%01$WC14\r"));
    EXPECT_EQ("%01#WCSR0030021\r", next());
}

TEST_F(LoadedExchange, LongWritesAreCutAtTheHostsLimit)
{
    std::string words;
    for (char i = 0; i < 40; ++i)
        words += std::string("\0", 1) + i;
    EXPECT_EQ(3, write(KindDT, "100", words, 40));
    const QList<RW_VAR> &queue = lib.PLC_driver->lst_WriteVar;
    EXPECT_EQ(100, queue.at(0).address);
    EXPECT_EQ(16, queue.at(0).count);
    EXPECT_EQ(116, queue.at(1).address);
    EXPECT_EQ(16, queue.at(1).count);
    EXPECT_EQ(132, queue.at(2).address);
    EXPECT_EQ(8, queue.at(2).count);
    EXPECT_EQ("00 20 00 21 00 22 00 23 00 24 00 25 00 26 00 27", hex(string(queue.at(2).data)));
    EXPECT_EQ(5, write(KindDT, "200", words, 32));
    EXPECT_EQ(16, queue.at(3).count);
    EXPECT_EQ(16, queue.at(4).count);
}

TEST_F(LoadedExchange, MissingValuesGoOutAsZero)
{
    EXPECT_EQ(1, write(KindDT, "100", "\x34\x12\x78", 3));
    EXPECT_EQ("%01#WDD001000010234127800000059\r", next());
    EXPECT_EQ(1, answer("%01$WD13\r"));
    EXPECT_EQ(2, write(KindR, "0", kOn, 2));
    EXPECT_EQ("%01#WCSR0000123\r", next());
    EXPECT_EQ(1, answer("%01$WC14\r"));
    EXPECT_EQ("%01#WCSR0001023\r", next());
}

TEST_F(LoadedExchange, AWordWriteWithoutALimitOrACountIsRefused)
{
    info.maxWordsPerWrite = 0;
    EXPECT_EQ(0, write(KindDT, "100", "\x34\x12", 1));
    info.maxWordsPerWrite = -1;
    EXPECT_EQ(0, write(KindDT, "100", "\x34\x12", 1));
    info.maxWordsPerWrite = 1;
    EXPECT_EQ(0, write(KindDT, "100", "\x34\x12", 0));
    EXPECT_EQ(0, write(KindR, "100", "\x01", 0));
    EXPECT_EQ(0, write(KindDT, "-1", "\x34\x12", 1));
    EXPECT_EQ("", next());
    EXPECT_EQ(1, write(KindDT, "100", "\x34\x12", 1));
}

TEST_F(LoadedExchange, AWriteStillWaitingBehindTheHeadIsReplacedByANewerOne)
{
    EXPECT_EQ(1, write(KindDT, "1", std::string("\1\0", 2), 1));
    EXPECT_EQ(2, write(KindDT, "1", std::string("\2\0", 2), 1)) << "never compared with the head";
    EXPECT_EQ(3, write(KindDT, "2", std::string("\3\0", 2), 1));
    EXPECT_EQ(3, write(KindDT, "1", std::string("\4\0", 2), 1, 1, 8, 9));
    EXPECT_EQ("%01#WDD0000100001010051\r", next());
    EXPECT_EQ(1, answer("%01$WD13\r"));
    EXPECT_EQ("%01#WDD0000100001040054\r", next());
    EXPECT_EQ(1, answer("%01$WD13\r"));
    EXPECT_EQ(8, result->ownerId);
    EXPECT_EQ(9, result->ownerTag);
    EXPECT_EQ("%01#WDD0000200002030053\r", next());
}

TEST_F(LoadedExchange, ListsOfOneThousandAndTwentyFourEntriesTakeNoMore)
{
    for (int i = 0; i < 1023; ++i) {
        const std::string text = std::to_string(i);
        ASSERT_EQ(i + 1, write(KindDT, text.c_str(), "\x34\x12", 1));
        ASSERT_EQ(i + 1, readOnce(KindDT, text.c_str(), 1));
    }
    EXPECT_EQ(1024, write(KindDT, "5000", "\x34\x12", 1));
    ASSERT_EQ(1024, write(KindDT, "6000", "\x34\x12", 1));
    EXPECT_EQ(5000, lib.PLC_driver->lst_WriteVar.at(1023).address);
    EXPECT_EQ(1024, write(KindDT, "7", "\x78\x56", 1)) << "a replacement needs no room";
    EXPECT_EQ("78 56", hex(string(lib.PLC_driver->lst_WriteVar.at(7).data)));

    EXPECT_EQ(1024, readOnce(KindDT, "5000", 32)) << "the first block fits, the second does not";
    ASSERT_EQ(1024, readOnce(KindDT, "6000", 1));
    EXPECT_EQ(5000, lib.PLC_driver->lst_OnceReadVar.at(1023).address);

    RW_VAR var = lib.PLC_driver->lst_WriteVar.at(0);
    EXPECT_EQ(1025, lib.AddListWriteVar(&var, 1)) << "the direct way has no limit";
    EXPECT_EQ(1025, lib.AddListOnceReadVar(&var, 1));
}

TEST_F(LoadedExchange, ADirectWriteKeepsItsStationAndFlags)
{
    RW_VAR var;
    var.areaKind = KindDT;
    var.address = 5;
    var.count = 1;
    var.station = 7;
    var.varFlag = 1;
    var.data = QByteArray("\x34\x12", 2);
    EXPECT_EQ(1, lib.AddListWriteVar(&var, 1));
    EXPECT_EQ(2, lib.AddListWriteVar(&var, 0));
    EXPECT_EQ("%17#WDD0000500005341253\r", next());
    EXPECT_EQ(7, lib.PLC_driver->lst_WriteVar.at(1).station);
}

TEST_F(LoadedExchange, AnErrorResponseToAWriteCountsAsAnswered)
{
    write(KindDT, "5", "\x34\x12", 1);
    EXPECT_EQ("%01#WDD0000500005341254\r", next());
    EXPECT_EQ(1, answer("%01!6102\r"));
    EXPECT_TRUE(lib.PLC_driver->lst_WriteVar.isEmpty());
    EXPECT_TRUE(commFailed().empty());
}

// The order of work -------------------------------------------------------------------------------------------------

TEST_F(LoadedExchange, FiveWritesInARowLetOnePollingReadThrough)
{
    poll({item(KindDT, "100", 5)});
    for (const char *text : {"1", "2", "3", "4", "5", "6"})
        write(KindDT, text, "\x34\x12", 1);
    for (const char *frame : {"%01#WDD0000100001341254\r", "%01#WDD0000200002341254\r", "%01#WDD0000300003341254\r",
                              "%01#WDD0000400004341254\r", "%01#WDD0000500005341254\r"}) {
        EXPECT_EQ(frame, next());
        EXPECT_EQ(1, answer("%01$WD13\r"));
    }
    EXPECT_EQ("%01#RDD0010000104**\r", next());
    EXPECT_EQ(1, answer("%01$RD0100020003000400050017\r"));
    EXPECT_EQ("%01#WDD0000600006341254\r", next());
    EXPECT_EQ(1, answer("%01$WD13\r"));
    EXPECT_EQ("%01#RDD0010000104**\r", next());
}

TEST_F(LoadedExchange, WritesComeBeforeOneShotReadsAndThoseBeforePolling)
{
    poll({item(KindDT, "100", 5)});
    for (const char *text : {"11", "12", "13", "14", "15", "16"})
        readOnce(KindDT, text, 1);
    write(KindDT, "1", "\x34\x12", 1);
    EXPECT_EQ("%01#WDD0000100001341254\r", next());
    EXPECT_EQ(1, answer("%01$WD13\r"));
    for (const char *frame : {"%01#RDD0001100011**\r", "%01#RDD0001200012**\r", "%01#RDD0001300013**\r",
                              "%01#RDD0001400014**\r", "%01#RDD0001500015**\r"}) {
        EXPECT_EQ(frame, next());
        EXPECT_EQ(1, answer("%01$RD010017\r"));
    }
    EXPECT_EQ("%01#RDD0010000104**\r", next());
    EXPECT_EQ(1, answer("%01$RD0100020003000400050017\r"));
    EXPECT_EQ("%01#RDD0001600016**\r", next());
}

TEST_F(LoadedExchange, WithNothingToPollEachRunOfFiveEndsWithOneEmptyCall)
{
    for (const char *text : {"1", "2", "3", "4", "5", "6"})
        write(KindDT, text, "\x34\x12", 1);
    for (int i = 0; i < 5; ++i) {
        EXPECT_NE("", next());
        EXPECT_EQ(1, answer("%01$WD13\r"));
    }
    EXPECT_EQ("", next());
    EXPECT_EQ("%01#WDD0000600006341254\r", next());
}

TEST_F(LoadedExchange, AnUnansweredFrameIsHandedOutAgainUntouched)
{
    readOnce(KindDT, "0", 2);
    EXPECT_EQ("%01#RDD0000000001**\r", next());
    const Protocol *const lent = request;
    write(KindDT, "1", "\x34\x12", 1);
    for (int i = 0; i < 10; ++i)
        readOnce(KindDT, "100", 16, i, i);
    EXPECT_EQ("%01#RDD0000000001**\r", next());
    EXPECT_EQ(lent, request);
    EXPECT_EQ(0, lib.PLC_driver->writeCount);
    EXPECT_EQ(1, lib.PLC_driver->onceReadCount);
    EXPECT_EQ(1, answer("%01$RD05000A0062\r"));
    EXPECT_EQ("%01#WDD0000100001341254\r", next());
}

// The local store ---------------------------------------------------------------------------------------------------

TEST_F(LoadedExchange, ReadingGrowsTheHostsArrayAndKeepsWhatLiesBehind)
{
    info.hostMode = 0;
    write(KindDT, "100", "\x34\x12\x78\x56", 2);
    QString text = QString::fromLatin1("100");
    QByteArray out("abcdef", 6);
    EXPECT_EQ(1, lib.GetRegisterData(&text, KindDT, &text, 1, &out, 2));
    EXPECT_EQ("34 12 78 56 65 66", hex(string(out)));
    out = QByteArray("a", 1);
    EXPECT_EQ(1, lib.GetRegisterData(nullptr, KindDT, &text, 1, &out, 2));
    EXPECT_EQ("34 12 78 56", hex(string(out)));
    out = QByteArray("abc", 3);
    EXPECT_EQ(1, lib.GetRegisterData(nullptr, KindDT, &text, 1, &out, 0));
    EXPECT_EQ(1, lib.GetRegisterData(nullptr, KindDT, &text, 1, &out, -5));
    EXPECT_EQ(1, lib.GetRegisterData(nullptr, 15, &text, 1, &out, 2));
    EXPECT_EQ("abc", string(out));
    text = QString::fromLatin1("-1");
    EXPECT_EQ(0, lib.GetRegisterData(nullptr, KindDT, &text, 1, &out, 2));
    EXPECT_EQ("abc", string(out));
}

TEST_F(LoadedExchange, ElementsOutsideTheirAreaAreNeitherReadNorWritten)
{
    info.hostMode = 0;
    EXPECT_EQ(1, write(KindDT, "999999", "\x34\x12\x78\x56", 2));
    EXPECT_EQ("34 12", hex(read(KindDT, "999999", 2)));
    EXPECT_EQ("00 00", hex(read(KindLD, "0", 1))) << "the area behind is untouched";
    EXPECT_EQ("", hex(read(KindDT, "1000000", 5)));
    EXPECT_EQ("34 12", hex(read(KindDT, "999999", 2147483647)));
    EXPECT_EQ(1, write(KindR, "9999F", std::string("\1\1", 2), 2));
    EXPECT_EQ("01", hex(read(KindR, "9999F", 2147483647)));
    EXPECT_EQ("00 00", hex(read(KindWL, "0", 1)));
    EXPECT_EQ("", hex(read(KindT, "20000", 1)));
    EXPECT_EQ("00", hex(read(KindT, "19999", 2)));
}

TEST_F(LoadedExchange, BitsAndTheirWordsAreTheSameMemory)
{
    info.hostMode = 0;
    write(KindWY, "0", std::string("\x00\x14", 2), 1); // bits 10 and 12
    EXPECT_EQ("01 00 01", hex(read(KindY, "0A", 3)));
    write(KindY, "11", kOn, 1);
    EXPECT_EQ("02 00", hex(read(KindWY, "1", 1)));
    write(KindY, "0C", std::string(1, '\2'), 1);
    EXPECT_EQ("00 04", hex(read(KindWY, "0", 1))) << "a byte other than 1 clears its bit";
}

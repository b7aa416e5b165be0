// test_loaded_stations.cpp - several stations behind one link, the broadcast station, and stations switched off and on.

#include "loaded_driver.h"

namespace
{

class LoadedStations : public LoadedLibrary
{
protected:
    LoadedStations() { info.multiStation = 1; }
};

class LoadedStationSwitch : public LoadedLibrary
{
};

const std::string kOn(1, '\1');

} // namespace

TEST_F(LoadedStations, EachStationsValuesAreKeptApart)
{
    EXPECT_EQ(1, readOnce(KindDT, "100", 1, 3, 4, 2));
    EXPECT_EQ("%02#RDD0010000100**\r", next());
    EXPECT_EQ(1, answer("%02$RD341211\r"));
    EXPECT_EQ(1, readOnce(KindDT, "100", 1, 3, 4, 3));
    EXPECT_EQ("%03#RDD0010000100**\r", next());
    EXPECT_EQ(1, answer("%03$RD785618\r"));

    EXPECT_EQ("34 12", hex(read(KindDT, "100", 1, 2)));
    EXPECT_EQ("78 56", hex(read(KindDT, "100", 1, 3)));
    EXPECT_EQ("00 00", hex(read(KindDT, "100", 1, 4)));
    EXPECT_EQ(0, lib.PLC_driver->localDT[100]) << "the single-station areas are not used";
    EXPECT_EQ(3, countOf(lib.PLC_driver->lst_ExtendVar)) << "asking for a value makes its cell";
}

TEST_F(LoadedStations, ACellHoldsItsKeyAndTheTwoBytesOfItsWord)
{
    EXPECT_EQ("00 00", hex(read(KindWR, "20", 1, 3)));
    ASSERT_EQ(1, countOf(lib.PLC_driver->lst_ExtendVar));
    EXPECT_EQ("00 00 00 00", hex(string(lib.PLC_driver->lst_ExtendVar.at(0).data)));

    readOnce(KindWR, "20", 2, 3, 4, 3);
    EXPECT_EQ("%03#RCCR00200021**\r", next());
    EXPECT_EQ(1, answer("%03$RC3412CDAB13\r"));

    ASSERT_EQ(2, countOf(lib.PLC_driver->lst_ExtendVar));
    const EXTENDVAR &first = lib.PLC_driver->lst_ExtendVar.at(0);
    EXPECT_EQ(3, first.station);
    EXPECT_EQ(8, first.areaKind);
    EXPECT_EQ(20, first.address);
    EXPECT_EQ("34 12", hex(string(first.data)));
    const EXTENDVAR &second = lib.PLC_driver->lst_ExtendVar.at(1);
    EXPECT_EQ(21, second.address);
    EXPECT_EQ("CD AB", hex(string(second.data)));
}

TEST_F(LoadedStations, BitsAreFoundInTheCellOfTheirWord)
{
    readOnce(KindR, "21A", 8, 3, 4, 3); // bit 10 of word 21 to bit 1 of word 22
    EXPECT_EQ("%03#RCCR00210022**\r", next());
    EXPECT_EQ(1, answer("%03$RC008402001D\r")); // 0x8400 and 0x0002
    EXPECT_EQ("01 00 00 00 00 01 00 01", hex(read(KindR, "21A", 8, 3)));
    EXPECT_EQ("00 00 00 00 00 00 00 00", hex(read(KindR, "21A", 8, 4)));
    readOnce(KindC, "47", 1, 3, 4, 3);
    next();
    EXPECT_EQ(1, answer("%03$RC00801B\r"));
    EXPECT_EQ("00 01 00", hex(read(KindC, "46", 3, 3)));
}

TEST_F(LoadedStations, GroupsAreMadeOfOneStationEach)
{
    EXPECT_EQ(4, poll({item(KindDT, "0", 1, 2), item(KindDT, "10", 1, 2), item(KindDT, "0", 1, 3),
                       item(KindDT, "10", 1, 3)}));
    // Short blocks stand in the reverse order of their making.
    EXPECT_EQ("%03#MDFFFFFF**\r", next());
    EXPECT_EQ(2, *lib.qmap_length);
    EXPECT_EQ(1, answer("%03$MD0B\r"));
    EXPECT_EQ("%03#MDD00010D00000**\r", next());
    EXPECT_EQ(1, answer("%03$MD0B\r"));
    EXPECT_EQ("%03#MG**\r", next());
    EXPECT_EQ(1, answer("%03$MG100080100020032\r"));
    EXPECT_EQ("%02#MDFFFFFF**\r", next());
    EXPECT_EQ(1, answer("%02$MD0A\r"));
    EXPECT_EQ("%02#MDD00010D00000**\r", next());
    EXPECT_EQ(1, answer("%02$MD0A\r"));
    EXPECT_EQ("%02#MG**\r", next());
    EXPECT_EQ(1, answer("%02$MG100080300040037\r"));
    EXPECT_EQ("02 00", hex(read(KindDT, "0", 1, 3)));
    EXPECT_EQ("01 00", hex(read(KindDT, "10", 1, 3)));
    EXPECT_EQ("04 00", hex(read(KindDT, "0", 1, 2)));
    EXPECT_EQ("03 00", hex(read(KindDT, "10", 1, 2)));
    EXPECT_EQ("%03#MDFFFFFF**\r", next());
}

TEST_F(LoadedStations, PollingFollowsTheOrderInWhichStationsAreFirstNamed)
{
    EXPECT_EQ(
        3, poll({item(KindDT, "0", 9, 3), item(KindDT, "0", 9, 2), item(KindDT, "9", 2, 3), item(KindLD, "0", 5, 3)}));
    EXPECT_EQ("%03#RDD0000000010**\r", next());
    EXPECT_EQ(1, answer("%03$RD01000000000000000000000000000000000000000B0067\r"));
    EXPECT_EQ("%02#RDD0000000008**\r", next());
    EXPECT_EQ(1, answer("%02$RD0100000000000000000000000000000009001D\r"));
    EXPECT_EQ("%03#RDL0000000004**\r", next());
}

TEST_F(LoadedStations, TheDestinationIsMadeByTheDriversOwnRule)
{
    const struct {
        int station;
        const char *request;
    } rows[] = {
        {0, "%00#RDD0000000000**\r"},  {1, "%01#RDD0000000000**\r"},   {4, "%04#RDD0000000000**\r"},
        {5, "%15#RDD0000000000**\r"},  {10, "%1A#RDD0000000000**\r"},  {15, "%1F#RDD0000000000**\r"},
        {17, "%11#RDD0000000000**\r"}, {255, "%1F#RDD0000000000**\r"},
    };
    info.retryLimit = 0;
    for (const auto &row : rows) {
        readOnce(KindDT, "0", 1, 3, 4, row.station);
        EXPECT_EQ(row.request, next()) << "station " << row.station;
        EXPECT_NE(1, noAnswer());
        EXPECT_EQ("", next());
    }
}

TEST_F(LoadedStations, WritesGoToTheirStationAndAreShownForItOnly)
{
    EXPECT_EQ(1, write(KindDT, "7", "\x34\x12", 1, 2));
    EXPECT_EQ(2, write(KindDT, "7", "\x78\x56", 1, 3));
    EXPECT_EQ(3, write(KindY, "1F", kOn, 1, 3));
    EXPECT_EQ("%02#WDD0000700007341257\r", next());
    EXPECT_EQ(1, answer("%02$WD10\r"));
    EXPECT_EQ("%03#WDD000070000778565E\r", next());
    EXPECT_EQ(1, answer("%03$WD11\r"));
    EXPECT_EQ("%03#WCSY001F15D\r", next());
    EXPECT_EQ(1, answer("%03$WC16\r"));
    EXPECT_EQ("34 12", hex(read(KindDT, "7", 1, 2)));
    EXPECT_EQ("78 56", hex(read(KindDT, "7", 1, 3)));
    EXPECT_EQ("01", hex(read(KindY, "1F", 1, 3)));
    EXPECT_EQ("00", hex(read(KindY, "1F", 1, 2)));
}

TEST_F(LoadedStations, ABroadcastExpectsNoReplyExceptForASingleContact)
{
    info.retryLimit = 0;
    write(KindDT, "7", "\x34\x12", 1, 255);
    EXPECT_EQ("%1F#WDD0000700007341222\r", next());
    EXPECT_EQ(0, request->replyLen);
    // Nothing comes, which is what was expected, and still counts as a bad reply.
    EXPECT_EQ(11, noAnswer());
    EXPECT_EQ("", next());

    write(KindR, "7", kOn, 1, 255);
    EXPECT_EQ("%1F#WCSR0007152\r", next());
    EXPECT_EQ(9, request->replyLen);
    EXPECT_EQ(41, noAnswer());

    readOnce(KindDT, "0", 2, 3, 4, 255);
    EXPECT_EQ("%1F#RDD0000000001**\r", next());
    EXPECT_EQ(0, request->replyLen);
    EXPECT_EQ(0, request->dataPos);
    EXPECT_EQ(0, request->dataLen);
    EXPECT_EQ(14, noAnswer());
}

TEST_F(LoadedStations, AGroupForTheBroadcastStationExpectsNoReplies)
{
    poll({item(KindDT, "0", 1, 255), item(KindDT, "10", 1, 255)});
    ASSERT_EQ("%1F#MDFFFFFF**\r", next());
    const QList<Protocol> &queue = lib.PLC_driver->lst_Protocol;
    ASSERT_EQ(3, countOf(queue));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(0, queue.at(i).replyLen);
        EXPECT_EQ(0, queue.at(i).dataPos);
        EXPECT_EQ(0, queue.at(i).dataLen);
    }
}

TEST_F(LoadedStations, AnAbandonedRequestTakesItsOwnStationsWritesWithItAndNoOthers)
{
    info.retryLimit = 0;
    write(KindDT, "1", "\x34\x12", 1, 2);
    write(KindDT, "2", "\x34\x12", 1, 2);
    write(KindDT, "3", "\x34\x12", 1, 3);
    write(KindDT, "4", "\x34\x12", 1, 2);
    next();
    EXPECT_EQ(41, noAnswer());
    ASSERT_EQ(1, countOf(lib.PLC_driver->lst_WriteVar));
    EXPECT_EQ("%03#WDD0000300003341256\r", next());
    EXPECT_EQ(1, answer("%03$WD11\r"));
}

TEST_F(LoadedStations, AnAbandonedRequestTakesTheSameRequestersReadsOfItsStationOnly)
{
    info.retryLimit = 0;
    readOnce(KindDT, "0", 32, 3, 4, 2);
    readOnce(KindDT, "0", 16, 3, 4, 9);
    readOnce(KindDT, "0", 16, 3, 5, 2);
    EXPECT_EQ("%02#RDD0000000015**\r", next());
    EXPECT_EQ(44, noAnswer());
    EXPECT_EQ(std::vector<ReadFinished>({{77, 3, 4, 2}}), readFinished());
    EXPECT_EQ(std::vector<CommFailed>({{true, 3, 1}}), commFailed());
    ASSERT_EQ(2, countOf(lib.PLC_driver->lst_OnceReadVar));
    EXPECT_EQ("%19#RDD0000000015**\r", next());
}

TEST_F(LoadedStations, AnAbsurdReadMakesNoCellsOutsideTheArea)
{
    EXPECT_EQ("00 00", hex(read(KindDT, "999999", 2147483647, 2)));
    EXPECT_EQ("", hex(read(KindDT, "1000000", 2147483647, 2)));
    EXPECT_EQ(1, countOf(lib.PLC_driver->lst_ExtendVar));
    info.hostMode = 0;
    EXPECT_EQ(1, write(KindDT, "999999", "\x34\x12\x78\x56", 2147483647, 2));
    EXPECT_EQ("34 12", hex(read(KindDT, "999999", 2, 2)));
    EXPECT_EQ(1, countOf(lib.PLC_driver->lst_ExtendVar));
}

// Switching stations off and on -------------------------------------------------------------------------------------

TEST_F(LoadedStationSwitch, QueuedWorkOfASwitchedOffStationIsDroppedWithoutAWord)
{
    poll({item(KindDT, "100", 5)});
    write(KindDT, "1", "\x34\x12", 1);
    write(KindDT, "2", "\x34\x12", 1);
    lib.EnCommStation(1, 0);
    EXPECT_EQ("", next()) << "the list ran empty";
    EXPECT_TRUE(lib.PLC_driver->lst_WriteVar.isEmpty());
    readOnce(KindDT, "7", 1);
    EXPECT_EQ("", next());
    EXPECT_TRUE(lib.PLC_driver->lst_OnceReadVar.isEmpty());
    EXPECT_TRUE(readFinished().empty());
    EXPECT_TRUE(commFailed().empty());
    lib.EnCommStation(1, 1);
    EXPECT_EQ("%01#RDD0010000104**\r", next()) << "what was dropped does not come back, polling does";
}

TEST_F(LoadedStationSwitch, WorkOfOtherStationsBehindDroppedEntriesGoesOut)
{
    info.multiStation = 1;
    write(KindDT, "1", "\x34\x12", 1, 2);
    write(KindDT, "2", "\x34\x12", 1, 3);
    lib.EnCommStation(2, 0);
    EXPECT_EQ("%03#WDD0000200002341256\r", next());
    EXPECT_EQ(1, answer("%03$WD11\r"));
    readOnce(KindDT, "1", 1, 3, 4, 2);
    readOnce(KindDT, "2", 1, 3, 4, 3);
    EXPECT_EQ("%03#RDD0000200002**\r", next());
}

TEST_F(LoadedStationSwitch, AFrameAlreadyBuiltIsStillSent)
{
    write(KindDT, "1", "\x34\x12", 1);
    EXPECT_EQ("%01#WDD0000100001341254\r", next());
    lib.EnCommStation(1, 0);
    EXPECT_EQ("%01#WDD0000100001341254\r", next());
    EXPECT_EQ(1, answer("%01$WD13\r"));
}

TEST_F(LoadedStationSwitch, NothingIsPolledAndNothingTurnedWhileEveryStationIsOff)
{
    poll({item(KindDT, "0", 1), item(KindDT, "10", 2)});
    lib.PLC_driver->writeCount = 5;
    lib.PLC_driver->onceReadCount = 5;
    lib.EnCommStation(1, 0);
    EXPECT_EQ("", next());
    EXPECT_EQ(2, lib.PLC_driver->lst_PollingReadVar.at(0).count);
    EXPECT_EQ(5, lib.PLC_driver->writeCount);
    EXPECT_EQ(5, lib.PLC_driver->onceReadCount);
    lib.EnCommStation(-1, 0);
    EXPECT_EQ("%01#MDFFFFFF**\r", next());
}

TEST_F(LoadedStationSwitch, ShortEntriesOfASwitchedOffStationAreSkippedInsideAGroup)
{
    info.multiStation = 1;
    // In the list: station 4, then 3, then 2.
    poll({item(KindDT, "0", 1, 2), item(KindDT, "10", 1, 3), item(KindDT, "20", 1, 4)});
    lib.EnCommStation(4, 0);
    EXPECT_EQ("%03#RDD0001000010**\r", next()) << "the first entry is skipped, the second is a group of one";
    EXPECT_EQ(2, *lib.qmap_length);
    EXPECT_EQ(1, answer("%03$RD010015\r"));
    // Both were passed, so the list has turned by two: station 2, then 4, then 3.
    EXPECT_EQ(2, lib.PLC_driver->lst_PollingReadVar.at(0).station);
    EXPECT_EQ(4, lib.PLC_driver->lst_PollingReadVar.at(1).station);
    EXPECT_EQ("%02#RDD0000000000**\r", next());
    EXPECT_EQ(1, *lib.qmap_length);
    EXPECT_EQ(1, answer("%02$RD010014\r"));
    lib.EnCommStation(-1, 1);
    EXPECT_EQ("%04#RDD0002000020**\r", next());
}

TEST_F(LoadedStationSwitch, BitAreasAndLongEntriesAtTheHeadAreReadEvenWhenSwitchedOff)
{
    info.multiStation = 1;
    poll({item(KindT, "0", 1, 2)});
    lib.EnCommStation(2, 0);
    EXPECT_EQ("%02#RCCT00000000**\r", next());
    EXPECT_EQ(1, answer("%02$RC010013\r"));
    poll({item(KindDT, "0", 5, 2)});
    EXPECT_EQ("%02#RDD0000000004**\r", next());
}

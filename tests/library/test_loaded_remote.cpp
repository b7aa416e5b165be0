// test_loaded_remote.cpp - remote mode: binary request records out, ASCII replies in.

#include "loaded_driver.h"

namespace
{

class LoadedRemote : public LoadedLibrary
{
protected:
    LoadedRemote()
    {
        info.remoteMode = 1;
        info.linkNo = 2; // the variables below are of link 1, so their replies are remote ones
        info.retryLimit = 0;
    }

    static RW_VAR variable()
    {
        RW_VAR var;
        var.linkNo = 1;
        var.station = 1;
        var.areaKind = KindDT;
        var.address = 100;
        var.addrText = QString::fromLatin1("100");
        var.count = 2;
        return var;
    }
};

} // namespace

TEST_F(LoadedRemote, AReadIsARecordOfTwentyTwoBytes)
{
    RW_VAR var = variable();
    EXPECT_EQ(1, lib.AddListOnceReadVar(&var, 0));
    EXPECT_EQ("16 00 00 01 01 00 0A 00 00 00 64 00 02 00 00 00 00 00 00 00 00 88", hex(next()));
    EXPECT_EQ(22, request->frameLen);
    EXPECT_EQ(17, request->replyLen);
    EXPECT_EQ(6, request->dataPos);
    EXPECT_EQ(8, request->dataLen);
    EXPECT_EQ(1, info.framesTotal);
    EXPECT_EQ(1, *lib.qmap_length);
}

TEST_F(LoadedRemote, AWriteCarriesItsBytesAndIsShownAtOnce)
{
    RW_VAR var = variable();
    var.data = QByteArray("\x34\x12", 2);
    lib.PLC_driver->bCommFail = 1;
    EXPECT_EQ(1, lib.AddListWriteVar(&var, 0));
    EXPECT_EQ("18 00 00 01 01 00 0A 00 00 00 64 00 02 00 00 00 00 00 00 00 00 34 12 D0", hex(next()));
    EXPECT_EQ(24, request->frameLen);
    EXPECT_EQ(9, request->replyLen);
    EXPECT_EQ(0, request->dataLen);
    EXPECT_EQ("34 12 00 00", hex(read(KindDT, "100", 2))) << "even while the link is down";
}

TEST_F(LoadedRemote, EveryFieldHasItsPlaceHighestByteFirst)
{
    RW_VAR var;
    var.ownerId = 0x1201;
    var.varFlag = 0x1302;
    var.linkNo = 0x1403;
    var.station = 0x1504;
    var.areaKind = 0x16000506;
    var.address = 0x0708090A;
    var.count = 0x17000B0C;
    var.extra1 = 0x0D0E0F10;
    var.extra2 = 0x11121314;
    EXPECT_EQ(1, lib.AddListOnceReadVar(&var, 1));
    // 0x16 and 0x01 to 0x14: 22 + 210 = 232.
    EXPECT_EQ("16 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10 11 12 13 14 E8", hex(next()));
}

TEST_F(LoadedRemote, TheBroadcastStationExpectsNoReply)
{
    RW_VAR var = variable();
    var.station = 255;
    lib.AddListOnceReadVar(&var, 1);
    EXPECT_EQ("16 00 00 01 FF 00 0A 00 00 00 64 00 02 00 00 00 00 00 00 00 00 86", hex(next()));
    EXPECT_EQ(0, request->replyLen);
    EXPECT_EQ(0, request->dataPos);
    EXPECT_EQ(0, request->dataLen);
    EXPECT_EQ(111, noAnswer()) << "nothing, as expected, still fails the check";
}

TEST_F(LoadedRemote, EightyEightAndNinetyNineAreNeverForwarded)
{
    for (int mark : {88, 99}) {
        RW_VAR var = variable();
        var.extra1 = mark;
        lib.AddListOnceReadVar(&var, 1);
        EXPECT_EQ("", next());
        EXPECT_EQ(1, countOf(lib.PLC_driver->lst_OnceReadVar)) << "it stays at the head";
        lib.PLC_driver->lst_OnceReadVar.clear();
    }
    RW_VAR var = variable();
    var.extra1 = 89;
    lib.AddListOnceReadVar(&var, 1);
    EXPECT_NE("", next());
}

TEST_F(LoadedRemote, AReplyIsAcceptedAndNotStoredUnlessAskedFor)
{
    RW_VAR var = variable();
    lib.AddListOnceReadVar(&var, 0);
    next();
    EXPECT_EQ(100, answer("%01$RD341278561E\r"));
    EXPECT_EQ("00 00 00 00", hex(read(KindDT, "100", 2)));
    EXPECT_TRUE(lib.PLC_driver->lst_OnceReadVar.isEmpty());
    EXPECT_TRUE(readFinished().empty()) << "remote reads are not reported";

    var.extra1 = -1;
    var.address = 100;
    lib.AddListOnceReadVar(&var, 1);
    EXPECT_EQ("16 00 00 01 01 00 0A 00 00 00 64 00 02 FF FF FF FF 00 00 00 00 84", hex(next()));
    EXPECT_EQ(1, answer("%01$RD341278561E\r"));
    EXPECT_EQ("34 12 78 56", hex(read(KindDT, "100", 2)));
}

TEST_F(LoadedRemote, AStoredReplyCountsAsOneHundredWhenAFrameWasAlreadyDone)
{
    RW_VAR var = variable();
    var.extra1 = -1;
    lib.AddListOnceReadVar(&var, 1);
    next();
    info.framesDone = 1;
    EXPECT_EQ(100, answer("%01$RD341278561E\r"));
    EXPECT_EQ("34 12 78 56", hex(read(KindDT, "100", 2)));
}

TEST_F(LoadedRemote, AReplyThatIsOnlyCheckedIsStoredTooWhenAskedFor)
{
    RW_VAR var = variable();
    var.extra1 = -1;
    var.varFlag = 1;
    lib.AddListOnceReadVar(&var, 1);
    next();
    EXPECT_EQ(1, answer("%01$RD341278561E\r"));
    EXPECT_EQ("34 12 78 56", hex(read(KindDT, "100", 2)));
}

TEST_F(LoadedRemote, EveryWayToFailHasItsCode)
{
    const struct {
        const char *what;
        int ownerId;
        std::string reply;
        int code;
    } rows[] = {
        {"nothing", 0, "", 141},
        {"nothing, for requester 11", 11, "", 152},
        {"a byte too few", 0, "%01$RD05000A006\r", 171},
        {"a byte too few, for requester 1", 1, "%01$RD05000A006\r", 172},
        {"a wrong check code", 0, "%01$RD05000A0063\r", 111},
        {"a wrong check code, for requester 12", 12, "%01$RD05000A0063\r", 111},
        {"an error response of the right length", 2, "%01!610000000002\r", 113},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.what);
        RW_VAR var = variable();
        var.ownerId = row.ownerId;
        lib.AddListOnceReadVar(&var, 0);
        EXPECT_NE("", next());
        EXPECT_EQ(row.code, answer(row.reply));
        EXPECT_EQ(row.ownerId, commFailed().back().ownerId);
        EXPECT_EQ("", next());
    }
    EXPECT_TRUE(readFinished().empty());
}

TEST_F(LoadedRemote, RepliesOfTheCurrentLinkAreTakenAsLocalOnes)
{
    info.linkNo = 1;
    RW_VAR var = variable();
    lib.AddListOnceReadVar(&var, 0);
    EXPECT_EQ("16 00 00 01 01 00 0A 00 00 00 64 00 02 00 00 00 00 00 00 00 00 88", hex(next()));
    EXPECT_EQ(1, answer("%01$RD341278561E\r"));
    EXPECT_EQ("34 12 78 56", hex(read(KindDT, "100", 2)));
    EXPECT_EQ(std::vector<ReadFinished>({{77, 0, 0, 1}}), readFinished());
}

TEST_F(LoadedRemote, RemotePollingTakesOneEntryAtATimeAndAsksNoStationSwitch)
{
    EXPECT_EQ(2, poll({item(KindDT, "100", 1), item(KindDT, "200", 1)}));
    lib.EnCommStation(1, 0);
    EXPECT_EQ("16 00 00 02 01 00 0A 00 00 00 C8 00 01 00 00 00 00 00 00 00 00 EC", hex(next()));
    EXPECT_EQ(13, request->replyLen);
    EXPECT_EQ(1, *lib.qmap_length);
    EXPECT_EQ(1, answer("%01$RD341212\r"));
    EXPECT_EQ("16 00 00 02 01 00 0A 00 00 00 64 00 01 00 00 00 00 00 00 00 00 88", hex(next()));
}

TEST_F(LoadedRemote, AHostsWriteBecomesOneRecordForEachPiece)
{
    info.linkNo = 1;
    info.maxWordsPerWrite = 1;
    EXPECT_EQ(2, write(KindDT, "100", "\x34\x12\x78\x56", 2, 1, 5, 6));
    EXPECT_EQ("18 05 01 01 01 00 0A 00 00 00 64 00 01 00 00 00 00 00 00 00 00 34 12 D5", hex(next()));
    EXPECT_EQ(1, answer("%01$WD13\r"));
    EXPECT_EQ("18 05 01 01 01 00 0A 00 00 00 65 00 01 00 00 00 00 00 00 00 00 78 56 5E", hex(next()));
}

TEST_F(LoadedRemote, TheLengthByteOfALongWriteKeepsItsLowEightBits)
{
    RW_VAR var = variable();
    var.count = 117;
    var.data = QByteArray(234, '\0');
    lib.AddListWriteVar(&var, 0);
    const std::string frame = next();
    EXPECT_EQ(256u, frame.size());
    EXPECT_EQ("00 00 00 01 01 00 0A 00 00 00 64 00 75", hex(frame.substr(0, 13)));
    EXPECT_EQ("00 E5", hex(frame.substr(254)));
}

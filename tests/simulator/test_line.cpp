// One connection without a socket: pieces, noise, long lines, requests that come too soon.

#include "wire.h"

#include "plcsim/line.h"

using namespace plcsim;
using wire::checked;

namespace
{

struct Connected {
    explicit Connected(Line::Kind kind = Line::Kind::Text) : line(plc, kind) {}

    /// All bytes that come back, at whatever moment.
    std::string send(const QByteArray &bytes, qint64 nowMs = 0)
    {
        std::string received;
        for (const Delivery &delivery : line.take(bytes, nowMs)) {
            EXPECT_EQ(delivery.kind, Delivery::Kind::Bytes);
            received += delivery.bytes.toStdString();
        }
        return received;
    }

    static std::shared_ptr<Simulator> onePlc()
    {
        auto plc = std::make_shared<Simulator>();
        plc->addStation("01", 1);
        plc->setWord("01", Area::DT, 0, 5);
        plc->setWord("01", Area::DT, 1, 10);
        return plc;
    }

    std::shared_ptr<Simulator> plc = onePlc();
    Line line;
};

const char kRead[] = "%01#RDD0000000001**\r";
const char kReply[] = "%01$RD05000A0062\r";
const QByteArray kWriteRecord("\x18\0\0\x01\x01\0\x0A\0\0\0\x64\0\x01\0\0\0\0\0\0\0\0\x34\x12\xCF", 24);

} // namespace

TEST(Line, AnswersAtTheMomentOfTheRequest)
{
    Connected host;
    const std::vector<Delivery> deliveries = host.line.take(kRead, 100);
    ASSERT_EQ(deliveries.size(), 1U);
    EXPECT_EQ(deliveries[0].atMs, 100);
    EXPECT_EQ(deliveries[0].bytes, kReply);
    EXPECT_EQ(deliveries[0].kind, Delivery::Kind::Bytes);
}

TEST(Line, RequestMayBeCutAnywhere)
{
    const QByteArray request(kRead);
    for (int cut = 0; cut <= request.size(); ++cut) {
        Connected host;
        const std::string early = host.send(request.left(cut));
        const std::string late = host.send(request.mid(cut));
        EXPECT_EQ(early + late, kReply) << cut;
        EXPECT_EQ(early.empty(), cut < request.size()) << cut;
    }
}

TEST(Line, RequestMayComeByteByByte)
{
    Connected host;
    std::string received;
    for (const char *byte = kRead; *byte != '\0'; ++byte)
        received += host.send(QByteArray(1, *byte));
    EXPECT_EQ(received, kReply);
}

TEST(Line, RequestsOneAfterTheOtherAreAllAnswered)
{
    Connected host;
    EXPECT_EQ(host.send(kRead), kReply);
    EXPECT_EQ(host.send(kRead), kReply);
    EXPECT_EQ(host.send("%01#WCSR0010122\r"), "%01$WC14\r");
}

TEST(Line, RequestGluedToAnAnsweredOneComesTooSoonAndIsNotExecuted)
{
    Connected host;
    EXPECT_EQ(host.send(QByteArray(kRead) + "%01#WDD00000000000700**\r"), std::string(kReply) + "%01!4302\r");
    EXPECT_EQ(host.plc->word("01", Area::DT, 0), 5);
    EXPECT_EQ(host.send(kRead), kReply);
}

TEST(Line, RequestGluedToABroadcastIsServedSinceNobodyAnswersThat)
{
    Connected host;
    EXPECT_EQ(host.send(QByteArray("%FF#WDD00000000000700**\r%02#RT**\r") + kRead), "%01$RD07000A0060\r");
}

TEST(Line, BeginningOfTheNextRequestWaitsForItsEnd)
{
    Connected host;
    EXPECT_EQ(host.send(QByteArray(kRead) + "%01#RDD00000"), kReply);
    EXPECT_EQ(host.send("00001**\r"), kReply);
}

TEST(Line, NoiseBeforeAHeaderIsSkipped)
{
    Connected host;
    EXPECT_EQ(host.send(QByteArray("\0\xFF\r\n01#RDD\r", 11) + kRead), kReply);
    EXPECT_EQ(host.send("noise without an end"), "");
    EXPECT_EQ(host.send(kRead), kReply);
}

TEST(Line, HeaderBeginsAnewWhateverWasUnfinished)
{
    Connected host;
    EXPECT_EQ(host.send("%01#RDD00%01#WDD"), "");
    EXPECT_EQ(host.send(kRead), kReply);
    EXPECT_EQ(host.send("%01#RDD00<01#RDD0000000001**\r"), "<01$RD05000A007B\r");
}

TEST(Line, LineThatGrowsPastEveryLimitIsDroppedAndTheNextIsServed)
{
    Connected host;
    for (int i = 0; i < 1000; ++i)
        EXPECT_EQ(host.send(i == 0 ? "%01#RT" + QByteArray(1000, '0') : QByteArray(1000, '0')), "");
    EXPECT_EQ(host.send("**\r"), "");
    EXPECT_EQ(host.send(kRead), kReply);
}

TEST(Line, LineOfTheLargestFrameIsStillAnswered)
{
    Connected host;
    EXPECT_EQ(host.send("%01#RT" + QByteArray(2048 - 9, '0') + "**\r"), "%01!2700\r");
    EXPECT_EQ(host.send("%01#RT" + QByteArray(2049 - 9, '0') + "**\r"), "");
    StationSettings settings;
    settings.frameLimit = 3000;
    host.plc->setSettings("01", settings);
    EXPECT_EQ(host.send("%01#RT" + QByteArray(3000 - 9, '0') + "**\r"), "%01!6003\r");
    EXPECT_EQ(host.send("%01#RT" + QByteArray(3001 - 9, '0') + "**\r"), "");
}

TEST(Line, ReconnectForgetsHalfARequest)
{
    Connected host;
    EXPECT_EQ(host.send("%01#RDD00000"), "");
    host.line.reconnect();
    EXPECT_EQ(host.send("00001**\r"), "");
    EXPECT_EQ(host.send(kRead), kReply);
}

TEST(Line, SeveralLinesShareThePlcsButNotTheirPieces)
{
    Connected host;
    Line other(host.plc);
    EXPECT_EQ(host.send("%01#RDD00000"), "");
    EXPECT_EQ(other.take("00001**\r", 0).size(), 0U);
    EXPECT_EQ(other.take(kRead, 0).size(), 1U);
    EXPECT_EQ(host.send("00001**\r"), kReply);
}

TEST(BinaryLine, RecordMayBeCutAnywhere)
{
    for (int cut = 0; cut <= kWriteRecord.size(); ++cut) {
        Connected host(Line::Kind::Binary);
        const std::string early = host.send(kWriteRecord.left(cut));
        const std::string late = host.send(kWriteRecord.mid(cut));
        EXPECT_EQ(early + late, "%01$WD13\r") << cut;
        EXPECT_EQ(early.empty(), cut < kWriteRecord.size()) << cut;
        EXPECT_EQ(host.plc->word("01", Area::DT, 100), 0x1234) << cut;
    }
}

TEST(BinaryLine, SecondRecordGluedToTheFirstComesTooSoon)
{
    Connected host(Line::Kind::Binary);
    EXPECT_EQ(host.send(kWriteRecord + kWriteRecord), "%01$WD13\r%01!4302\r");
    EXPECT_EQ(host.plc->counters().writes, 1U);
}

TEST(BinaryLine, RecordsGluedToABroadcastAreServed)
{
    QByteArray broadcast = kWriteRecord;
    broadcast[4] = static_cast<char>(0xFF);
    broadcast[23] = static_cast<char>(0xCD);
    Connected host(Line::Kind::Binary);
    EXPECT_EQ(host.send(broadcast + kWriteRecord), "%01$WD13\r");
    EXPECT_EQ(host.plc->counters().writes, 2U);
}

TEST(BinaryLine, BehindARecordWithABadSumEverythingIsDropped)
{
    QByteArray broken = kWriteRecord;
    broken[23] = 0;
    Connected host(Line::Kind::Binary);
    EXPECT_EQ(host.send(broken + kWriteRecord + "\x18"), "%01!4001\r");
    EXPECT_EQ(host.send(kWriteRecord), "%01$WD13\r");
}

TEST(BinaryLine, RestOfABrokenRecordIsForgottenAfterASecond)
{
    Connected host(Line::Kind::Binary);
    EXPECT_EQ(host.send(kWriteRecord.left(10), 0), "");
    EXPECT_EQ(host.send(kWriteRecord.mid(10), 1000), "%01$WD13\r");
    EXPECT_EQ(host.send(kWriteRecord.left(10), 2000), "");
    EXPECT_EQ(host.send(kWriteRecord, 3001), "%01$WD13\r");
}

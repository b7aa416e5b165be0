// Binary records and their replies in text form.

#include "wire.h"

#include <initializer_list>

using namespace plcsim;

namespace
{

QByteArray bytes(std::initializer_list<int> values)
{
    QByteArray result;
    for (const int value : values)
        result.append(static_cast<char>(value));
    return result;
}

/// A record whose length byte and check byte are computed here.
struct Record {
    int flag = 0;
    int station = 1;
    int kind = 10;
    int address = 100;
    int count = 2;
    QByteArray values = QByteArray();

    QByteArray build() const
    {
        QByteArray record = bytes({0,
                                   0,
                                   flag,
                                   1,
                                   station,
                                   kind >> 8 & 255,
                                   kind & 255,
                                   address >> 24 & 255,
                                   address >> 16 & 255,
                                   address >> 8 & 255,
                                   address & 255,
                                   count >> 8 & 255,
                                   count & 255,
                                   0,
                                   0,
                                   0,
                                   0,
                                   0,
                                   0,
                                   0,
                                   0});
        record.append(values);
        record[0] = static_cast<char>((record.size() + 1) & 255);
        return withSum(record);
    }

    static QByteArray withSum(const QByteArray &record)
    {
        int sum = 0;
        for (const char byte : record)
            sum += static_cast<unsigned char>(byte);
        return record + static_cast<char>(sum & 255);
    }
};

struct Remote : wire::OneStation {
    std::string send(const QByteArray &record) { return plc.answerRemote(record).toStdString(); }
    std::string send(const Record &record) { return send(record.build()); }
};

const QByteArray kReadOfTwoWords =
    bytes({0x16, 0x00, 0x00, 0x01, 0x01, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x64, 0x00, 0x02, 0, 0, 0, 0, 0, 0, 0, 0, 0x88});
const QByteArray kWriteOfOneWord = bytes({0x18, 0x00, 0x00, 0x01, 0x01, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x64, 0x00,
                                          0x01, 0,    0,    0,    0,    0,    0,    0,    0,    0x34, 0x12, 0xCF});

} // namespace

TEST(BinaryRead, TwoWordsOfDataRegistersAreAnsweredWithSeventeenCharacters)
{
    Remote remote;
    remote.plc.setWord("01", Area::DT, 100, 0x1234);
    remote.plc.setWord("01", Area::DT, 101, 0xABCD);
    const std::string reply = remote.send(kReadOfTwoWords);
    EXPECT_EQ(reply, "%01$RD3412CDAB16\r");
    EXPECT_EQ(reply.size(), 17U);
}

TEST(BinaryRead, RecordsOfTheTestsAreBuiltLikeTheLiteralOne)
{
    EXPECT_EQ(Record().build(), kReadOfTwoWords);
}

TEST(BinaryWrite, OneWordIsStoredAndAcknowledgedWithNineCharacters)
{
    Remote remote;
    EXPECT_EQ(remote.send(kWriteOfOneWord), "%01$WD13\r");
    EXPECT_EQ(remote.word(Area::DT, 100), 0x1234);
    EXPECT_EQ(remote.plc.counters().writes, 1U);
}

TEST(BinaryWrite, TwoBytesForTwoWordsAreAFormatErrorAndChangeNothing)
{
    Remote remote;
    const QByteArray tooShort = bytes({0x18, 0x00, 0x00, 0x01, 0x01, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x64, 0x00,
                                       0x02, 0,    0,    0,    0,    0,    0,    0,    0,    0x34, 0x12, 0xD0});
    EXPECT_EQ(remote.send(tooShort), "%01!4100\r");
    EXPECT_EQ(remote.word(Area::DT, 100), 0);
}

TEST(BinaryRead, EveryWordKindReadsItsAreaAndEchoesItsCommand)
{
    const struct {
        int kind;
        Area area;
        const char *reply;
    } kinds[] = {
        {4, Area::T, "%01$RC341215\r"},   {5, Area::C, "%01$RC341215\r"},   {6, Area::X, "%01$RC341215\r"},
        {7, Area::Y, "%01$RC341215\r"},   {8, Area::R, "%01$RC341215\r"},   {9, Area::L, "%01$RC341215\r"},
        {10, Area::DT, "%01$RD341212\r"}, {11, Area::LD, "%01$RD341212\r"}, {12, Area::FL, "%01$RD341212\r"},
        {13, Area::SV, "%01$RS341205\r"}, {14, Area::EV, "%01$RK34121D\r"},
    };
    for (const auto &row : kinds) {
        Remote remote;
        remote.plc.setWord("01", row.area, 100, 0x1234);
        EXPECT_EQ(remote.send(Record{0, 1, row.kind, 100, 1}), row.reply) << row.kind;
    }
}

TEST(BinaryRead, BitKindsGiveOneWordForEachContact)
{
    const std::pair<int, Area> kinds[] = {{0, Area::X}, {1, Area::Y}, {2, Area::R}, {3, Area::L}};
    for (const auto &kind : kinds) {
        Remote remote;
        remote.plc.setBit("01", kind.second, 16, true);
        EXPECT_EQ(remote.send(Record{0, 1, kind.first, 15, 3}), "%01$RC00000100000010\r") << kind.first;
    }
}

TEST(BinaryWrite, EveryWordKindWritesItsAreaAndEchoesItsCommand)
{
    const struct {
        int kind;
        Area area;
        const char *reply;
    } kinds[] = {
        {7, Area::Y, "%01$WC14\r"},   {8, Area::R, "%01$WC14\r"},   {9, Area::L, "%01$WC14\r"},
        {10, Area::DT, "%01$WD13\r"}, {11, Area::LD, "%01$WD13\r"}, {12, Area::FL, "%01$WD13\r"},
        {13, Area::SV, "%01$WS04\r"}, {14, Area::EV, "%01$WK1C\r"},
    };
    for (const auto &row : kinds) {
        Remote remote;
        EXPECT_EQ(remote.send(Record{1, 1, row.kind, 100, 2, bytes({0x34, 0x12, 0x78, 0x56})}), row.reply) << row.kind;
        EXPECT_EQ(remote.word(row.area, 100), 0x1234) << row.kind;
        EXPECT_EQ(remote.word(row.area, 101), 0x5678) << row.kind;
    }
}

TEST(BinaryWrite, BitKindsTakeOneByteForEachContactAndOnlyOneIsOn)
{
    Remote remote;
    remote.plc.setWord("01", Area::R, 2, 0xFFFF);
    EXPECT_EQ(remote.send(Record{1, 1, 2, 0x23, 3, bytes({1, 0, 2})}), "%01$WC14\r");
    EXPECT_EQ(remote.word(Area::R, 2), 0xFFCF);
    EXPECT_EQ(remote.send(Record{1, 1, 1, 0x0F, 2, bytes({1, 1})}), "%01$WC14\r");
    EXPECT_EQ(remote.word(Area::Y, 0), 0x8000);
    EXPECT_EQ(remote.word(Area::Y, 1), 0x0001);
    EXPECT_EQ(remote.send(Record{1, 1, 3, 0, 1, bytes({1})}), "%01$WC14\r");
    EXPECT_EQ(remote.word(Area::L, 0), 0x0001);
}

TEST(BinaryWrite, KindsThatTheLinkCannotWriteAreParameterErrors)
{
    for (const int kind : {0, 4, 5, 6, 15, 65535}) {
        Remote remote;
        const int size = kind == 0 ? 1 : 2;
        EXPECT_EQ(remote.send(Record{1, 1, kind, 0, 1, QByteArray(size, '\1')}), "%01!6003\r") << kind;
    }
    Remote remote;
    EXPECT_EQ(remote.send(Record{0, 1, 15, 0, 1}), "%01!6003\r");
}

TEST(BinaryRecord, CheckByteThatDoesNotFitIsABccErrorAndExecutesNothing)
{
    Remote remote;
    QByteArray record = kWriteOfOneWord;
    record[23] = static_cast<char>(0xD0);
    EXPECT_EQ(remote.send(record), "%01!4001\r");
    EXPECT_EQ(remote.word(Area::DT, 100), 0);
}

TEST(BinaryRecord, LengthByteThatDoesNotFitIsAFormatError)
{
    Remote remote;
    QByteArray record = kWriteOfOneWord.left(23);
    record[0] = 0x19;
    EXPECT_EQ(remote.send(Record::withSum(record)), "%01!4100\r");
    EXPECT_EQ(remote.word(Area::DT, 100), 0);
}

TEST(BinaryRecord, ReadsAndWritesOutsideTheAreaAreRefused)
{
    Remote remote;
    EXPECT_EQ(remote.send(Record{0, 1, 10, 32764, 1}), "%01$RD000016\r");
    EXPECT_EQ(remote.send(Record{0, 1, 10, 32764, 2}), "%01!6102\r");
    EXPECT_EQ(remote.send(Record{0, 1, 10, -1, 1}), "%01!6102\r");
    EXPECT_EQ(remote.send(Record{0, 1, 10, 0x7FFFFFFF, 2}), "%01!6102\r");
    EXPECT_EQ(remote.send(Record{1, 1, 10, 32764, 1, bytes({1, 0})}), "%01$WD13\r");
    EXPECT_EQ(remote.send(Record{1, 1, 10, 32765, 1, bytes({1, 0})}), "%01!4504\r");
    EXPECT_EQ(remote.send(Record{1, 1, 10, -1, 1, bytes({1, 0})}), "%01!4504\r");
    EXPECT_EQ(remote.send(Record{1, 1, 2, 886 * 16 - 1, 1, bytes({1})}), "%01$WC14\r");
    EXPECT_EQ(remote.send(Record{1, 1, 2, 886 * 16, 1, bytes({1})}), "%01!4504\r");
}

TEST(BinaryRecord, StationIsTheByteAndTheReplyNamesItsDestination)
{
    Remote remote;
    remote.plc.addStation("1A", 10);
    EXPECT_EQ(remote.send(Record{1, 10, 10, 0, 1, bytes({7, 0})}), "%1A$WD62\r");
    EXPECT_EQ(remote.plc.word("1A", Area::DT, 0), 7);
    EXPECT_EQ(remote.word(Area::DT, 0), 0);
    EXPECT_EQ(remote.send(Record{1, 9, 10, 0, 1, bytes({7, 0})}), "");
    EXPECT_EQ(remote.plc.counters().unanswered, 1U);
}

TEST(BinaryRecord, BroadcastIsExecutedByAllAndNotAnswered)
{
    Remote remote;
    remote.plc.addStation("1A", 10);
    EXPECT_EQ(remote.send(Record{1, 255, 10, 0, 1, bytes({7, 0})}), "");
    EXPECT_EQ(remote.send(Record{0, 255, 10, 0, 1}), "");
    EXPECT_EQ(remote.word(Area::DT, 0), 7);
    EXPECT_EQ(remote.plc.word("1A", Area::DT, 0), 7);
}

TEST(BinaryRecord, ModesAndProtectionHoldAsForTheMatchingCommands)
{
    Remote remote;
    StationSettings settings;
    settings.forbiddenInRun = {"WD"};
    settings.missingCommands = {"RK"};
    settings.writeProtected = {{Area::R, 5, 5}};
    remote.plc.setSettings("01", settings);
    EXPECT_EQ(remote.send(kWriteOfOneWord), "%01!6300\r");
    EXPECT_EQ(remote.send(Record{0, 1, 14, 0, 1}), "%01!4203\r");
    EXPECT_EQ(remote.send(Record{1, 1, 2, 5 * 16, 1, bytes({1})}), "%01!6506\r");
    EXPECT_EQ(remote.send(Record{1, 1, 2, 6 * 16, 1, bytes({1})}), "%01$WC14\r");
}

TEST(BinaryRecord, ThatComesTooSoonIsAProcedureErrorAndExecutesNothing)
{
    Remote remote;
    EXPECT_EQ(remote.plc.answerRemoteTooSoon(kWriteOfOneWord), "%01!4302\r");
    EXPECT_EQ(remote.word(Area::DT, 100), 0);
}

TEST(BinaryRecord, FewerThanTwentyTwoBytesAreNoRecord)
{
    Remote remote;
    EXPECT_EQ(remote.send(kReadOfTwoWords.left(21)), "");
    EXPECT_EQ(remote.send(QByteArray()), "");
}

TEST(BinaryRecord, RepliesOfBigBlocksHaveNoLimit)
{
    Remote remote;
    EXPECT_EQ(remote.send(Record{0, 1, 10, 0, 10000}).size(), 40009U);
}

TEST(BinaryRecord, CountOfZeroReadsAndWritesNothing)
{
    Remote remote;
    EXPECT_EQ(remote.send(Record{0, 1, 10, 0, 0}), "%01$RD16\r");
}

TEST(RecordLength, IsKnownFromTwentyTwoBytesOn)
{
    for (int size = 0; size < 22; ++size)
        EXPECT_EQ(recordLength(kWriteOfOneWord.left(size)), std::nullopt) << size;
    EXPECT_EQ(recordLength(kWriteOfOneWord.left(22)), 24);
    EXPECT_EQ(recordLength(kWriteOfOneWord + "more"), 24);
    EXPECT_EQ(recordLength(kReadOfTwoWords), 22);
}

TEST(RecordLength, WrapsAbove255AndIsCompletedFromTheCount)
{
    const auto written = [](int words) {
        return recordLength(Record{1, 1, 10, 0, words, QByteArray(2 * words, '\1')}.build().left(22));
    };
    EXPECT_EQ(written(116), 254);
    EXPECT_EQ(written(117), 256); // the length byte is 0
    EXPECT_EQ(written(128), 278); // the length byte is 22, as that of a read
    EXPECT_EQ(written(1000), 2022);
    EXPECT_EQ(written(65535), 131092);
    EXPECT_EQ(recordLength(Record{1, 1, 2, 0, 300, QByteArray(300, '\1')}.build().left(22)), 322);
}

TEST(RecordLength, ReadOf128WordsIsToldFromAWriteByItsCheckOrItsFlag)
{
    EXPECT_EQ(recordLength(Record{0, 1, 10, 0, 128}.build()), 22);
    EXPECT_EQ(recordLength(Record{0, 1, 10, 0, 128, QByteArray(256, '\0')}.build().left(22)), 278);
    EXPECT_EQ(recordLength(Record{1, 1, 10, 0, 128, QByteArray(256, '\0')}.build().left(22)), 278);
    // 0xA3 is the sum of the bytes before it, so that only the flag tells.
    EXPECT_EQ(recordLength(Record{1, 1, 10, 0, 128, QByteArray(256, '\xA3')}.build().left(22)), 278);
    EXPECT_EQ(recordLength(Record{0, 1, 2, 0, 256, QByteArray(256, '\0')}.build().left(22)), 278);
    EXPECT_EQ(recordLength(Record{1, 1, 10, 0, 127}.build()), 22);
}

TEST(RecordLength, FollowsTheLengthByteWhereTheCountDisagrees)
{
    EXPECT_EQ(recordLength(Record{1, 1, 10, 0, 5, QByteArray(3, '\1')}.build()), 25);
    EXPECT_EQ(recordLength(Record{1, 1, 10, 0, 1000, QByteArray(3, '\1')}.build()), 25);
}

TEST(BinaryWrite, BlockLongerThan255BytesIsStoredWhole)
{
    Remote remote;
    EXPECT_EQ(remote.send(Record{1, 1, 10, 0, 128, QByteArray(256, '\x11')}), "%01$WD13\r");
    EXPECT_EQ(remote.word(Area::DT, 0), 0x1111);
    EXPECT_EQ(remote.word(Area::DT, 127), 0x1111);
    EXPECT_EQ(remote.word(Area::DT, 128), 0);
}

TEST(RecordSum, CoversEveryByteBeforeTheLast)
{
    EXPECT_TRUE(recordSumFits(kReadOfTwoWords));
    QByteArray wrong = kReadOfTwoWords;
    wrong[0] = 0x17;
    EXPECT_FALSE(recordSumFits(wrong));
    EXPECT_FALSE(recordSumFits(QByteArray()));
    EXPECT_TRUE(recordSumFits(QByteArray(1, '\0')));
}

// Frames: form, check, size, station, broadcast.

#include "wire.h"

using namespace plcsim;
using wire::checked;
using wire::OneStation;

TEST(Frames, PublishedReadOfTwoDataRegistersIsAnsweredLiterally)
{
    OneStation one;
    one.plc.setWord("01", Area::DT, 0, 5);
    one.plc.setWord("01", Area::DT, 1, 10);
    EXPECT_EQ(one.ask("%01#RDD0000000001**\r"), "%01$RD05000A0062\r");
}

TEST(Frames, PublishedWriteOfOneContactIsAnsweredLiterally)
{
    OneStation one;
    EXPECT_EQ(one.ask("%01#WCSR0010122\r"), "%01$WC14\r");
    EXPECT_EQ(one.plc.bit("01", Area::R, 16), true);
}

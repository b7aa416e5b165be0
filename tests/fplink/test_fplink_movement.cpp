// Movements of the simulator as people write them.

#include "fplink/movement_text.h"

#include <gtest/gtest.h>

using fplink::parseMovement;
using fplink::StationMovement;
using plcsim::Area;
using plcsim::Movement;

namespace
{

StationMovement movementOf(const char *text)
{
    StationMovement movement;
    const std::optional<QString> why = parseMovement(QString::fromUtf8(text), 1, &movement);
    EXPECT_FALSE(why.has_value()) << why->toStdString();
    return movement;
}

std::string whyNot(const char *text)
{
    StationMovement movement;
    const std::optional<QString> why = parseMovement(QString::fromUtf8(text), 1, &movement);
    return why ? why->toStdString() : "";
}

} // namespace

TEST(FplinkMovement, TakesShapeLimitsPeriodAndSeed)
{
    const StationMovement ramp = movementOf("DT100=ramp,low=10,high=1000,period=5000");
    EXPECT_EQ(ramp.station, 1);
    EXPECT_EQ(ramp.movement.shape, Movement::Shape::Ramp);
    EXPECT_EQ(ramp.movement.area, Area::DT);
    EXPECT_EQ(ramp.movement.number, 100);
    EXPECT_EQ(ramp.movement.low, 10);
    EXPECT_EQ(ramp.movement.high, 1000);
    EXPECT_EQ(ramp.movement.periodMs, 5000);
    const StationMovement random = movementOf("EV3@7=random,seed=9");
    EXPECT_EQ(random.station, 7);
    EXPECT_EQ(random.movement.shape, Movement::Shape::Random);
    EXPECT_EQ(random.movement.area, Area::EV);
    EXPECT_EQ(random.movement.seed, 9u);
    EXPECT_EQ(random.movement.high, 65535);
    EXPECT_EQ(random.movement.periodMs, 1000);
}

TEST(FplinkMovement, RelayWordsAreWordsOfTheRelays)
{
    EXPECT_EQ(movementOf("WX3=sine").movement.area, Area::X);
    EXPECT_EQ(movementOf("WX3=sine").movement.number, 3);
    EXPECT_EQ(movementOf("WL3=counter").movement.area, Area::L);
}

TEST(FplinkMovement, BitsToggle)
{
    const StationMovement toggle = movementOf("R10F=toggle,period=250");
    EXPECT_EQ(toggle.movement.shape, Movement::Shape::Toggle);
    EXPECT_EQ(toggle.movement.area, Area::R);
    EXPECT_EQ(toggle.movement.number, 175);
    EXPECT_EQ(toggle.movement.periodMs, 250);
    EXPECT_EQ(movementOf("T17=toggle").movement.number, 17);
}

TEST(FplinkMovement, SaysWhatIsWrong)
{
    EXPECT_EQ(whyNot("DT5"), "DT5: write ADDRESS=SHAPE, for example DT100=ramp,high=1000");
    EXPECT_EQ(whyNot("Q5=ramp").substr(0, 25), "Q5: there is no area 'Q';");
    EXPECT_EQ(whyNot("DT5:2=ramp"), "DT5:2: one element moves; leave the count out");
    EXPECT_EQ(whyNot("DT5="), "DT5: '' is no shape; shapes are ramp, sine, random, counter and toggle");
    EXPECT_EQ(whyNot("DT5=jump"), "DT5: 'jump' is no shape; shapes are ramp, sine, random, counter and toggle");
    EXPECT_EQ(whyNot("DT5=toggle"), "DT5: a word cannot toggle");
    EXPECT_EQ(whyNot("R5=ramp"), "R5: a bit can only toggle");
    EXPECT_EQ(whyNot("DT5=ramp,low=70000"), "DT5: '70000' is no value for a word");
    EXPECT_EQ(whyNot("DT5=ramp,low=5,high=4"), "DT5: low is above high");
    EXPECT_EQ(whyNot("DT5=ramp,period=0"), "DT5: '0' is no number for period");
    EXPECT_EQ(whyNot("DT5=ramp,seed=x"), "DT5: 'x' is no number for seed");
    EXPECT_EQ(whyNot("DT5=ramp,speed=3"), "DT5: 'speed=3' is none of low=, high=, period= and seed=");
    EXPECT_EQ(whyNot("DT5=ra\nmp"), "DT5: 'ra\\nmp' is no shape; shapes are ramp, sine, random, counter and toggle");
    EXPECT_EQ(whyNot("DT5=ramp,low=\x1b"), "DT5: '\\x1B' is no value for a word");
    EXPECT_EQ(whyNot("DT5=ramp,\t"), "DT5: '\\t' is none of low=, high=, period= and seed=");
    EXPECT_EQ(whyNot("DT5=ramp,seed=\r"), "DT5: '\\r' is no number for seed");
    EXPECT_EQ(whyNot("DT5=ramp,"), "DT5: '' is none of low=, high=, period= and seed=");
}

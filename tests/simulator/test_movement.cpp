// Values that move on the clock of the test.

#include "wire.h"

#include <set>
#include <stdexcept>
#include <vector>

using namespace plcsim;
using wire::OneStation;

namespace
{

struct Moving : OneStation {
    explicit Moving(const Movement &movement) { plc.addMovement("01", movement); }
    quint16 after(qint64 milliseconds)
    {
        plc.advance(milliseconds);
        return word(Area::DT, 7);
    }
};

Movement movementOf(Movement::Shape shape, qint64 periodMs, quint16 low, quint16 high)
{
    Movement movement;
    movement.shape = shape;
    movement.number = 7;
    movement.periodMs = periodMs;
    movement.low = low;
    movement.high = high;
    return movement;
}

} // namespace

TEST(Movement, RampGoesFromLowToHighAndStartsAgain)
{
    Moving ramp(movementOf(Movement::Shape::Ramp, 1000, 10, 13));
    EXPECT_EQ(ramp.after(0), 10);
    EXPECT_EQ(ramp.after(249), 10);
    EXPECT_EQ(ramp.after(1), 11);
    EXPECT_EQ(ramp.after(250), 12);
    EXPECT_EQ(ramp.after(499), 13);
    EXPECT_EQ(ramp.after(1), 10);
    EXPECT_EQ(ramp.after(1000750), 13);
}

TEST(Movement, RampOverTheWholeRangeReachesBothEnds)
{
    Moving ramp(movementOf(Movement::Shape::Ramp, 65536, 0, 65535));
    EXPECT_EQ(ramp.after(0), 0);
    EXPECT_EQ(ramp.after(65535), 65535);
    EXPECT_EQ(ramp.after(1), 0);
}

TEST(Movement, SineStartsHalfWayAndTouchesBothEnds)
{
    Moving sine(movementOf(Movement::Shape::Sine, 1000, 100, 300));
    EXPECT_EQ(sine.after(0), 200);
    EXPECT_EQ(sine.after(250), 300);
    EXPECT_EQ(sine.after(250), 200);
    EXPECT_EQ(sine.after(250), 100);
    EXPECT_EQ(sine.after(250), 200);
    EXPECT_EQ(sine.after(83), 250); // a twelfth of the period: sin 30 degrees
}

TEST(Movement, CounterStepsOncePerPeriodAndWrapsAfterHigh)
{
    Moving counter(movementOf(Movement::Shape::Counter, 100, 5, 7));
    EXPECT_EQ(counter.after(0), 5);
    EXPECT_EQ(counter.after(99), 5);
    EXPECT_EQ(counter.after(1), 6);
    EXPECT_EQ(counter.after(100), 7);
    EXPECT_EQ(counter.after(100), 5);
    EXPECT_EQ(counter.after(400), 6);
}

TEST(Movement, RandomStaysInRangeAndIsTheSameForTheSameSeed)
{
    Movement movement = movementOf(Movement::Shape::Random, 10, 1000, 1009);
    const auto valuesOf = [&movement](qint64 step) {
        Moving random(movement);
        std::vector<quint16> values;
        for (qint64 time = 0; time < 2000; time += step) {
            const quint16 value = random.after(time == 0 ? 0 : step);
            if (time % 10 == 0)
                values.push_back(value);
        }
        return values;
    };
    const std::vector<quint16> values = valuesOf(10);
    EXPECT_EQ(std::set<quint16>(values.begin(), values.end()),
              (std::set<quint16>{1000, 1001, 1002, 1003, 1004, 1005, 1006, 1007, 1008, 1009}));
    EXPECT_EQ(valuesOf(5), values); // pieces of time do not matter
    movement.seed = 2;
    EXPECT_NE(valuesOf(10), values);
}

TEST(Movement, ToggleTurnsTheBitAndLeavesItsNeighbours)
{
    OneStation one;
    one.plc.setWord("01", Area::Y, 1, 0xFF00);
    Movement toggle;
    toggle.shape = Movement::Shape::Toggle;
    toggle.area = Area::Y;
    toggle.number = 1 * 16 + 3;
    toggle.periodMs = 100;
    one.plc.addMovement("01", toggle);
    const auto after = [&one](qint64 milliseconds) {
        one.plc.advance(milliseconds);
        return one.word(Area::Y, 1);
    };
    EXPECT_EQ(after(0), 0xFF00);
    EXPECT_EQ(after(99), 0xFF00);
    EXPECT_EQ(after(1), 0xFF08);
    EXPECT_EQ(after(100), 0xFF00);
    EXPECT_EQ(after(300), 0xFF08);
    EXPECT_EQ(after(200), 0xFF08);
}

TEST(Movement, WordWrittenBySomebodyElseStandsUntilTheNextStep)
{
    Moving counter(movementOf(Movement::Shape::Counter, 100, 0, 9));
    counter.plc.setWord("01", Area::DT, 7, 777);
    EXPECT_EQ(counter.after(99), 777);
    EXPECT_EQ(counter.after(1), 1);
}

TEST(Movement, SeveralMoveAtOnceInSeveralStations)
{
    OneStation one;
    one.plc.addStation("02", 2);
    Movement movement = movementOf(Movement::Shape::Counter, 100, 0, 9);
    one.plc.addMovement("01", movement);
    movement.area = Area::EV;
    movement.periodMs = 50;
    one.plc.addMovement("01", movement);
    one.plc.addMovement("02", movement);
    one.plc.advance(200);
    EXPECT_EQ(one.plc.word("01", Area::DT, 7), 2);
    EXPECT_EQ(one.plc.word("01", Area::EV, 7), 4);
    EXPECT_EQ(one.plc.word("02", Area::EV, 7), 4);
    EXPECT_EQ(one.plc.word("02", Area::DT, 7), 0);
}

TEST(Movement, TimeDoesNotRunBackwardsAndMayBeEndless)
{
    Moving counter(movementOf(Movement::Shape::Counter, 100, 0, 9));
    EXPECT_EQ(counter.after(300), 3);
    EXPECT_EQ(counter.after(-200), 3);
    counter.after(std::numeric_limits<qint64>::max());
    EXPECT_EQ(counter.after(std::numeric_limits<qint64>::max()), 8); // ...7758 periods
}

TEST(Movement, OfAWordThatTheUnitLosesIsForgottenUntilItIsBack)
{
    Moving counter(movementOf(Movement::Shape::Counter, 100, 0, 9));
    StationSettings settings;
    settings.words.set(Area::DT, 7);
    counter.plc.setSettings("01", settings);
    counter.plc.advance(100);
    settings.words.set(Area::DT, 8);
    counter.plc.setSettings("01", settings);
    EXPECT_EQ(counter.after(100), 2);
}

TEST(Movement, BadOnesAreRefused)
{
    OneStation one;
    const auto refused = [&one](const Movement &movement) {
        EXPECT_THROW(one.plc.addMovement("01", movement), std::invalid_argument);
    };
    Movement movement = movementOf(Movement::Shape::Ramp, 1000, 0, 10);
    EXPECT_THROW(one.plc.addMovement("02", movement), std::invalid_argument);
    movement.number = -1;
    refused(movement);
    movement.number = 32765;
    refused(movement);
    movement.number = 32764;
    EXPECT_NO_THROW(one.plc.addMovement("01", movement));
    movement.periodMs = 0;
    refused(movement);
    movement.periodMs = 1000000000001;
    refused(movement);
    movement.periodMs = 1000000000000;
    EXPECT_NO_THROW(one.plc.addMovement("01", movement));
    movement.low = 11;
    refused(movement);
    movement.low = 10;
    EXPECT_NO_THROW(one.plc.addMovement("01", movement));
    movement.shape = Movement::Shape::Toggle;
    movement.area = Area::X;
    movement.number = 128 * 16;
    refused(movement);
    movement.number = -1;
    refused(movement);
    movement.number = 128 * 16 - 1;
    EXPECT_NO_THROW(one.plc.addMovement("01", movement));
}

// movement.cpp - the shapes of moving values.

#include "moving_value.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace plcsim
{

namespace
{

constexpr double kTwoPi = 6.283185307179586;

// The value of period n is a function of n alone, so that time may pass in any pieces. Mixes all bits of its input
// (finalizer of the splitmix64 generator).
quint64 mixed(quint64 bits)
{
    bits += 0x9E3779B97F4A7C15ULL;
    bits = (bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9ULL;
    bits = (bits ^ (bits >> 27)) * 0x94D049BB133111EBULL;
    return bits ^ (bits >> 31);
}

} // namespace

MovingValue::MovingValue(const Movement &movement) : movement_(movement)
{
    if (movement.periodMs < 1 || movement.periodMs > kLongestPeriodMs)
        throw std::invalid_argument("a movement's period must be 1 to 1000000000000 milliseconds");
    if (movement.low > movement.high)
        throw std::invalid_argument("a movement's low value must not be above its high value");
}

void MovingValue::advance(qint64 milliseconds)
{
    const qint64 room = std::numeric_limits<qint64>::max() - elapsedMs_;
    elapsedMs_ += std::min(milliseconds, room);
}

std::optional<quint16> MovingValue::takeChange()
{
    const quint16 now = value();
    if (written_ == now)
        return std::nullopt;
    written_ = now;
    return now;
}

bool MovingValue::takeTurn()
{
    const qint64 turns = elapsedMs_ / movement_.periodMs;
    const bool odd = ((turns - turns_) & 1) != 0;
    turns_ = turns;
    return odd;
}

quint16 MovingValue::value() const
{
    const qint64 period = elapsedMs_ / movement_.periodMs;
    const qint64 phase = elapsedMs_ % movement_.periodMs;
    const int values = movement_.high - movement_.low + 1;
    const auto above = [this](qint64 steps) { return static_cast<quint16>(movement_.low + steps); };
    switch (movement_.shape) {
    case Movement::Shape::Ramp:
        return above(phase * values / movement_.periodMs);
    case Movement::Shape::Sine: {
        const double angle = kTwoPi * static_cast<double>(phase) / static_cast<double>(movement_.periodMs);
        return above(std::lround((1 + std::sin(angle)) / 2 * (values - 1)));
    }
    case Movement::Shape::Random: {
        const quint64 bits = mixed((static_cast<quint64>(movement_.seed) << 32) ^ static_cast<quint64>(period));
        return above(static_cast<qint64>(bits % static_cast<quint64>(values)));
    }
    case Movement::Shape::Counter:
        return above(period % values);
    case Movement::Shape::Toggle:
        break;
    }
    return movement_.low;
}

} // namespace plcsim

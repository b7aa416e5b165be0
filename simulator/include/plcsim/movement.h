// movement.h - values that move by themselves, so that a screen has something to show.
//
//  - A movement knows no clock: Simulator::advance() tells it how much time has passed.
//  - The same movements advanced by the same times give the same values.

#pragma once

#include "plcsim/area.h"

#include <QtCore/QtGlobal>

namespace plcsim
{

constexpr qint64 kLongestPeriodMs = 1000000000000; // some thirty years

/// One moving word, or one toggling bit. Time counts from the moment at which the movement is added.
///
/// A value is written when it differs from the one that the movement wrote last, so a word that somebody else wrote
/// stands until the movement's next step.
struct Movement {
    enum class Shape {
        Ramp,    // low to high in equal steps within one period, then from low again
        Sine,    // one full wave per period between low and high, starting half-way and rising
        Random,  // another value of low to high (both included) at the start of every period
        Counter, // one more at the start of every period, low after high
        Toggle   // a bit that is turned over at the start of every period; low and high are not used
    };

    Shape shape = Shape::Ramp;
    Area area = Area::DT;
    int number = 0;         // word number; for Toggle a bit number: word x 16 + bit
    qint64 periodMs = 1000; // 1 to kLongestPeriodMs
    quint16 low = 0;        // not above high
    quint16 high = 65535;
    quint32 seed = 1; // Random only
};

} // namespace plcsim

// movement_text.h - moving values of the simulator as people write them.
//
//  - Pure function over text.

#pragma once

#include "plcsim/movement.h"

#include <QtCore/QString>

#include <optional>

namespace fplink
{

/// A movement and the station that has it.
struct StationMovement {
    int station = 1;
    plcsim::Movement movement;
};

/// Reads ADDRESS=SHAPE[,low=N][,high=N][,period=MS][,seed=N], with the address as parseAddress() takes it and the
/// shapes ramp, sine, random and counter for words, toggle for bits:
///   DT100=ramp,low=0,high=1000,period=5000    R10F@2=toggle,period=500
/// Words of X, Y, R and L are named WX to WL. Left out: low 0, high 65535, period 1000, seed 1.
/// Result: nothing, and the movement; otherwise one line that says what is wrong.
std::optional<QString> parseMovement(const QString &text, int station, StationMovement *movement);

/// The simulator's area whose words carry elements of \a kind: KindWX and KindX -> X, KindDT -> DT.
plcsim::Area simulatedArea(int kind);

} // namespace fplink

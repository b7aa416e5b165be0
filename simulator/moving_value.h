// moving_value.h - a movement under way: what its value is after so many milliseconds.

#pragma once

#include "plcsim/movement.h"

#include <optional>

namespace plcsim
{

class MovingValue
{
public:
    /// Throws std::invalid_argument when a field other than area and number is out of its range.
    explicit MovingValue(const Movement &movement);

    const Movement &movement() const { return movement_; }

    void advance(qint64 milliseconds);

    /// The value to write now, once; nothing while it is still the last one. Not for Toggle.
    std::optional<quint16> takeChange();

    /// True, once, when a Toggle has to turn its bit over.
    bool takeTurn();

private:
    quint16 value() const;

    Movement movement_;
    qint64 elapsedMs_ = 0;
    qint64 turns_ = 0; // periods of a Toggle that have been taken
    std::optional<quint16> written_;
};

} // namespace plcsim

// movement_text.cpp - see movement_text.h.

#include "movement_text.h"

#include "address.h"
#include "numbers.h"
#include "shown_text.h"

#include <limits>

namespace fplink
{

namespace
{

using plcsim::Area;
using plcsim::Movement;

struct ShapeRow {
    const char *name;
    Movement::Shape shape;
};

const ShapeRow kShapes[] = {{"ramp", Movement::Shape::Ramp},
                            {"sine", Movement::Shape::Sine},
                            {"random", Movement::Shape::Random},
                            {"counter", Movement::Shape::Counter},
                            {"toggle", Movement::Shape::Toggle}};

const ShapeRow *shapeNamed(const QString &name)
{
    for (const ShapeRow &row : kShapes) {
        if (name == QLatin1String(row.name))
            return &row;
    }
    return nullptr;
}

/// One "key=value" behind the shape.
std::optional<QString> parseOption(const QString &text, Movement *movement)
{
    const int equals = text.indexOf(QLatin1Char('='));
    const QString key = text.left(equals);
    const QString valueText = equals < 0 ? QString() : text.mid(equals + 1);
    if (key == QLatin1String("low") || key == QLatin1String("high")) {
        const std::optional<int> value = wordValue(valueText);
        if (!value)
            return QStringLiteral("'%1' is no value for a word").arg(quoted(valueText));
        (key == QLatin1String("low") ? movement->low : movement->high) = static_cast<quint16>(*value);
        return std::nullopt;
    }
    if (key != QLatin1String("period") && key != QLatin1String("seed"))
        return QStringLiteral("'%1' is none of low=, high=, period= and seed=").arg(quoted(text));
    const std::optional<int> value = decimal(valueText, std::numeric_limits<int>::max());
    if (!value || (*value == 0 && key == QLatin1String("period")))
        return QStringLiteral("'%1' is no number for %2").arg(quoted(valueText), key);
    if (key == QLatin1String("period"))
        movement->periodMs = *value;
    else
        movement->seed = static_cast<quint32>(*value);
    return std::nullopt;
}

} // namespace

Area simulatedArea(int kind)
{
    // In the order of the kinds, 0 to 14.
    static const Area kAreas[] = {Area::X, Area::Y, Area::R,  Area::L,  Area::T,  Area::C,  Area::X, Area::Y,
                                  Area::R, Area::L, Area::DT, Area::LD, Area::FL, Area::SV, Area::EV};
    return kAreas[kind];
}

std::optional<QString> parseMovement(const QString &text, int station, StationMovement *movement)
{
    const int equals = text.indexOf(QLatin1Char('='));
    if (equals < 0)
        return QStringLiteral("%1: write ADDRESS=SHAPE, for example DT100=ramp,high=1000").arg(quoted(text));
    fphost::Span span;
    if (const std::optional<QString> why = parseAddress(text.left(equals), station, &span))
        return why;
    const QString name = quoted(text.left(equals));
    if (span.count != 1)
        return QStringLiteral("%1: one element moves; leave the count out").arg(name);
    const QStringList parts = text.mid(equals + 1).split(QLatin1Char(','));
    const ShapeRow *shape = shapeNamed(parts.first());
    if (!shape)
        return QStringLiteral("%1: '%2' is no shape; shapes are ramp, sine, random, counter and toggle")
            .arg(name, quoted(parts.first()));
    const bool bit = fphost::areaRow(span.kind)->bits;
    if (bit != (shape->shape == Movement::Shape::Toggle))
        return bit ? QStringLiteral("%1: a bit can only toggle").arg(name)
                   : QStringLiteral("%1: a word cannot toggle").arg(name);
    StationMovement parsed;
    parsed.station = span.station;
    parsed.movement.shape = shape->shape;
    parsed.movement.area = simulatedArea(span.kind);
    parsed.movement.number = span.first;
    for (const QString &part : parts.mid(1)) {
        if (const std::optional<QString> why = parseOption(part, &parsed.movement))
            return QStringLiteral("%1: %2").arg(name, *why);
    }
    if (parsed.movement.low > parsed.movement.high)
        return QStringLiteral("%1: low is above high").arg(name);
    *movement = parsed;
    return std::nullopt;
}

} // namespace fplink

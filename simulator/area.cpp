// area.cpp - names and sizes of the memory areas.

#include "plcsim/area.h"

#include <stdexcept>
#include <string>

namespace plcsim
{

namespace
{

struct AreaRow {
    Area area;
    const char *name;
    int largest; // words that the digits of the commands can name
    int large;   // words of a large model
};

// clang-format off
constexpr AreaRow kAreas[] = {
    // area     name  largest  large model
    { Area::X,  "X",   10000,    128 },
    { Area::Y,  "Y",   10000,    128 },
    { Area::R,  "R",   10000,    886 },
    { Area::L,  "L",   10000,    640 },
    { Area::T,  "T",   10000,    192 },     // 3,072 timers
    { Area::C,  "C",   10000,    192 },     // 3,072 counters
    { Area::DT, "DT", 100000,  32765 },
    { Area::LD, "LD", 100000,   8448 },
    { Area::FL, "FL", 100000,  32000 },
    { Area::SV, "SV",  10000,   3072 },
    { Area::EV, "EV",  10000,   3072 },
};
// clang-format on
static_assert(sizeof(kAreas) / sizeof(kAreas[0]) == kAreaCount, "one row for every area");

const AreaRow &rowOf(Area area)
{
    return kAreas[static_cast<std::size_t>(area)];
}

} // namespace

const std::array<Area, kAreaCount> &allAreas()
{
    static const std::array<Area, kAreaCount> areas = {Area::X,  Area::Y,  Area::R,  Area::L,  Area::T, Area::C,
                                                       Area::DT, Area::LD, Area::FL, Area::SV, Area::EV};
    return areas;
}

QString areaName(Area area)
{
    return QString::fromLatin1(rowOf(area).name);
}

std::optional<Area> areaFromName(const QString &name)
{
    for (const AreaRow &row : kAreas) {
        if (name == QLatin1String(row.name))
            return row.area;
    }
    return std::nullopt;
}

int largestWords(Area area)
{
    return rowOf(area).largest;
}

AreaSizes::AreaSizes() : words_()
{
    for (const AreaRow &row : kAreas)
        words_[static_cast<std::size_t>(row.area)] = row.large;
}

AreaSizes &AreaSizes::set(Area area, int words)
{
    if (words < 0 || words > largestWords(area)) {
        throw std::invalid_argument("area " + areaName(area).toStdString() + " can have 0 to " +
                                    std::to_string(largestWords(area)) + " words, not " + std::to_string(words));
    }
    words_[static_cast<std::size_t>(area)] = words;
    return *this;
}

AreaSizes AreaSizes::largest()
{
    AreaSizes sizes;
    for (const AreaRow &row : kAreas)
        sizes.set(row.area, row.largest);
    return sizes;
}

} // namespace plcsim

// area.h - the memory areas of a simulated PLC, their names and their largest sizes.
//
//  - Every area is a row of 16-bit words. X, Y, R, L, T and C are contacts, 16 to a word, contact 0 the lowest bit.
//  - The largest size of an area is what the digits of the commands can name.

#pragma once

#include <QtCore/QString>

#include <array>
#include <cstddef>
#include <optional>

namespace plcsim
{

enum class Area {
    X,  // external inputs
    Y,  // external outputs
    R,  // internal relays
    L,  // link relays
    T,  // timer contacts
    C,  // counter contacts
    DT, // data registers
    LD, // link data registers
    FL, // file registers
    SV, // set values of timers and counters
    EV  // elapsed values of timers and counters
};

constexpr std::size_t kAreaCount = 11;
constexpr int kContactsPerWord = 16;

/// All areas in the order of the enumeration.
const std::array<Area, kAreaCount> &allAreas();

/// The area's name as the field writes it: "X", "DT", "EV".
QString areaName(Area area);

/// The area of a name as areaName() gives it (upper case); nothing for any other text.
std::optional<Area> areaFromName(const QString &name);

/// The most words that an area can have: 10,000 where commands carry four digits (X, Y, R, L, T, C, SV, EV),
/// 100,000 where they carry five (DT, LD, FL). Single contacts of X, Y, R, L, T and C can be named in the first
/// 1,000 words only, since their commands carry three digits of the word.
int largestWords(Area area);

/// Words per area. A new object has the sizes of a large model.
class AreaSizes
{
public:
    AreaSizes();

    int of(Area area) const { return words_[static_cast<std::size_t>(area)]; }

    /// \param words  0 (the unit does not have the area) to largestWords(area)
    /// Throws std::invalid_argument for any other number.
    AreaSizes &set(Area area, int words);

    /// Every area at its largestWords().
    static AreaSizes largest();

    bool operator==(const AreaSizes &other) const { return words_ == other.words_; }
    bool operator!=(const AreaSizes &other) const { return words_ != other.words_; }

private:
    std::array<int, kAreaCount> words_;
};

} // namespace plcsim

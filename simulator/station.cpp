// station.cpp - memory, registration and permissions of one simulated PLC.

#include "station.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace plcsim
{

Station::Station(const QByteArray &destination, int number, const StationSettings &settings)
    : destination_(destination), number_(number)
{
    setSettings(settings);
}

void Station::setSettings(const StationSettings &settings)
{
    requireGood(settings);
    if (settings.words != settings_.words)
        forgetRegistration();
    settings_ = settings;
    for (Area area : allAreas())
        words(area).resize(static_cast<std::size_t>(settings.words.of(area)));
}

void Station::setPowered(bool on)
{
    powered_ = on;
    if (!on)
        forgetRegistration();
}

bool Station::has(Area area, int word) const
{
    return word >= 0 && static_cast<std::size_t>(word) < words(area).size();
}

void Station::setBit(const Contact &contact, bool on)
{
    const int mask = 1 << contact.bit;
    const int old = word(contact.area, contact.word);
    setWord(contact.area, contact.word, static_cast<quint16>(on ? old | mask : old & ~mask));
}

Refusal Station::mayRead(const Span &span) const
{
    if (!has(span))
        return Refusal::Data;
    const std::optional<int> code = faults.unreadable(span.area, span.first, span.last);
    return code ? static_cast<Refusal>(*code) : Refusal::None;
}

Refusal Station::mayWrite(const Span &span) const
{
    if (!has(span))
        return Refusal::Operation;
    for (const WordRange &range : settings_.writeProtected) {
        if (range.area == span.area && range.first <= span.last && span.first <= range.last)
            return Refusal::Protect;
    }
    return Refusal::None;
}

Refusal Station::mayExecute(const QByteArray &command) const
{
    if (settings_.missingCommands.count(command) != 0)
        return Refusal::NotSupported;
    if (settings_.busy)
        return Refusal::Busy;
    const auto &forbidden = settings_.mode == Mode::Run ? settings_.forbiddenInRun : settings_.forbiddenInProg;
    return forbidden.count(command) != 0 ? Refusal::Mode : Refusal::None;
}

int Station::scansSinceLastMonitor()
{
    const qint64 scans = monitorAgeMs_ / settings_.scanTimeMs;
    monitorAgeMs_ = 0;
    return static_cast<int>(std::clamp<qint64>(scans, 1, 10));
}

void Station::addMovement(const Movement &movement)
{
    MovingValue value(movement);
    const bool toggles = movement.shape == Movement::Shape::Toggle;
    const int wordNumber = toggles && movement.number > 0 ? movement.number / kContactsPerWord : movement.number;
    if (!has(movement.area, wordNumber))
        throw std::invalid_argument("a movement's number must lie within its area");
    movements_.push_back(value);
    advance(0); // writes the first value
}

void Station::advance(qint64 milliseconds)
{
    monitorAgeMs_ += std::min(milliseconds, std::numeric_limits<qint64>::max() - monitorAgeMs_);
    for (MovingValue &value : movements_) {
        value.advance(milliseconds);
        const Movement &movement = value.movement();
        const bool toggles = movement.shape == Movement::Shape::Toggle;
        const Contact contact = {movement.area, movement.number / kContactsPerWord, movement.number % kContactsPerWord};
        if (!has(movement.area, toggles ? contact.word : movement.number))
            continue; // the area was made smaller
        if (toggles) {
            if (value.takeTurn())
                setBit(contact, !bit(contact));
        } else if (const auto changed = value.takeChange()) {
            setWord(movement.area, movement.number, *changed);
        }
    }
}

} // namespace plcsim

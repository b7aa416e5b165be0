// station.h - one simulated PLC: memory, monitor registration, settings, moving values.
//
//  - Knows no lock and no other station; the Simulator sees to both.
//  - A refused command changes nothing.

#pragma once

#include "fault_state.h"
#include "moving_value.h"
#include "wire_text.h"

#include "plcsim/settings.h"

#include <QtCore/QByteArray>

#include <array>
#include <optional>
#include <vector>

namespace plcsim
{

/// A run of words of one area; last is included.
struct Span {
    Area area;
    int first;
    int last;
    int words() const { return last - first + 1; }
};

/// One contact: a bit of a word.
struct Contact {
    Area area;
    int word;
    int bit;
};

class Station
{
public:
    /// Throws std::invalid_argument for a bad setting.
    Station(const QByteArray &destination, int number, const StationSettings &settings);

    const QByteArray &destination() const { return destination_; }
    int number() const { return number_; }

    const StationSettings &settings() const { return settings_; }
    void setSettings(const StationSettings &settings);

    bool powered() const { return powered_; }
    void setPowered(bool on);

    // Memory as the unit itself sees it: no protection, no modes.
    bool has(Area area, int word) const;
    bool has(const Span &span) const { return has(span.area, span.first) && has(span.area, span.last); }
    quint16 word(Area area, int at) const { return words(area)[static_cast<std::size_t>(at)]; }
    void setWord(Area area, int at, quint16 value) { words(area)[static_cast<std::size_t>(at)] = value; }
    bool bit(const Contact &contact) const { return (word(contact.area, contact.word) >> contact.bit & 1) != 0; }
    void setBit(const Contact &contact, bool on);

    const std::vector<quint16> &words(Area area) const { return memory_[static_cast<std::size_t>(area)]; }
    std::vector<quint16> &words(Area area) { return memory_[static_cast<std::size_t>(area)]; }

    // What the link may do.
    Refusal mayRead(const Span &span) const;
    Refusal mayWrite(const Span &span) const;

    /// NotSupported, Busy, Mode or None for a command of the table.
    Refusal mayExecute(const QByteArray &command) const;

    FaultState faults;

    // Monitor registration.
    struct Registration {
        std::vector<Contact> contacts;
        std::vector<Span> items; // one word each
    };
    Registration registration;
    void forgetRegistration() { registration = Registration(); }

    /// Scans since the last call, 1 to 10, and starts to count again.
    int scansSinceLastMonitor();

    /// Throws std::invalid_argument for a bad movement.
    void addMovement(const Movement &movement);
    void advance(qint64 milliseconds);

private:
    QByteArray destination_;
    int number_;
    StationSettings settings_;
    std::array<std::vector<quint16>, kAreaCount> memory_;
    std::vector<MovingValue> movements_;
    qint64 monitorAgeMs_ = 0;
    bool powered_ = true;
};

/// True for the name of a command that a unit can have: "RD", "WCS".
bool isCommand(const QByteArray &name);

/// Throws std::invalid_argument, with the reason, when a setting is out of its range.
void requireGood(const StationSettings &settings);

/// The station's answer to a whole frame that is addressed to it or to everybody: a response, or nothing when the
/// unit does not know the header. \param executed  set when a write command was executed
QByteArray respond(Station &station, const QByteArray &request, bool *executedWrite);

/// The station's answer to a whole binary record.
QByteArray respondToRecord(Station &station, const QByteArray &record, bool *executedWrite);

} // namespace plcsim

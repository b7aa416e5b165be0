// simulator_p.h - the stations behind a Simulator, for the files that implement it.

#pragma once

#include "plcsim/line.h"
#include "plcsim/simulator.h"

#include "station.h"

#include <map>
#include <memory>
#include <mutex>

namespace plcsim
{

using StationMap = std::map<QByteArray, std::unique_ptr<Station>>;

struct Simulator::Private {
    using Respond = std::function<QByteArray(Station &station, const QByteArray &request, bool *executedWrite)>;

    /// Whom a request is for.
    struct Addressee {
        Station *station = nullptr; // null: nobody, or everybody
        bool everybody = false;
    };

    /// Null: no such station.
    Station *find(const QByteArray &destination) const;
    Station *find(int number) const;
    Addressee addresseeOf(const QByteArray &request, Line::Kind kind) const;

    /// Lets the addressee respond and counts what happens.
    QByteArray serve(const Addressee &addressee, const QByteArray &request, const Respond &respond);

    /// Takes the lock, answers, and tells the trace without the lock.
    QByteArray answer(const QByteArray &request, Line::Kind kind, const Respond &respond);

    /// An answer on its way, with what happens to it there.
    struct Exchange {
        QByteArray reply; // as the unit gave it
        Effects effects;
    };
    /// The same as answer(), with the addressee's fault plan at work.
    Exchange exchange(const QByteArray &request, Line::Kind kind, qint64 nowMs);
    void tell(const QByteArray &request, const QByteArray &reply, std::unique_lock<std::mutex> *lock);

    mutable std::mutex mutex; // guards everything below
    StationMap stations;
    Counters counters;
    std::shared_ptr<const Trace> trace;
};

/// Throws std::invalid_argument when the station cannot be added to those that are there.
void requireFreePlace(const StationMap &stations, const QByteArray &destination, int number);

/// Fills \a result with the stations as they are after reading the file's text. Nothing, or what is wrong with it.
std::optional<QString> stationsFromText(const QByteArray &text, const StationMap &present, StationMap *result);
QByteArray textFromStations(const StationMap &stations);

} // namespace plcsim

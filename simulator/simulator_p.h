// simulator_p.h - the stations behind a Simulator, for the files that implement it.

#pragma once

#include "plcsim/simulator.h"

#include "station.h"

#include <map>
#include <memory>
#include <mutex>

namespace plcsim
{

using StationMap = std::map<QByteArray, std::unique_ptr<Station>>;

struct Simulator::Private {
    using Respond = QByteArray (*)(Station &station, const QByteArray &request, bool *executedWrite);

    /// Null: no such station.
    Station *find(const QByteArray &destination) const;
    Station *find(int number) const;

    /// Lets one station, or everybody when \a everybody is set, respond; counts what happens.
    QByteArray serve(Station *station, bool everybody, const QByteArray &request, Respond respond);
    QByteArray answerFrame(const QByteArray &request, Respond respond);
    QByteArray answerRecord(const QByteArray &record, Respond respond);

    using Road = QByteArray (Private::*)(const QByteArray &request, Respond respond);
    /// Takes the lock, answers, and tells the trace without the lock.
    QByteArray answer(const QByteArray &request, Road road, Respond respond);

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

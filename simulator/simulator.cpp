// simulator.cpp - finds the station that a request is for, under the lock.

#include "simulator_p.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace plcsim
{

namespace
{

constexpr int kHighestNumber = 254;
constexpr int kEverybodyNumber = 255; // of a binary record
constexpr int kRecordStationByte = 4;
constexpr int kShortestRecord = 22;

/// 'FF' by the protocol, '1F' as hosts write station 255.
bool meansEverybody(const QByteArray &destination)
{
    return destination == "FF" || destination == "1F";
}

bool isFrame(const QByteArray &request)
{
    return request.size() > 1 + kDestinationChars && isHeader(request.at(0)) &&
           request.at(request.size() - 1) == kCarriageReturn;
}

QByteArray refuseTooSoon(Station &, const QByteArray &request, bool *)
{
    return errorFrame(request.at(0), request.mid(1, kDestinationChars), static_cast<int>(Refusal::Procedure));
}

QByteArray refuseRecordTooSoon(Station &station, const QByteArray &, bool *)
{
    return errorFrame(kHeader, station.destination(), static_cast<int>(Refusal::Procedure));
}

bool isDestinationCharacter(char character)
{
    return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z');
}

Contact contactAt(Area area, int bitNumber)
{
    return {area, bitNumber / kContactsPerWord, bitNumber % kContactsPerWord};
}

} // namespace

QByteArray destinationOf(int number)
{
    QByteArray text;
    appendHexByte(&text, (number > 4 ? 0x10 : 0x00) | (number & 15));
    return text;
}

void requireFreePlace(const StationMap &stations, const QByteArray &destination, int number)
{
    const std::string name = "station '" + destination.toStdString() + "'";
    if (destination.size() != kDestinationChars ||
        !std::all_of(destination.begin(), destination.end(), isDestinationCharacter))
        throw std::invalid_argument(name + ": a destination has two characters, digits or upper-case letters");
    if (meansEverybody(destination))
        throw std::invalid_argument(name + " would be everybody: FF and 1F are the broadcast");
    if (number < 0 || number > kHighestNumber)
        throw std::invalid_argument(name + ": its number must be 0 to 254, not " + std::to_string(number));
    for (const auto &entry : stations) {
        if (entry.first == destination)
            throw std::invalid_argument(name + " is there already");
        if (entry.second->number() == number)
            throw std::invalid_argument(name + ": number " + std::to_string(number) + " is taken by station '" +
                                        entry.first.toStdString() + "'");
    }
}

Station *Simulator::Private::find(const QByteArray &destination) const
{
    const auto found = stations.find(destination);
    return found == stations.end() ? nullptr : found->second.get();
}

Station *Simulator::Private::find(int number) const
{
    for (const auto &entry : stations) {
        if (entry.second->number() == number)
            return entry.second.get();
    }
    return nullptr;
}

QByteArray Simulator::Private::serve(Station *station, bool everybody, const QByteArray &request, Respond respond)
{
    bool executedWrite = false;
    if (everybody) {
        ++counters.broadcasts;
        for (const auto &entry : stations) {
            executedWrite = false;
            if (entry.second->powered())
                respond(*entry.second, request, &executedWrite);
            counters.writes += executedWrite ? 1 : 0;
        }
        return QByteArray();
    }
    QByteArray reply;
    if (station != nullptr && station->powered())
        reply = respond(*station, request, &executedWrite);
    counters.writes += executedWrite ? 1 : 0;
    if (reply.isEmpty())
        ++counters.unanswered;
    else
        ++(reply.at(kFrameHead - 1) == '!' ? counters.errors : counters.replies);
    return reply;
}

QByteArray Simulator::Private::answerFrame(const QByteArray &request, Respond respond)
{
    ++counters.requests;
    if (!isFrame(request)) {
        ++counters.unanswered;
        return QByteArray();
    }
    const QByteArray destination = request.mid(1, kDestinationChars);
    return serve(find(destination), meansEverybody(destination), request, respond);
}

QByteArray Simulator::Private::answerRecord(const QByteArray &record, Respond respond)
{
    ++counters.requests;
    if (record.size() < kShortestRecord) {
        ++counters.unanswered;
        return QByteArray();
    }
    const int number = static_cast<quint8>(record.at(kRecordStationByte));
    return serve(find(number), number == kEverybodyNumber, record, respond);
}

Simulator::Simulator() : d(std::make_unique<Private>()) {}
Simulator::~Simulator() = default;

void Simulator::addStation(const QByteArray &destination, int number, const StationSettings &settings)
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    requireFreePlace(d->stations, destination, number);
    d->stations.emplace(destination, std::make_unique<Station>(destination, number, settings));
}

bool Simulator::hasStation(const QByteArray &destination) const
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    return d->find(destination) != nullptr;
}

std::vector<Simulator::StationName> Simulator::stations() const
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    std::vector<StationName> names;
    for (const auto &entry : d->stations)
        names.push_back({entry.first, entry.second->number()});
    return names;
}

std::optional<StationSettings> Simulator::settings(const QByteArray &destination) const
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    const Station *station = d->find(destination);
    return station == nullptr ? std::nullopt : std::optional<StationSettings>(station->settings());
}

bool Simulator::setSettings(const QByteArray &destination, const StationSettings &settings)
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    Station *station = d->find(destination);
    if (station != nullptr)
        station->setSettings(settings);
    return station != nullptr;
}

bool Simulator::setPowered(const QByteArray &destination, bool on)
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    Station *station = d->find(destination);
    if (station != nullptr)
        station->setPowered(on);
    return station != nullptr;
}

QByteArray Simulator::Private::answer(const QByteArray &request, Road road, Respond respond)
{
    std::unique_lock<std::mutex> lock(mutex);
    const QByteArray reply = (this->*road)(request, respond);
    const auto told = trace;
    lock.unlock();
    if (told && *told)
        (*told)(request, reply);
    return reply;
}

QByteArray Simulator::answer(const QByteArray &request)
{
    return d->answer(request, &Private::answerFrame, respond);
}

QByteArray Simulator::answerTooSoon(const QByteArray &request)
{
    return d->answer(request, &Private::answerFrame, refuseTooSoon);
}

QByteArray Simulator::answerRemote(const QByteArray &record)
{
    return d->answer(record, &Private::answerRecord, respondToRecord);
}

QByteArray Simulator::answerRemoteTooSoon(const QByteArray &record)
{
    return d->answer(record, &Private::answerRecord, refuseRecordTooSoon);
}

std::optional<quint16> Simulator::word(const QByteArray &destination, Area area, int number) const
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    const Station *station = d->find(destination);
    if (station == nullptr || !station->has(area, number))
        return std::nullopt;
    return station->word(area, number);
}

bool Simulator::setWord(const QByteArray &destination, Area area, int number, quint16 value)
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    Station *station = d->find(destination);
    if (station == nullptr || !station->has(area, number))
        return false;
    station->setWord(area, number, value);
    return true;
}

std::optional<bool> Simulator::bit(const QByteArray &destination, Area area, int bitNumber) const
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    const Station *station = d->find(destination);
    if (station == nullptr || bitNumber < 0 || !station->has(area, bitNumber / kContactsPerWord))
        return std::nullopt;
    return station->bit(contactAt(area, bitNumber));
}

bool Simulator::setBit(const QByteArray &destination, Area area, int bitNumber, bool on)
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    Station *station = d->find(destination);
    if (station == nullptr || bitNumber < 0 || !station->has(area, bitNumber / kContactsPerWord))
        return false;
    station->setBit(contactAt(area, bitNumber), on);
    return true;
}

void Simulator::addMovement(const QByteArray &destination, const Movement &movement)
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    Station *station = d->find(destination);
    if (station == nullptr)
        throw std::invalid_argument("there is no station '" + destination.toStdString() + "' to move a value of");
    station->addMovement(movement);
}

void Simulator::advance(qint64 milliseconds)
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    for (const auto &entry : d->stations)
        entry.second->advance(std::max<qint64>(0, milliseconds));
}

Simulator::Counters Simulator::counters() const
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    return d->counters;
}

void Simulator::setTrace(Trace trace)
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    d->trace = std::make_shared<const Trace>(std::move(trace));
}

int Simulator::longestFrame() const
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    int longest = kExtendedFrameLimit;
    for (const auto &entry : d->stations) {
        const StationSettings &settings = entry.second->settings();
        longest = std::max({longest, settings.frameLimit, settings.extendedFrames ? settings.extendedFrameLimit : 0});
    }
    return longest;
}

} // namespace plcsim

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

auto respondTo(Line::Kind kind)
{
    return kind == Line::Kind::Text ? respond : respondToRecord;
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

Simulator::Private::Addressee Simulator::Private::addresseeOf(const QByteArray &request, Line::Kind kind) const
{
    if (kind == Line::Kind::Text && isFrame(request)) {
        const QByteArray destination = request.mid(1, kDestinationChars);
        return {find(destination), meansEverybody(destination)};
    }
    if (kind == Line::Kind::Binary && request.size() >= kShortestRecord) {
        const int number = static_cast<quint8>(request.at(kRecordStationByte));
        return {find(number), number == kEverybodyNumber};
    }
    return {};
}

QByteArray Simulator::Private::serve(const Addressee &addressee, const QByteArray &request, const Respond &respond)
{
    ++counters.requests;
    bool executedWrite = false;
    if (addressee.everybody) {
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
    if (addressee.station != nullptr && addressee.station->powered())
        reply = respond(*addressee.station, request, &executedWrite);
    counters.writes += executedWrite ? 1 : 0;
    if (reply.isEmpty())
        ++counters.unanswered;
    else
        ++(reply.at(kFrameHead - 1) == '!' ? counters.errors : counters.replies);
    return reply;
}

void Simulator::Private::tell(const QByteArray &request, const QByteArray &reply, std::unique_lock<std::mutex> *lock)
{
    const auto told = trace;
    lock->unlock();
    if (told && *told)
        (*told)(request, reply);
}

QByteArray Simulator::Private::answer(const QByteArray &request, Line::Kind kind, const Respond &respond)
{
    std::unique_lock<std::mutex> lock(mutex);
    QByteArray reply = serve(addresseeOf(request, kind), request, respond);
    tell(request, reply, &lock);
    return reply;
}

Simulator::Private::Exchange Simulator::Private::exchange(const QByteArray &request, Line::Kind kind, qint64 nowMs)
{
    std::unique_lock<std::mutex> lock(mutex);
    const Addressee addressee = addresseeOf(request, kind);
    Exchange exchange;
    if (addressee.station != nullptr && addressee.station->powered())
        exchange.effects = addressee.station->faults.next(nowMs);
    const Effects &effects = exchange.effects;
    counters.faults += effects.any ? 1 : 0;
    if (effects.forgetsRegistration)
        addressee.station->forgetRegistration();
    if (effects.lost) {
        exchange.reply = serve(addressee, request, [](Station &, const QByteArray &, bool *) { return QByteArray(); });
    } else if (effects.errorCode) {
        exchange.reply = serve(addressee, request, [&](Station &station, const QByteArray &, bool *) {
            const bool text = kind == Line::Kind::Text;
            return errorFrame(text ? request.at(0) : kHeader, station.destination(), *effects.errorCode);
        });
    } else {
        exchange.reply = serve(addressee, request, respondTo(kind));
    }
    tell(request, exchange.reply, &lock);
    return exchange;
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

bool Simulator::setFaultPlan(const QByteArray &destination, const FaultPlan &plan)
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    Station *station = d->find(destination);
    if (station != nullptr)
        station->faults.setPlan(plan);
    return station != nullptr;
}

std::optional<FaultPlan> Simulator::faultPlan(const QByteArray &destination) const
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    const Station *station = d->find(destination);
    return station == nullptr ? std::nullopt : std::optional<FaultPlan>(station->faults.plan());
}

QByteArray Simulator::answer(const QByteArray &request)
{
    return d->answer(request, Line::Kind::Text, respond);
}

QByteArray Simulator::answerTooSoon(const QByteArray &request)
{
    return d->answer(request, Line::Kind::Text, refuseTooSoon);
}

QByteArray Simulator::answerRemote(const QByteArray &record)
{
    return d->answer(record, Line::Kind::Binary, respondToRecord);
}

QByteArray Simulator::answerRemoteTooSoon(const QByteArray &record)
{
    return d->answer(record, Line::Kind::Binary, refuseRecordTooSoon);
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

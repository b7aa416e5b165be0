// driver_session.cpp - see driver_session.h.

#include "driver_session.h"

#include <QtCore/QMutexLocker>

#include <atomic>
#include <utility>

namespace fphost
{

namespace
{

constexpr char kNotOpen[] = "the driver is not open";
constexpr int kListLimit = 1024;  // entries that the driver's write and one-shot lists take
constexpr int kWordsPerRead = 16; // the driver cuts one-shot reads into blocks of so many
constexpr int kWriteToPlc = 2;    // ComInfo::hostMode
constexpr int kReadSucceeded = 1; // status of the read-finished callback
constexpr int kGroupedRead = 88;  // extra1 of a frame that serves the entries of qmap_list

// The driver's callbacks carry no address of ours, so they find the session here.
std::atomic<DriverSession *> theSession{nullptr};

int piecesOf(int elements, int perPiece)
{
    return (elements + perPiece - 1) / perPiece;
}

} // namespace

Span spanOf(const RW_VAR &var)
{
    const bool contacts = var.areaKind == KindT || var.areaKind == KindC;
    const int scale = contacts ? kBitsPerWord : 1;
    return {var.areaKind, var.address * scale, var.count * scale, var.station};
}

DriverSession::~DriverSession()
{
    close();
}

std::optional<QString> DriverSession::open(const DriverApi &api, const SessionSettings &settings)
{
    close();
    DriverSession *nobody = nullptr;
    if (!theSession.compare_exchange_strong(nobody, this))
        return QStringLiteral("this process already runs a session with the driver, and there can be only one");
    if (api.PLC_driver->comInfo) {
        theSession = nullptr;
        return QStringLiteral("the driver library is already in use in this process");
    }
    api_ = api;
    settings_ = settings;
    info_ = ComInfo();
    info_.maxWordsPerWrite = settings.wordsPerWrite;
    info_.defaultStation = settings.station;
    info_.retryLimit = settings.retryLimit;
    info_.multiStation = settings.multiStation ? 1 : 0;
    info_.remoteMode = settings.remote ? 1 : 0;
    info_.linkNo = settings.linkNo;
    info_.hostMode = kWriteToPlc;
    api_.SetComInfo(&info_);
    api_.RegistCallBackFuncIntf(&DriverSession::onReadFinish, &DriverSession::onCommError);
    isOpen_ = true;
    return std::nullopt;
}

void DriverSession::close()
{
    if (!isOpen_)
        return;
    std::unique_lock<std::mutex> lock(mutex_);
    Matsushita_TCPIP_net &driver = *api_.PLC_driver;
    {
        const QMutexLocker listLock(&driver.mutexList);
        driver.lst_PollingReadVar.clear();
        driver.lst_WriteVar.clear();
        driver.lst_OnceReadVar.clear();
        driver.lst_Protocol.clear();
        api_.qmap_list->clear();
    }
    api_.EnCommStation(-1, 0); // every station on
    driver.comInfo = nullptr;
    driver.pfnReadFinish = nullptr;
    driver.pfnCommError = nullptr;
    inFlight_ = nullptr;
    offByUser_.clear();
    offAsSilent_.clear();
    parked_.clear();
    midRequest_ = false;
    isOpen_ = false;
    theSession = nullptr;
    ledger_.endAll(Outcome::Stopped);
    tellEnded(lock);
}

// Reads and writes by other threads -----------------------------------------------------------------------------------

std::optional<QString> DriverSession::setPolling(const std::vector<Span> &spans)
{
    if (!isOpen_)
        return QString::fromLatin1(kNotOpen);
    QList<HostReadItem> items;
    for (const Span &span : spans) {
        std::optional<QString> whyNot = whyNotReadable(span);
        if (!whyNot)
            whyNot = whyNotHere(span);
        if (whyNot)
            return whyNot;
        HostReadItem item;
        item.areaKind = static_cast<quint8>(span.kind);
        item.station = static_cast<quint8>(span.station);
        item.addrText = addressText(span.kind, span.first);
        item.name = elementName(span.kind, span.first);
        item.count = span.count;
        items.append(item);
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    parked_.clear();
    ++generation_;
    listChanged_ = true;
    api_.ReCreatReadVarList(&items);
    for (const auto *off : {&offByUser_, &offAsSilent_}) {
        for (int station : *off)
            park(station);
    }
    return std::nullopt;
}

QByteArray DriverSession::values(const Span &span) const
{
    QByteArray out;
    if (!isOpen_ || whyNotReadable(span))
        return out;
    out.fill('\0', valueBytes(span.kind, span.count));
    QString text = addressText(span.kind, span.first);
    api_.GetRegisterData(nullptr, span.kind, &text, span.station, &out, span.count);
    return out;
}

std::optional<QString> DriverSession::whyNotHere(const Span &span) const
{
    const bool looksLikeAll = span.station % 16 == 15 && span.station != kBroadcast; // "1F" on the wire
    if (looksLikeAll && !settings_.remote)
        return QStringLiteral("%1: station %2 cannot be addressed, since its frames read like those to all stations")
            .arg(elementName(span.kind, span.first))
            .arg(span.station);
    if (settings_.multiStation || span.station == settings_.station)
        return std::nullopt;
    return QStringLiteral("%1: station %2 is not the one station of this connection, %3")
        .arg(elementName(span.kind, span.first))
        .arg(span.station)
        .arg(settings_.station);
}

std::optional<QString> DriverSession::whyNotNow(const Span &span) const
{
    if (!isOpen_)
        return QString::fromLatin1(kNotOpen);
    if (const std::optional<QString> whyNot = whyNotHere(span))
        return whyNot;
    if (isOff(span.station))
        return QStringLiteral("%1: station %2 is switched off")
            .arg(elementName(span.kind, span.first))
            .arg(span.station);
    return std::nullopt;
}

Queued DriverSession::read(const Span &span, RequestLedger::Done done, int ownerId)
{
    if (const std::optional<QString> whyNot = whyNotReadable(span))
        return refused(*whyNot);
    std::unique_lock<std::mutex> lock(mutex_);
    if (const std::optional<QString> whyNot = whyNotNow(span))
        return refused(*whyNot);
    const int before = listLength(false);
    const int pieces = piecesOf(wordsOf(span).count, kWordsPerRead);
    if (pieces > kListLimit - before)
        return refused(QStringLiteral("%1: the driver's list of reads has no room for %2 more entries")
                           .arg(elementName(span.kind, span.first))
                           .arg(pieces));
    RW_VAR var;
    var.ownerId = ownerId;
    var.ownerTag = ledger_.enter(false, span, std::move(done));
    var.remoteMode = info_.remoteMode;
    var.linkNo = info_.linkNo;
    var.name = elementName(span.kind, span.first);
    var.addrText = addressText(span.kind, span.first);
    var.areaKind = span.kind;
    var.station = span.station;
    var.count = span.count;
    const int id = var.ownerTag;
    api_.AddListOnceReadVar(&var, 0);
    const int added = listLength(false) - before;
    ledger_.queued(id, added, Outcome::QueueFull);
    if (added < pieces)
        ledger_.spoil(id, Outcome::QueueFull, 0);
    tellEnded(lock);
    return {id, QString()};
}

Queued DriverSession::write(const Span &span, const QByteArray &values, RequestLedger::Done done, int ownerId)
{
    if (const std::optional<QString> whyNot = whyNotWritable(span))
        return refused(*whyNot);
    QString name = elementName(span.kind, span.first);
    if (values.size() != valueBytes(span.kind, span.count))
        return refused(QStringLiteral("%1: %2 value bytes were given for %3 elements")
                           .arg(name)
                           .arg(values.size())
                           .arg(span.count));
    std::unique_lock<std::mutex> lock(mutex_);
    if (const std::optional<QString> whyNot = whyNotNow(span))
        return refused(*whyNot);
    const int before = listLength(true);
    const int pieces = areaRow(span.kind)->bits ? span.count : piecesOf(span.count, settings_.wordsPerWrite);
    if (pieces > kListLimit - before)
        return refused(
            QStringLiteral("%1: the driver's list of writes has no room for %2 more entries").arg(name).arg(pieces));
    const int id = ledger_.enter(true, span, std::move(done));
    QString text = addressText(span.kind, span.first);
    QByteArray bytes = values;
    api_.SetRegisterData(&name, span.kind, &text, span.station, &bytes, span.count, ownerId, id);
    if (listLength(true) - before == pieces) {
        ledger_.queued(id, pieces, Outcome::QueueFull);
    } else { // pieces of ours stand where older writes to the same elements stood
        const std::map<int, int> present = piecesInList(true);
        const auto own = present.find(id);
        const int queuedPieces = own == present.end() ? 0 : own->second;
        ledger_.queued(id, queuedPieces, Outcome::QueueFull);
        if (queuedPieces < pieces)
            ledger_.spoil(id, Outcome::QueueFull, 0);
        ledger_.reconcile(true, present, Outcome::Superseded);
    }
    tellEnded(lock);
    return {id, QString()};
}

bool DriverSession::hasWaiting() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return ledger_.waiting(true) > 0 || ledger_.waiting(false) > 0;
}

// Stations ------------------------------------------------------------------------------------------------------------

void DriverSession::enableStation(int station, bool enable)
{
    if (!isOpen_)
        return;
    const std::lock_guard<std::mutex> lock(mutex_);
    if (enable) {
        offByUser_.erase(station);
        if (!isOff(station))
            unpark(station);
        return;
    }
    offByUser_.insert(station);
    park(station);
}

void DriverSession::setStationPresent(int station, bool present)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (present) {
        offAsSilent_.erase(station);
        if (!isOff(station))
            unpark(station);
        return;
    }
    offAsSilent_.insert(station);
    park(station);
}

// The driver's own switch is not enough to keep a station's polling entries off the line: it tests the station of a
// group only after the kind and the length of its first entry, and the entries behind a skipped one may join a group of
// another station. So the entries leave the polling list as long as the station is off.
void DriverSession::park(int station)
{
    Matsushita_TCPIP_net &driver = *api_.PLC_driver;
    api_.EnCommStation(station, 0);
    listChanged_ = true;
    const QMutexLocker listLock(&driver.mutexList);
    QList<RW_VAR> staying;
    QList<RW_VAR> &parked = parked_[station];
    for (const RW_VAR &entry : std::as_const(driver.lst_PollingReadVar))
        (entry.station == station ? parked : staying).append(entry);
    driver.lst_PollingReadVar = staying;
}

void DriverSession::unpark(int station)
{
    Matsushita_TCPIP_net &driver = *api_.PLC_driver;
    api_.EnCommStation(station, 1);
    listChanged_ = true;
    const QMutexLocker listLock(&driver.mutexList);
    driver.lst_PollingReadVar += parked_[station];
    parked_.erase(station);
}

// The communication thread --------------------------------------------------------------------------------------------

const Protocol *DriverSession::next()
{
    std::unique_lock<std::mutex> lock(mutex_);
    if (!midRequest_)
        listChanged_ = false;
    inFlight_ = api_.ComCommunication();
    midRequest_ = inFlight_ != nullptr;
    // What the driver throws away while it chooses belongs to stations that are switched off.
    reconcile(Outcome::StationOff);
    tellEnded(lock);
    return inFlight_;
}

int DriverSession::requestKind() const
{
    return api_.PLC_driver->curReqKind;
}

std::vector<Span> DriverSession::spansInFlight() const
{
    std::vector<Span> spans;
    if (!inFlight_ || requestKind() == RequestWrite)
        return spans;
    if (inFlight_->var.extra1 != kGroupedRead) {
        spans.push_back(spanOf(inFlight_->var));
        return spans;
    }
    for (const RW_VAR &var : std::as_const(*api_.qmap_list)) {
        spans.push_back(spanOf(var));
        spans.back().count = 1; // a group has single words
    }
    return spans;
}

Answer DriverSession::answer(QByteArray *reply, int length, const Verdict &verdict)
{
    Answer answer;
    std::unique_lock<std::mutex> lock(mutex_);
    const int kind = api_.PLC_driver->curReqKind;
    const int ownerTag = inFlight_->var.ownerTag; // the record is gone after the call
    giveToDriver(reply, length, verdict, answer);
    inFlight_ = nullptr;
    answer.ended = std::as_const(api_.PLC_driver->lst_Protocol).isEmpty();
    midRequest_ = !answer.ended;
    if (answer.ended && kind == RequestPolling)
        answer.pollingEntries = *api_.qmap_length;
    // The limit is meant per request: failures of others, long repaired, shall not use up the repeats of this one.
    if (answer.ended)
        info_.retryCount = 0;
    settle(kind, ownerTag, answer, verdict);
    tellEnded(lock);
    return answer;
}

void DriverSession::giveToDriver(QByteArray *reply, int length, const Verdict &verdict, Answer &answer)
{
    Matsushita_TCPIP_net &driver = *api_.PLC_driver;
    const bool write = driver.curReqKind == RequestWrite;
    QList<RW_VAR> otherWrites;
    if (verdict.keepOthers) {
        const QMutexLocker listLock(&driver.mutexList);
        otherWrites = driver.lst_WriteVar;
        if (write && !otherWrites.isEmpty())
            otherWrites.removeFirst();
    }
    if (verdict.giveUp)
        info_.retryLimit = 0;
    commErrorCame_ = false;
    answer.result = api_.DataCom(reply, length)->result;
    info_.retryLimit = settings_.retryLimit;
    answer.abandoned = commErrorCame_;
    if (answer.abandoned && verdict.keepOthers) {
        const QMutexLocker listLock(&driver.mutexList);
        driver.lst_WriteVar = otherWrites;
    }
}

void DriverSession::settle(int kind, int ownerTag, const Answer &answer, const Verdict &verdict)
{
    Outcome outcome = verdict.outcome;
    if (answer.abandoned && outcome == Outcome::Done)
        outcome = Outcome::BadReply; // it looked like a reply, and the driver would not have it
    for (const ReadEvent &event : readEvents_) {
        if (event.status != kReadSucceeded)
            ledger_.spoil(event.ownerTag, outcome, verdict.errorCode);
    }
    readEvents_.clear();
    if (answer.ended && kind != RequestPolling)
        ledger_.pieceEnded(ownerTag, outcome, verdict.errorCode);
    if (answer.abandoned) // what went with it without having been sent
        reconcile(outcome == Outcome::NoLink ? Outcome::NoLink : Outcome::Dropped);
}

int DriverSession::pollingLength() const
{
    const QMutexLocker listLock(&api_.PLC_driver->mutexList);
    return countOf(api_.PLC_driver->lst_PollingReadVar);
}

QList<RW_VAR> DriverSession::takeServed(int entries)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    Matsushita_TCPIP_net &driver = *api_.PLC_driver;
    const QMutexLocker listLock(&driver.mutexList);
    QList<RW_VAR> served;
    // The driver has turned the list past them, so they stand at its end.
    if (listChanged_ || entries > countOf(driver.lst_PollingReadVar))
        return served;
    for (int i = 0; i < entries; ++i)
        served.prepend(driver.lst_PollingReadVar.takeLast());
    return served;
}

void DriverSession::addPolling(const QList<RW_VAR> &entries, unsigned generation)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (generation != generation_)
        return;
    Matsushita_TCPIP_net &driver = *api_.PLC_driver;
    const QMutexLocker listLock(&driver.mutexList);
    for (const RW_VAR &entry : entries)
        (isOff(entry.station) ? parked_[entry.station] : driver.lst_PollingReadVar).append(entry);
}

unsigned DriverSession::pollingGeneration() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return generation_;
}

// The ledger ----------------------------------------------------------------------------------------------------------

int DriverSession::listLength(bool write) const
{
    Matsushita_TCPIP_net &driver = *api_.PLC_driver;
    const QMutexLocker listLock(&driver.mutexList);
    return countOf(write ? driver.lst_WriteVar : driver.lst_OnceReadVar);
}

std::map<int, int> DriverSession::piecesInList(bool write) const
{
    Matsushita_TCPIP_net &driver = *api_.PLC_driver;
    const QMutexLocker listLock(&driver.mutexList);
    std::map<int, int> pieces;
    for (const RW_VAR &entry : std::as_const(write ? driver.lst_WriteVar : driver.lst_OnceReadVar))
        ++pieces[entry.ownerTag];
    return pieces;
}

void DriverSession::reconcile(Outcome outcome)
{
    for (const bool write : {true, false}) {
        const int expected = ledger_.waiting(write);
        if (expected > 0 && listLength(write) != expected)
            ledger_.reconcile(write, piecesInList(write), outcome);
    }
}

// The tellers run without the lock: they may queue the next request.
void DriverSession::tellEnded(std::unique_lock<std::mutex> &lock)
{
    const std::vector<RequestLedger::Ended> ended = ledger_.takeEnded();
    lock.unlock();
    for (const RequestLedger::Ended &one : ended) {
        if (one.done)
            one.done(one.finished);
    }
}

// The driver's callbacks: on the communication thread, from inside answer(), with mutex_ and the driver's list lock
// held.

void DriverSession::onReadFinish(qint32, qint32, qint32 ownerTag, qint32 status)
{
    theSession.load()->readEvents_.push_back({ownerTag, status});
}

void DriverSession::onCommError(QList<RW_VAR> *, qint32, qint32)
{
    theSession.load()->commErrorCame_ = true;
}

} // namespace fphost

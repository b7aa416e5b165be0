// exchanger.cpp - see exchanger.h.

#include "exchanger.h"

#include "plc_errors.h"

#include <algorithm>
#include <cstring>

namespace fphost
{

namespace
{

constexpr int kGood = 1; // DataCom's codes for a good answer
constexpr int kGoodRemote = 100;

constexpr qint64 kFreshUs = 50;  // what can come in so short a time can as well come while a request is on its way
constexpr int kMostSilences = 3; // requests without a reply in a row, before a connection is not kept any longer
constexpr int kMostReads = 64;   // reads from a line that will not be quiet, before it is closed
constexpr int kSwallowBytes = 512;

int msUntil(qint64 thenUs, qint64 nowUs)
{
    return static_cast<int>((thenUs - nowUs + kUsPerMs - 1) / kUsPerMs);
}

bool isGood(int result)
{
    return result == kGood || result == kGoodRemote;
}

bool aReplyCame(Outcome outcome)
{
    return outcome == Outcome::Done || outcome == Outcome::Refused || outcome == Outcome::BadReply;
}

} // namespace

Exchanger::Exchanger(DriverSession &session, BytePipe &pipe, Clock &clock, const ExchangeSettings &settings,
                     unsigned seed)
    : session_(session), pipe_(pipe), clock_(clock), settings_(settings), reconnect_(settings.reconnect, seed),
      stations_(settings.stations), repair_(session, settings.repair)
{
}

int Exchanger::step()
{
    if (!midRequest_)
        tendPolling();
    if (!pipe_.isOpen())
        return connect();
    if (const int wait = pauseBeforeCycle())
        return wait;
    const Protocol *request = session_.next();
    if (!request)
        return idle();
    idleBefore_ = false;
    midRequest_ = true;
    const qint64 startUs = clock_.nowUs();
    if (isFresh(startUs))
        exchange(*request, startUs);
    else if (makeLineClean())
        exchange(*request, clock_.nowUs());
    return 0;
}

// What happens between the exchanges ----------------------------------------------------------------------------------

// Trials of silent stations, and what has to be done about words that the PLC refuses.
void Exchanger::tendPolling()
{
    if (!stations_.anySilent() && !repair_.isBusy())
        return;
    const qint64 nowMs = clock_.nowUs() / kUsPerMs;
    for (const int station : stations_.startTrials(nowMs))
        session_.setStationPresent(station, true);
    if (repair_.isBusy())
        repair_.step(nowMs);
}

int Exchanger::connect()
{
    const qint64 nowUs = clock_.nowUs();
    if (connectAtUs_ < 0)
        connectAtUs_ = nowUs + kUsPerMs * reconnect_.nextPauseMs();
    if (nowUs < connectAtUs_)
        return msUntil(connectAtUs_, nowUs);
    connectAtUs_ = -1;
    if (const std::optional<QString> whyNot = pipe_.open()) {
        counters_.add(Count::ConnectFailures);
        tellLink(false, *whyNot);
        // Work that waits shall not wait for ever: the attempt counts as one that got no reply, and the driver gives
        // its request up when the repeats are used up.
        if (const Protocol *request = session_.next())
            finish(*request, Outcome::NoLink, clock_.nowUs(), false);
        return 0;
    }
    counters_.add(Count::Connects);
    tellLink(true, QString());
    return 0;
}

// 0, or how long the next polling cycle has to wait. Reads and writes that somebody waits for go on meanwhile.
int Exchanger::pauseBeforeCycle()
{
    if (settings_.cycleMs <= 0 || midRequest_ || cycleEntries_ > 0)
        return 0;
    const qint64 nowUs = clock_.nowUs();
    return nowUs >= cycleAtUs_ || session_.hasWaiting() ? 0 : msUntil(cycleAtUs_, nowUs);
}

// The driver answers "nothing" once between a run of writes and a run of reads, so only the second time in a row is
// idleness. The look at the line notices that the other side has gone.
int Exchanger::idle()
{
    midRequest_ = false;
    if (!idleBefore_) {
        idleBefore_ = true;
        return 0;
    }
    makeLineClean();
    return settings_.idleMs;
}

// Whether a good reply has only just been read and nothing beside it, so that another look at the line would be for
// nothing. Behind a serial converter, where late replies come on the connection that goes on, it is looked at always.
bool Exchanger::isFresh(qint64 nowUs) const
{
    return cleanAtUs_ >= 0 && nowUs - cleanAtUs_ < kFreshUs && settings_.quietMs <= 0;
}

// Throws away what has come since the last reply: nothing of it answers what will be sent next. When it holds the
// beginning of a reply, more of it may come after the request is out, so the line has to be made clean first.
// True: the line is clean and open.
bool Exchanger::makeLineClean()
{
    char bytes[kSwallowBytes];
    for (int reads = 0; reads < kMostReads; ++reads) {
        int came = 0;
        switch (pipe_.receive(bytes, kSwallowBytes, &came, 0)) {
        case Piped::TimedOut:
            return true;
        case Piped::Closed:
            tellLink(false, QStringLiteral("the other side has closed the connection"));
            return false;
        case Piped::Bytes:
            break;
        }
        if (std::memchr(bytes, '%', static_cast<std::size_t>(came))) {
            counters_.add(Count::StaleReplies);
            counters_.add(Count::OutOfStep);
            if (settings_.quietMs <= 0) {
                pipe_.close();
                return false;
            }
            waitForQuiet();
            return pipe_.isOpen();
        }
    }
    counters_.add(Count::OutOfStep);
    pipe_.close();
    return false;
}

// Swallows what comes until nothing has come for quietMs. A line that never gets quiet is closed.
void Exchanger::waitForQuiet()
{
    char bytes[kSwallowBytes];
    for (int reads = 0; reads < kMostReads; ++reads) {
        int came = 0;
        switch (pipe_.receive(bytes, kSwallowBytes, &came, kUsPerMs * settings_.quietMs)) {
        case Piped::TimedOut:
            return;
        case Piped::Closed:
            tellLink(false, QStringLiteral("the other side has closed the connection"));
            return;
        case Piped::Bytes:
            break;
        }
    }
    pipe_.close();
}

void Exchanger::tellLink(bool up, const QString &text)
{
    const bool news = !up || !toldUp_;
    toldUp_ = up;
    if (news && observers_.link)
        observers_.link({up, text});
}

// One exchange --------------------------------------------------------------------------------------------------------

void Exchanger::exchange(const Protocol &request, qint64 startUs)
{
    const int length = std::min(request.frameLen, sizeOf(request.frame));
    // Single-bit writes name a reply length for all stations too; nobody answers those either.
    const bool broadcast = request.replyLen == 0 || request.var.station == kBroadcast;
    receiver_.expect(session_.settings().remote ? nullptr : request.frame.constData(), length, request.replyLen);
    counters_.add(Count::Exchanges);
    counters_.add(Count::BytesOut, static_cast<unsigned long long>(std::max(length, 0)));
    Outcome outcome = Outcome::Sent;
    if (!pipe_.send(request.frame.constData(), length))
        outcome = Outcome::NoLink;
    else if (!broadcast)
        outcome = receive(startUs);
    if (outcome == Outcome::Done && mayBeLate_ && !standsAlone())
        outcome = Outcome::BadReply;
    if (outcome == Outcome::NoLink)
        tellLink(false, QStringLiteral("the connection was lost"));
    finish(request, outcome, startUs, true);
}

// Done: receiver_.reply() holds a reply. NoReply: not in time. NoLink: the connection broke.
Outcome Exchanger::receive(qint64 startUs)
{
    const qint64 timeoutUs = kUsPerMs * settings_.replyTimeoutMs;
    for (qint64 leftUs = timeoutUs; leftUs > 0; leftUs = startUs + timeoutUs - clock_.nowUs()) {
        int room = 0;
        int came = 0;
        char *to = receiver_.room(&room);
        switch (pipe_.receive(to, room, &came, leftUs)) {
        case Piped::TimedOut:
            return Outcome::NoReply;
        case Piped::Closed:
            return Outcome::NoLink;
        case Piped::Bytes:
            break;
        }
        Received state = receiver_.arrived(came);
        while (state == Received::Stale) {
            counters_.add(Count::StaleReplies);
            state = receiver_.again();
        }
        if (state == Received::Whole)
            return Outcome::Done;
    }
    return Outcome::NoReply;
}

// After a time-out on a connection that is kept, the first reply may be the one that did not come in time, with the
// right one behind it, and nothing in it tells the two apart. So it counts only when nothing follows.
bool Exchanger::standsAlone()
{
    char bytes[kSwallowBytes];
    int came = 0;
    mayBeLate_ =
        !receiver_.inStep() || pipe_.receive(bytes, kSwallowBytes, &came, kUsPerMs * settings_.quietMs) == Piped::Bytes;
    if (mayBeLate_)
        waitForQuiet();
    return !mayBeLate_;
}

// sent: false when there was no connection to send the request on.
void Exchanger::finish(const Protocol &request, Outcome outcome, qint64 startUs, bool sent)
{
    const int station = request.var.station;
    const int kind = session_.requestKind();
    Judged judged = judge(request, outcome);
    const bool several = session_.settings().multiStation && station != kBroadcast;
    const bool silent = several && outcome == Outcome::NoReply && stations_.silent(station, clock_.nowUs() / kUsPerMs);
    if (silent)
        judged.verdict.giveUp = true;

    static const QByteArray nothing;
    QByteArray requestBytes;
    std::vector<Span> spans;
    if (observers_.exchange) { // the record is the driver's and gone after the answer
        requestBytes = request.frame;
        spans = session_.spansInFlight();
    }
    QByteArray *reply = judged.handOver ? &receiver_.reply() : nullptr;
    const Answer answer = session_.answer(reply, reply ? sizeOf(*reply) : 0, judged.verdict);
    midRequest_ = !answer.ended;
    const bool rejected = judged.verdict.outcome == Outcome::Done && !isGood(answer.result);
    const Outcome end = rejected ? Outcome::BadReply : judged.verdict.outcome;
    const qint64 endUs = clock_.nowUs();
    const qint64 durationUs = endUs - startUs;
    const bool abandoned = answer.abandoned && end != Outcome::Sent;
    if (sent)
        count(end, durationUs);
    if (abandoned)
        counters_.add(Count::Abandoned);
    if (several)
        noteStation(station, end, silent);
    if (end == Outcome::Refused && answer.abandoned && saysBadAddress(judged.verdict.errorCode))
        repair_.refused(answer.pollingEntries, endUs / kUsPerMs);
    notePolling(answer, startUs);
    leaveLine(outcome);
    cleanAtUs_ = end == Outcome::Done && receiver_.inStep() ? endUs : -1;
    if (observers_.exchange)
        observers_.exchange({requestBytes, outcome == Outcome::Done ? receiver_.reply() : nothing, kind, end,
                             judged.verdict.errorCode, answer.result, answer.ended, abandoned, durationUs, spans});
}

// silent: the station's last chance is gone for now.
void Exchanger::noteStation(int station, Outcome outcome, bool silent)
{
    const bool back = aReplyCame(outcome) && stations_.replied(station);
    if (!back && !silent)
        return;
    session_.setStationPresent(station, back);
    if (observers_.station)
        observers_.station(station, back);
}

Exchanger::Judged Exchanger::judge(const Protocol &request, Outcome outcome)
{
    Judged judged;
    judged.verdict.outcome = outcome;
    judged.handOver = outcome == Outcome::Done;
    // The driver calls every broadcast a failure, since nothing comes back, and would repeat it; and with it would drop
    // the writes that wait behind. It is out, once, and that is all that can be known.
    judged.verdict.giveUp = judged.verdict.keepOthers = outcome == Outcome::Sent;
    if (outcome != Outcome::Done)
        return judged;
    const std::optional<int> code = errorResponseCode(receiver_.reply());
    return code ? judgeRefusal(request, *code) : judged;
}

// An error response says that the PLC is there, so giving up drops nothing but the request itself. The driver takes an
// error response to a frame without data as good; that is right for a write, which is over, and wrong for the frames
// that register words for a monitor read: the read would then fetch what was registered before.
Exchanger::Judged Exchanger::judgeRefusal(const Protocol &request, int code)
{
    Judged judged;
    judged.verdict.outcome = Outcome::Refused;
    judged.verdict.errorCode = code;
    judged.verdict.keepOthers = true;
    const bool repeat = mayPass(code) && session_.repeatsLeft() > 0;
    const bool write = session_.requestKind() == RequestWrite;
    judged.verdict.giveUp = !repeat;
    judged.handOver = request.var.varFlag == 0 || (write && !repeat);
    return judged;
}

void Exchanger::count(Outcome outcome, qint64 durationUs)
{
    const bool good = outcome == Outcome::Done;
    if (good) {
        counters_.add(Count::Good);
        counters_.add(Count::ReplyUs, static_cast<unsigned long long>(durationUs));
    }
    if (aReplyCame(outcome))
        counters_.add(Count::BytesIn, static_cast<unsigned long long>(receiver_.reply().size()));
    if (outcome == Outcome::Sent)
        counters_.add(Count::Broadcasts);
    if (good || outcome == Outcome::Sent)
        return;
    counters_.add(Count::Failures);
    counters_.add(outcome == Outcome::NoReply    ? Count::TimeOuts
                  : outcome == Outcome::Refused  ? Count::Refusals
                  : outcome == Outcome::BadReply ? Count::BadReplies
                                                 : Count::Lost);
}

void Exchanger::notePolling(const Answer &answer, qint64 startUs)
{
    if (settings_.cycleMs <= 0 || answer.pollingEntries == 0)
        return;
    if (cycleEntries_ == 0)
        cycleStartUs_ = startUs;
    cycleEntries_ += answer.pollingEntries;
    if (cycleEntries_ < session_.pollingLength())
        return;
    cycleEntries_ = 0;
    cycleAtUs_ = cycleStartUs_ + kUsPerMs * settings_.cycleMs;
}

// After a reply that does not stand alone, and after none, what comes next could not be told from a late reply.
void Exchanger::leaveLine(Outcome outcome)
{
    if (aReplyCame(outcome))
        reconnect_.worked();
    silences_ = outcome == Outcome::NoReply ? silences_ + 1 : 0;

    const bool outOfStep = outcome == Outcome::Done && !receiver_.inStep();
    if (outOfStep)
        counters_.add(Count::OutOfStep);
    if (!outOfStep && outcome != Outcome::NoReply)
        return;
    if (settings_.quietMs > 0) {
        mayBeLate_ = true;
        waitForQuiet();
    }
    // A connection may be dead without having been closed, and would then never bring anything again.
    if (settings_.quietMs <= 0 || silences_ >= kMostSilences)
        pipe_.close();
}

} // namespace fphost

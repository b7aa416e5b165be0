// exchanger.h - one exchange after the other: the driver's next frame out, its reply in, and what to do when it fails.
//
//  - All policy of the link is here: reconnecting, a line that is out of step, error responses, broadcasts, silent
//    stations, the pace of polling.
//  - Never sleeps and knows no thread: step() does one thing and says how long there is nothing to do. The pipe and the
//    clock are given, so the same code runs over TCP and in a test's own time.

#pragma once

#include "byte_pipe.h"
#include "counters.h"
#include "driver_session.h"
#include "polling_repair.h"
#include "receiver.h"
#include "reconnect_policy.h"
#include "station_policy.h"

#include <functional>

namespace fphost
{

struct ExchangeSettings {
    int replyTimeoutMs = 1000; ///< from the last byte of a request to the last byte of its reply
    int cycleMs = 0;           ///< least time from the start of one polling cycle to the next; 0 = as fast as it goes
    int idleMs = 50;           ///< pause when the driver has nothing to send
    /// After a time-out the connection is closed, so that a late reply cannot be taken for the answer to a later
    /// request. Behind a serial converter that does not help, since the late reply comes to the next connection: with a
    /// time above 0 the connection is kept, nothing is sent until the line has been quiet for so long, and the next
    /// reply counts only when nothing follows it for so long. After three requests in a row without a reply the
    /// connection is closed all the same.
    int quietMs = 0;
    ReconnectPolicy::Settings reconnect;
    StationPolicy::Settings stations; ///< used with several stations only: a single one has no others to protect
    PollingRepair::Settings repair;
};

/// One exchange, told when it is over. The references are good during the call.
struct ExchangeReport {
    const QByteArray &request;
    const QByteArray &reply; ///< what came, also when it was an error response or bad; empty = nothing
    int kind;                ///< RequestPolling, RequestWrite or RequestOnceRead
    Outcome outcome;         ///< of this exchange: Done, Sent, Refused, NoReply, BadReply or NoLink
    int errorCode;           ///< of the PLC, when Refused
    int result;              ///< DataCom's code
    bool ended;              ///< the request is over
    bool abandoned;          ///< and was given up
    qint64 durationUs;
    const std::vector<Span> &spans; ///< what a read serves; empty for a write
};

struct LinkReport {
    bool up;
    QString text; ///< why not, in one line, when it is down
};

/// Called on the communication thread. Empty ones are not called; an exchange observer costs some copies per exchange.
struct Observers {
    std::function<void(const ExchangeReport &)> exchange;
    std::function<void(const LinkReport &)> link; ///< also for every further attempt that fails
    std::function<void(int station, bool present)> station;
};

class Exchanger
{
public:
    /// The session, the pipe and the clock outlive the exchanger.
    /// \param seed  of the random part of the reconnect pauses
    Exchanger(DriverSession &session, BytePipe &pipe, Clock &clock, const ExchangeSettings &settings, unsigned seed);

    /// Set before the first step.
    void setObservers(Observers observers) { observers_ = std::move(observers); }

    /// Does the next thing: a trial of a silent station, an attempt to connect, or one exchange, which takes as long as
    /// its reply. \return milliseconds until the next step can do something; 0 = at once. Earlier steps do no harm.
    int step();

    /// Any thread.
    const Counters &counters() const { return counters_; }

private:
    struct Judged {
        Verdict verdict;
        bool handOver = true; // the reply goes to the driver; otherwise the driver is told that nothing came
    };

    void tendPolling();
    int connect();
    int pauseBeforeCycle();
    int idle();
    bool isFresh(qint64 nowUs) const;
    bool makeLineClean();
    void waitForQuiet();
    void tellLink(bool up, const QString &text);

    void exchange(const Protocol &request, qint64 startUs);
    Outcome receive(qint64 startUs);
    bool standsAlone();
    void finish(const Protocol &request, Outcome outcome, qint64 startUs, bool sent);
    Judged judge(const Protocol &request, Outcome outcome);
    Judged judgeRefusal(const Protocol &request, int code);
    void noteStation(int station, Outcome outcome, bool silent);
    void count(Outcome outcome, qint64 durationUs);
    void notePolling(const Answer &answer, qint64 startUs);
    void leaveLine(Outcome outcome);

    DriverSession &session_;
    BytePipe &pipe_;
    Clock &clock_;
    ExchangeSettings settings_;
    Observers observers_;
    Counters counters_;
    Receiver receiver_;
    ReconnectPolicy reconnect_;
    StationPolicy stations_;
    PollingRepair repair_;

    qint64 connectAtUs_ = -1; // when to connect next; -1 = not decided yet
    qint64 cycleStartUs_ = 0; // of the polling cycle that runs
    qint64 cycleAtUs_ = 0;    // the next cycle does not begin before
    qint64 cleanAtUs_ = -1;   // when the last good reply had been read, and nothing beside it; -1 = it was not so
    int cycleEntries_ = 0;    // polling entries served in the cycle that runs
    bool idleBefore_ = false;
    bool midRequest_ = false; // frames or repeats of a request are still to come
    bool toldUp_ = false;
    int silences_ = 0;       // requests without a reply in a row
    bool mayBeLate_ = false; // the next reply may answer an earlier request
};

} // namespace fphost

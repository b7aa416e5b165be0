// driver_session.h - the driver's side of the host: its settings record, its callbacks, and typed calls to it.
//
//  - The communication thread calls next() and answer() in turn; every other thread reads and writes values, changes
//    the polling list and switches stations at any time.
//  - Every write and every one-shot read ends with an outcome; see request_ledger.h.
//  - The driver has one object per process and its callbacks carry no address of ours, so one session at a time.
//  - No socket, no clock: what is sent, and how long an answer may take, is the exchanger's business.

#pragma once

#include "areas.h"
#include "driver_library.h"
#include "request_ledger.h"

#include <QtCore/QByteArray>

#include <map>
#include <mutex>
#include <set>
#include <vector>

namespace fphost
{

struct SessionSettings {
    int station = 1;           ///< of every variable while multiStation is false; 255 only to write to all stations
    bool multiStation = false; ///< every variable carries its own station
    bool remote = false;       ///< requests are binary records for a peer that serves the variables
    int linkNo = 1;            ///< carried in those records
    int retryLimit = 2;        ///< repeats of a failed frame before its request is given up; 0 or more
    int wordsPerWrite = 16;    ///< words in one write frame; 1 to 24 fit the frames that every unit takes
};

/// What is known about the answer that is handed to the driver.
struct Verdict {
    Outcome outcome = Outcome::Done; ///< of the request, should it end with this answer
    int errorCode = 0;               ///< of the PLC, when Refused
    bool giveUp = false;             ///< a failure is not repeated, whatever the retry limit
    bool keepOthers = false;         ///< a failure says nothing about other work: giving up drops only this request
};

/// What the driver made of an answer.
struct Answer {
    int result = 0;         ///< DataCom's code
    bool ended = false;     ///< the request is over, good or given up
    bool abandoned = false; ///< it was given up
    int pollingEntries = 0; ///< entries of the polling list that an ended polling read has served
};

/// What happened to a call that queues something.
struct Queued {
    int id = 0;     ///< of the request; 0 = refused
    QString whyNot; ///< one line, when refused
};

/// The elements of a variable as the driver keeps them: words of T and C are sixteen contacts each.
Span spanOf(const RW_VAR &var);

class DriverSession
{
public:
    DriverSession() = default;
    ~DriverSession(); // closes
    DriverSession(const DriverSession &) = delete;
    DriverSession &operator=(const DriverSession &) = delete;

    /// Sets the driver up: settings record, callbacks, all stations on, nothing polled.
    /// \param api  of a loaded library; must stay loaded until close()
    /// Result: nothing, or one line: another session is open in this process, or somebody else uses the driver.
    std::optional<QString> open(const DriverApi &api, const SessionSettings &settings);

    /// Ends every open request as Stopped and leaves the driver empty: no lists, no frames, no settings record. The
    /// communication thread must have ended.
    void close();

    const SessionSettings &settings() const { return settings_; }

    // Any thread ------------------------------------------------------------------------------------------------------

    /// Replaces what is read cyclically. Result: nothing, or why a span cannot be read; then nothing has changed.
    std::optional<QString> setPolling(const std::vector<Span> &spans);

    /// The values that the driver holds: one byte per bit (0 or 1), two per word, low byte first. Zeros where nothing
    /// was read yet. Empty for a span that cannot be read.
    QByteArray values(const Span &span) const;

    /// Reads the span once, before the polling goes on. \a done is told when it has ended; on Done, values() holds the
    /// values. Refused when the span is bad, its station is switched off, or the driver's list has no room for all of
    /// it (1,024 entries of 16 words).
    Queued read(const Span &span, RequestLedger::Done done, int ownerId = 0);

    /// Stations 15, 31, 47 and so on are refused: the driver addresses them with the same two characters as all
    /// stations, so a write would reach every PLC. Binary records carry the whole number and are not affected.
    ///
    /// Writes values, in the form of values(), to the PLC. Refused as above, and when the area is read-only or the
    /// values are not as many as the span has elements; a bit's byte is 0 or 1.
    /// The driver's own store shows the values from the moment at which the frame is built, before the PLC has
    /// acknowledged them: for what the PLC really holds, wait for \a done, or read.
    Queued write(const Span &span, const QByteArray &values, RequestLedger::Done done, int ownerId = 0);

    /// Switches a station off or on for the user: one that is off is neither polled nor written, until it is switched
    /// on again here. Queued requests to it end as StationOff. Does nothing when the session is not open.
    void enableStation(int station, bool enable);

    /// True while reads or writes are queued that somebody waits for.
    bool hasWaiting() const;

    // Communication thread --------------------------------------------------------------------------------------------

    /// The next frame to send; null when there is nothing to do. It stays valid until answer().
    const Protocol *next();

    /// RequestPolling, RequestWrite or RequestOnceRead: what next() gave.
    int requestKind() const;

    /// The repeats that are left to the frame in flight before the driver gives it up.
    int repeatsLeft() const { return info_.retryLimit - info_.retryCount; }

    /// The elements that the read in flight serves, T and C as contacts; empty for a write.
    std::vector<Span> spansInFlight() const;

    /// Hands the answer to the frame in flight to the driver; \a length 0 means that nothing came.
    Answer answer(QByteArray *reply, int length, const Verdict &verdict);

    /// Leaves a silent station alone, or takes it back. One that the user has switched off stays off.
    void setStationPresent(int station, bool present);

    /// Entries of the driver's polling list.
    int pollingLength() const;

    /// Takes the entries that the polling read just answered has served, \a entries of them, out of the polling list.
    /// Empty when the list has been changed since that read was built.
    QList<RW_VAR> takeServed(int entries);

    /// Appends entries to the polling list; those of a station that is off wait until it is on again. Does nothing when
    /// setPolling() has replaced the list since \a generation.
    void addPolling(const QList<RW_VAR> &entries, unsigned generation);

    /// Counts the calls of setPolling().
    unsigned pollingGeneration() const;

private:
    static void onReadFinish(qint32 hostHandle, qint32 ownerId, qint32 ownerTag, qint32 status);
    static void onCommError(QList<RW_VAR> *list, qint32 ownerId, qint32 reason);

    std::optional<QString> whyNotHere(const Span &span) const;
    std::optional<QString> whyNotNow(const Span &span) const;
    std::map<int, int> piecesInList(bool write) const;
    int listLength(bool write) const;
    void reconcile(Outcome outcome);
    void park(int station);
    void unpark(int station);
    bool isOff(int station) const { return offByUser_.count(station) || offAsSilent_.count(station); }
    void giveToDriver(QByteArray *reply, int length, const Verdict &verdict, Answer &answer);
    void settle(int kind, int ownerTag, const Answer &answer, const Verdict &verdict);
    Queued refused(const QString &whyNot) const { return {0, whyNot}; }
    void tellEnded(std::unique_lock<std::mutex> &lock);

    struct ReadEvent {
        int ownerTag;
        int status;
    };

    bool isOpen_ = false;
    DriverApi api_;
    SessionSettings settings_;
    ComInfo info_;
    const Protocol *inFlight_ = nullptr; // communication thread

    // Guards what follows, and every driver call that moves entries in or out of the driver's lists, so that the ledger
    // and the lists agree. Taken before any of the driver's own locks.
    mutable std::mutex mutex_;
    RequestLedger ledger_;
    std::vector<ReadEvent> readEvents_; // filled by the driver's callbacks within answer()
    bool commErrorCame_ = false;        // likewise
    std::set<int> offByUser_;
    std::set<int> offAsSilent_;
    std::map<int, QList<RW_VAR>> parked_; // polling entries of stations that are off
    unsigned generation_ = 0;             // of the polling list
    bool listChanged_ = false;            // by us, since the request in flight was chosen
    bool midRequest_ = false;             // frames or repeats of a request are still to come
};

} // namespace fphost

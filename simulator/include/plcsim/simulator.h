// simulator.h - simulated PLCs without sockets and without a clock of their own.
//
//  - A whole request goes in, the whole reply comes out; an empty reply means that the line stays silent.
//  - Every station has its own memory, monitor registration and settings.
//  - All functions may be called from any thread; one inner mutex serves them one after the other.

#pragma once

#include "plcsim/area.h"
#include "plcsim/faults.h"
#include "plcsim/movement.h"
#include "plcsim/settings.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace plcsim
{

/// The two characters with which the host's side addresses a station: '1' above 4 and else '0', then the upper-case
/// hexadecimal digit of the low four bits. 1 -> "01", 5 -> "15", 10 -> "1A", 255 -> "1F".
QByteArray destinationOf(int number);

class Simulator
{
public:
    Simulator();
    ~Simulator();
    Simulator(const Simulator &) = delete;
    Simulator &operator=(const Simulator &) = delete;

    /// Adds a station with all words zero.
    /// \param destination  the two characters that address it on the wire: digits or upper-case letters, not "FF" or
    ///                     "1F", which mean everybody
    /// \param number       0 to 254: the station byte of a binary record
    /// Throws std::invalid_argument when the text, the number or a setting is bad, or when a station with the same
    /// destination or number exists.
    void addStation(const QByteArray &destination, int number, const StationSettings &settings = {});
    bool hasStation(const QByteArray &destination) const;

    struct StationName {
        QByteArray destination;
        int number;
    };
    /// All stations in the order of their destinations.
    std::vector<StationName> stations() const;

    /// Nothing: no such station.
    std::optional<StationSettings> settings(const QByteArray &destination) const;

    /// Replaces a station's settings. Words keep their values as far as the new areas reach; when a size changes, the
    /// monitor registration is forgotten. False: no such station. Throws std::invalid_argument for a bad setting.
    bool setSettings(const QByteArray &destination, const StationSettings &settings);

    /// A station that is off says nothing and executes nothing, broadcasts included; it keeps its memory, but switching
    /// it off makes it forget its monitor registration. False: no such station.
    bool setPowered(const QByteArray &destination, bool on);

    /// Gives a station a plan of faults in place of the one that it had, and starts its random numbers from the plan's
    /// seed; an empty plan ends the faults. False: no such station. Throws std::invalid_argument for a number that is
    /// out of its range.
    bool setFaultPlan(const QByteArray &destination, const FaultPlan &plan);
    std::optional<FaultPlan> faultPlan(const QByteArray &destination) const;

    /// Answers one request.
    /// \param request  one whole frame, header to CR: "%01#RDD0000000001**\r"
    /// Result: the whole reply, "%01$RD05000A0062\r". Empty for a broadcast, for a station that is not there, and for
    /// bytes that are no frame (no header, no CR at the end, too short to name a station).
    QByteArray answer(const QByteArray &request);

    /// Answers one request that came while another was still being answered: error 43 from a station that is there,
    /// "%01!4302\r", and nothing is executed. Empty where answer() would be.
    QByteArray answerTooSoon(const QByteArray &request);

    /// Answers one binary record with a reply in text form: the 24 bytes of a write to DT100 get "%01$WD13\r".
    /// \param record  one whole record: 22 bytes for a read, 22 + value bytes for a write; see recordLength()
    /// Empty for a broadcast (station byte 255), for a station that is not there, and for fewer than 22 bytes.
    QByteArray answerRemote(const QByteArray &record);

    /// The same for a binary record: "%01!4302\\r".
    QByteArray answerRemoteTooSoon(const QByteArray &record);

    /// The word's value; nothing when there is no such station or the area has no such word.
    std::optional<quint16> word(const QByteArray &destination, Area area, int number) const;
    /// False: no such station or word. Knows neither write protection nor modes: it is the PLC's own program writing.
    bool setWord(const QByteArray &destination, Area area, int number, quint16 value);

    /// Bit \a bitNumber mod 16 of word \a bitNumber / 16, in any area.
    std::optional<bool> bit(const QByteArray &destination, Area area, int bitNumber) const;
    bool setBit(const QByteArray &destination, Area area, int bitNumber, bool on);

    /// Adds a movement and writes its first value (Toggle: leaves the bit as it is). Throws std::invalid_argument when
    /// there is no such station or word, or a field is out of its range.
    void addMovement(const QByteArray &destination, const Movement &movement);

    /// Lets time pass: moves the values and lets scans happen. A negative time is taken as 0.
    void advance(qint64 milliseconds);

    /// Reads memory from a file that save() or a person wrote; simulator/README.md describes the format. A station that
    /// the file names and that is not there is added with the sizes of the file. Stations that the file does not name
    /// stay as they are; those that it names hold exactly the words of the file afterwards, others being 0.
    /// Result: nothing, or one line that says what is wrong; then nothing has changed.
    std::optional<QString> load(const QString &fileName);

    /// Writes every station's memory. Result: nothing, or one line that says why not; then an older file of that name
    /// is still there, whole.
    std::optional<QString> save(const QString &fileName) const;

    /// What happened so far, all stations together.
    struct Counters {
        quint64 requests = 0;   // whole requests and records that came in
        quint64 replies = 0;    // normal responses
        quint64 errors = 0;     // error responses
        quint64 writes = 0;     // executed write commands; a broadcast counts once for every station
        quint64 broadcasts = 0; // requests for everybody
        quint64 unanswered = 0; // requests for a station that is not there, and bytes that are no request
        quint64 faults = 0;     // requests that met at least one fault on a Line
    };
    Counters counters() const;

    /// Called after every answer, on the thread that asked and without any lock held; the reply is empty when there is
    /// none. Set it before the traffic starts; an empty function ends it.
    using Trace = std::function<void(const QByteArray &request, const QByteArray &reply)>;
    void setTrace(Trace trace);

    /// The largest frame that any station accepts, so that a receiver knows when to give up on a line.
    int longestFrame() const;

private:
    friend class Line;
    struct Private;
    std::unique_ptr<Private> d;
};

/// The length of the binary record that begins with \a start, or nothing when more bytes are needed to tell.
///
/// The first byte holds the length modulo 256, so it is completed by what the record says of itself. The value bytes
/// of a write are two per word for the word kinds (6 to 14) and for timer and counter contacts (4, 5), one per bit for
/// the bit kinds (0 to 3):
///  - length byte 22, and the value bytes that the count asks for are no multiple of 256: a read, 22 bytes;
///  - length byte 22, and they are a multiple of 256 (a block of 128 words): the flag byte 1 marks a write; with any
///    other flag it is a read if byte 21 is the sum of the bytes before it, otherwise a write;
///  - another length byte: a write of as many value bytes as the count asks for when that fits the length byte,
///    otherwise of as many as the length byte says.
/// \param start  the bytes received so far, from the record's first byte on; 22 are always enough
std::optional<int> recordLength(const QByteArray &start);

/// True when the last byte of a whole record is the sum of all bytes before it, modulo 256.
bool recordSumFits(const QByteArray &record);

} // namespace plcsim

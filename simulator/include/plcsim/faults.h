// faults.h - plans of what goes wrong between a host and a station, each on its own seed.
//
//  - The same plan and the same requests at the same moments give the same faults.
//  - A plan belongs to a station (Simulator::setFaultPlan). What it does to the unit itself holds on every road into
//  it;
//    what it does to answers on their way happens on a Line, and so on every connection of a Server.
//  - Broadcasts, requests that come too soon, and stations that are off have no faults.

#pragma once

#include "plcsim/area.h"

#include <QtCore/QString>

#include <optional>
#include <vector>

namespace plcsim
{

enum class FaultKind {
    // The unit itself.
    DropRequest,   // the request is lost before it is executed
    ErrorResponse, // the request is not executed but answered with an error code
    Restart,    // the unit restarts: the request is lost, the monitor registration forgotten, then silence for a while
    Unreadable, // words that cannot be read
    FrameLimit, // requests and responses above a size are refused with error 27

    // The answer's text; its check is computed anew unless the check is the fault.
    WrongStation,   // another destination in the response
    WrongCommand,   // another command in the response; an error response stays as it is
    ShortData,      // characters missing at the end of the data; without data the response stays as it is
    LongData,       // zeros behind the data; an error response stays as it is
    BadCheck,       // the second digit of the check is another
    LowerCaseCheck, // letters of the check in lower case; a check of digits stays as it is
    JunkBefore,     // random bytes before the response
    JunkAfter,      // and after it

    // The answer's way. The request is executed.
    DropReply, // the answer is lost
    Delay,     // the unit takes its time; until the answer is out, another request comes too soon
    Jitter,    // the same, each time another time
    Late,      // the answer is held up on the way, and with it all that follow; the unit serves on
    Duplicate, // the answer comes twice
    Split,     // every byte comes as a piece of its own
    Drip,      // the same, with a pause between the bytes
    Glue,      // the answer is held back and comes in one piece with the next one of the connection
    Reset,     // instead of the answer the connection is reset
    HalfOpen   // instead of the answer the connection falls silent for good, without being closed
};

constexpr int kEveryTime = 10000; ///< the chance of a fault that meets every request

/// One thing that may go wrong with a request.
struct Fault {
    FaultKind kind = FaultKind::DropReply;

    /// How often, in ten-thousandths: 0 to 10,000. Unreadable and FrameLimit hold always (10,000).
    int chance = kEveryTime;

    // clang-format off
    /// What the number means, and its range:
    ///   Delay, Late, Drip, Restart   milliseconds, 0 to 3,600,000 (Drip: between two bytes)
    ///   Jitter                       shortest delay in milliseconds, 0 to 3,600,000
    ///   JunkBefore, JunkAfter        bytes, 1 to 1,000
    ///   ShortData, LongData          characters, 1 to 1,000
    ///   ErrorResponse                error code, 0 to 255, or kAnyError: each time another
    ///   FrameLimit                   characters, 9 to 500,000
    ///   Unreadable                   first word, 0 to 99,999
    // clang-format on
    int number = 0;
    int last = 0;         // Jitter: longest delay; Unreadable: last word; not below number
    Area area = Area::DT; // Unreadable
    int errorCode = 0x61; // Unreadable: what is answered, 0 to 255
};

constexpr int kAnyError = -1;

/// The faults of one station. Each is decided for itself, so several may meet in one answer.
struct FaultPlan {
    quint32 seed = 1;
    std::vector<Fault> faults;

    /// Reads a plan from text: entries separated by ';' or line ends, each a name, how often, and its numbers.
    ///
    ///     seed 7; drop 5%; delay 2.5% 30; jitter 0..20; error 1% any; error 0.5% 53; unreadable DT100..199 61
    ///
    /// Names: drop-request, error CODE, restart MS, unreadable AREA FIRST..LAST [CODE] (AREA and FIRST run together),
    /// frame-limit N, wrong-station, wrong-command, short-data N, long-data N, bad-check, lower-case-check,
    /// junk-before N, junk-after N, drop, delay MS, jitter MS..MS, late MS, duplicate, split, drip MS, glue, reset,
    /// half-open. A CODE has two hexadecimal digits, "any" takes all. Without a percentage the fault happens always.
    /// An empty text is a plan without faults.
    /// \param fault  receives one line that says what is wrong when nothing is returned; may be null
    static std::optional<FaultPlan> parse(const QString &text, QString *fault = nullptr);

    /// The plan as text that parse() reads: "seed 7; drop 5%; delay 2.5% 30".
    QString describe() const;
};

} // namespace plcsim

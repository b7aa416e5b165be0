// settings.h - what one simulated PLC is like: sizes, limits, mode, protection, identity.

#pragma once

#include "plcsim/area.h"

#include <QtCore/QByteArray>

#include <set>
#include <vector>

namespace plcsim
{

constexpr int kFrameLimit = 118;           // characters of a '%' frame, header to CR, request and response alike
constexpr int kExtendedFrameLimit = 2048;  // characters of a '<' frame
constexpr int kLargestFrameLimit = 500000; // largest limit that a setting may name: room for every word of DT

enum class Mode { Run, Prog };

/// A run of words, both ends included.
struct WordRange {
    Area area;
    int first;
    int last;
};

/// What the status command (RT) tells. Two hexadecimal characters each, the self-diagnosis a word.
struct Identity {
    quint8 model = 0x20;
    quint8 version = 0x10;
    quint8 programSize = 0x10; // in units of 1,024 steps
    quint8 link = 0x00;
    quint8 errorFlags = 0x00;
    quint16 selfDiagnosis = 0;
};

/// One station's settings. The defaults are those of a large model in RUN mode.
struct StationSettings {
    AreaSizes words;

    /// Characters that a '%' frame may have, header to CR: 9 (an error response) to kLargestFrameLimit. A longer
    /// request, or a request whose response would be longer, is answered with error 27. The published limit is the
    /// default; a larger one makes a unit that takes bigger blocks with this header.
    int frameLimit = kFrameLimit;

    /// The same for '<' frames. Without extendedFrames the unit takes '<' for noise and says nothing.
    int extendedFrameLimit = kExtendedFrameLimit;
    bool extendedFrames = true;

    Mode mode = Mode::Run;

    /// Commands, named as on the wire ("WD", "WCS"), that the unit does not have (error 42) or that it refuses in a
    /// mode (error 63).
    std::set<QByteArray> missingCommands;
    std::set<QByteArray> forbiddenInRun;
    std::set<QByteArray> forbiddenInProg;

    /// A write that touches one of these words changes nothing and is answered with error 65.
    std::vector<WordRange> writeProtected;

    bool busy = false;   // every command is answered with error 53
    int scanTimeMs = 10; // at least 1; the monitor response counts scans

    Identity identity;
};

} // namespace plcsim

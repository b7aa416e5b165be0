// assignments.h - what fplink write is to write, as people write it.
//
//  - Pure function over text.

#pragma once

#include "host/areas.h"

#include <QtCore/QByteArray>
#include <QtCore/QStringList>

#include <optional>
#include <vector>

namespace fplink
{

/// One write as it was asked for.
struct Assignment {
    fphost::Span span;
    QStringList values; // as text
    QByteArray bytes;   // as the driver takes them
};

/// Reads ADDRESS=VALUE[,VALUE...] as often as wanted, or one ADDRESS and its values; a count may be left out when there
/// are several values:
///   DT100=5,-1 R10F=1     DT100:3 1 2 0x1F
/// \param texts    at least one
/// \param station  of addresses that name none
/// Result: nothing, and the writes in \a all; otherwise one line that says what is wrong, and \a all is untouched.
std::optional<QString> parseAssignments(const QStringList &texts, int station, std::vector<Assignment> *all);

} // namespace fplink

// demo.h - what fplink watch shows when nothing was asked for: every memory area of the embedded simulator moving, and
// writes whose arrival is looked up in the simulated PLC's own memory.

#pragma once

#include "connection.h"

#include <vector>

namespace fplink
{

/// The elements to watch: every kind of area, and the targets of the writes.
std::vector<fphost::Span> demoSpans();

/// One place that the demonstration writes to, again and again.
struct DemoTarget {
    fphost::Span span;
    int written = 0; // writes that were begun
    int arrived = 0; // of which so many stood in the PLC's memory afterwards
    QString last;    // of the last one: its values
    QString trouble; // of the last one that did not arrive
};

class DemoWrites
{
public:
    explicit DemoWrites(Connection &connection);

    /// Writes the next target's next values over the connection and looks them up in the simulated memory.
    /// Result: a line that tells what came of it, "DT500:40 = 1000 1007 ... arrived".
    QString writeNext();

    const std::vector<DemoTarget> &targets() const { return targets_; }

private:
    Connection &connection_;
    std::vector<DemoTarget> targets_;
    std::size_t next_ = 0;
};

} // namespace fplink

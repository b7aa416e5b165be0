// demo.cpp - see demo.h.

#include "demo.h"

#include "movement_text.h"
#include "numbers.h"

namespace fplink
{

using fphost::Span;

namespace
{

constexpr int kStation = 1;
constexpr int kShownValues = 3;

// All kinds of areas; the embedded simulator moves values among these.
const char *const kWatched[] = {"X0:2",  "Y10:2", "R20:2", "L30:2", "T5:2",  "C7:2",  "WX1:2", "WY2:2",
                                "WR3:2", "WL4:2", "DT0:6", "LD0:2", "FL0:2", "SV0:2", "EV0:2"};

// Every kind that can be written, away from what moves; single values, long runs that need several requests, bits.
const char *const kTargets[] = {"DT500:40", "Y500", "R50F:3",  "L508",     "WY60", "WR61:20",
                                "WL62:2",   "DT9",  "LD500:3", "FL500:17", "SV50", "EV50:2"};

std::vector<Span> spansOf(const char *const *texts, std::size_t count)
{
    std::vector<Span> spans;
    for (std::size_t i = 0; i < count; ++i) {
        Span span;
        parseAddress(QString::fromLatin1(texts[i]), kStation, &span);
        spans.push_back(span);
    }
    return spans;
}

/// Values that no other round and no other element has.
QStringList valuesOf(const Span &span, int round)
{
    QStringList values;
    for (int i = 0; i < span.count; ++i) {
        const bool bit = fphost::areaRow(span.kind)->bits;
        values.append(QString::number(bit ? (round + i + 1) % 2 : (1000 * (round + 1) + 7 * i) % 65536));
    }
    return values;
}

bool standsInMemory(plcsim::Simulator &simulator, const Span &span, const QByteArray &bytes)
{
    const QByteArray plc = plcsim::destinationOf(span.station);
    const plcsim::Area area = simulatedArea(span.kind);
    for (int i = 0; i < span.count; ++i) {
        const int value = valueAt(bytes, span.kind, i);
        const bool same = fphost::areaRow(span.kind)->bits ? simulator.bit(plc, area, span.first + i) == (value == 1)
                                                           : simulator.word(plc, area, span.first + i) == value;
        if (!same)
            return false;
    }
    return true;
}

} // namespace

std::vector<Span> demoSpans()
{
    std::vector<Span> spans = spansOf(kWatched, std::size(kWatched));
    for (Span span : spansOf(kTargets, std::size(kTargets))) {
        span.count = 1; // of a long run the first value is enough to look at
        spans.push_back(span);
    }
    return spans;
}

DemoWrites::DemoWrites(Connection &connection) : connection_(connection)
{
    for (const Span &span : spansOf(kTargets, std::size(kTargets))) {
        DemoTarget target;
        target.span = span;
        targets_.push_back(target);
    }
}

QString DemoWrites::writeNext()
{
    DemoTarget &target = targets_[next_];
    next_ = (next_ + 1) % targets_.size();
    const QStringList values = valuesOf(target.span, target.written);
    ++target.written;
    target.last = QStringList(values.mid(0, kShownValues)).join(QLatin1Char(' '));
    if (values.size() > kShownValues)
        target.last += QStringLiteral(" ...");
    QByteArray bytes;
    parseValues(target.span, values, &bytes);
    if (const std::optional<Failure> failure = connection_.write(target.span, bytes))
        target.trouble = failure->text;
    else if (!standsInMemory(connection_.embedded()->simulator(), target.span, bytes))
        target.trouble = QStringLiteral("%1: acknowledged, but the PLC's memory holds something else")
                             .arg(addressOf(target.span, false));
    else
        ++target.arrived;
    return QStringLiteral("%1 = %2  %3")
        .arg(addressOf(target.span, false), target.last,
             target.arrived == target.written ? QStringLiteral("arrived") : target.trouble);
}

} // namespace fplink

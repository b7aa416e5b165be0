// fuzz_texts.cpp - every text that a person hands to the command line tool: addresses, end points, values, moving
// values, memory files.
//
// Invariant: a text is either taken, and then what was read lies within its limits and reads back from its own spelling
// as the same, or refused in one line, and then nothing is touched.

#include "invariant.h"

#include "dice.h"
#include "fplink/address.h"
#include "fplink/movement_text.h"
#include "fplink/numbers.h"
#include "plcsim/simulator.h"

#include <QtCore/QTemporaryFile>

#include <stdexcept>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size);

/// A refusal quotes the text as it is, so a text of several lines is not asked for one.
static void requireOneLine(const std::optional<QString> &why, const QString &text)
{
    const bool oneLine = !why->contains(QLatin1Char('\n')) || text.contains(QLatin1Char('\n'));
    require(!why->isEmpty() && oneLine, "a refusal is one line: " + why->toStdString());
}

static void checkAddress(const QString &text)
{
    const fphost::Span untouched = {77, 78, 79, 80};
    fphost::Span span = untouched;
    if (const std::optional<QString> why = fplink::parseAddress(text, 5, &span)) {
        requireOneLine(why, text);
        require(span == untouched, "a refused address touches nothing");
        return;
    }
    const fphost::AreaRow *const row = fphost::areaRow(span.kind);
    require(row != nullptr, "an address names an area");
    require(span.first >= 0 && span.count >= 1 && span.first <= row->elements - span.count,
            "the elements lie inside their area");
    require(span.station >= 0 && span.station <= 255, "the station is one byte");
    fphost::Span again;
    require(!fplink::parseAddress(fplink::addressOf(span, true), 9, &again) && again == span,
            "an address reads back as the same elements: " + text.toStdString());
}

static void checkEndpoint(const QString &text)
{
    fplink::Endpoint endpoint;
    if (const std::optional<QString> why = fplink::parseEndpoint(text, &endpoint)) {
        requireOneLine(why, text);
        return;
    }
    require(!endpoint.host.isEmpty() && endpoint.port > 0, "an end point has a host and a port");
    fplink::Endpoint again;
    require(!fplink::parseEndpoint(fplink::endpointText(endpoint), &again) && again.host == endpoint.host &&
                again.port == endpoint.port,
            "an end point reads back as the same: " + text.toStdString());
}

static void checkValues(const QString &text, Dice &dice)
{
    fphost::Span span;
    span.kind = dice.below(15);
    span.count = dice.from(1, 3);
    const QStringList texts = text.split(QLatin1Char(' '));
    QByteArray bytes = "untouched";
    if (const std::optional<QString> why = fplink::parseValues(span, texts, &bytes)) {
        requireOneLine(why, text);
        require(bytes == "untouched", "refused values touch nothing");
        return;
    }
    require(texts.size() == span.count && bytes.size() == fphost::valueBytes(span.kind, span.count),
            "values have the bytes that the elements take");
    for (int i = 0; i < span.count; ++i) {
        const int value = fplink::valueAt(bytes, span.kind, i);
        require(value >= 0 && value <= (fphost::areaRow(span.kind)->bits ? 1 : 65535), "a value is within its limits");
    }
}

static void checkMovement(const QString &text)
{
    fplink::StationMovement parsed;
    if (const std::optional<QString> why = fplink::parseMovement(text, 1, &parsed)) {
        requireOneLine(why, text);
        return;
    }
    plcsim::StationSettings everything;
    everything.words = plcsim::AreaSizes::largest();
    plcsim::Simulator plc;
    plc.addStation("01", 1, everything);
    try {
        plc.addMovement("01", parsed.movement);
    } catch (const std::invalid_argument &) {
        return; // a word that this unit does not have
    }
    plc.advance(10000);
    const plcsim::Movement &movement = parsed.movement;
    if (movement.shape == plcsim::Movement::Shape::Toggle)
        return;
    const std::optional<quint16> value = plc.word("01", movement.area, movement.number);
    require(value && *value >= movement.low && *value <= movement.high, "a moving word stays between low and high");
}

static void checkMemoryFile(const QByteArray &contents)
{
    static QTemporaryFile file, saved;
    require(file.isOpen() || file.open(), "a temporary file can be made");
    require(saved.isOpen() || saved.open(), "a temporary file can be made");
    file.resize(0);
    file.seek(0);
    file.write(contents);
    file.flush();
    plcsim::Simulator plc, again;
    if (const std::optional<QString> why = plc.load(file.fileName())) {
        requireOneLine(why, QString::fromUtf8(contents));
        require(plc.stations().empty(), "a refused file changes nothing");
        return;
    }
    require(!plc.save(saved.fileName()), "what was loaded can be saved");
    require(!again.load(saved.fileName()), "what was saved can be loaded");
    require(again.stations().size() == plc.stations().size(), "a file keeps its stations");
    for (const plcsim::Simulator::StationName &station : plc.stations())
        for (const plcsim::Area area : plcsim::allAreas())
            for (int number = 0; number < 40; ++number)
                require(again.word(station.destination, area, number) == plc.word(station.destination, area, number),
                        "a file keeps its words");
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    if (size < 2)
        return 0;
    ByteDice dice(bytes + 1, 1);
    const QByteArray contents(reinterpret_cast<const char *>(bytes + 2), int(size) - 2);
    const QString text = QString::fromUtf8(contents);
    switch (bytes[0] % 5) {
    case 0:
        checkAddress(text);
        break;
    case 1:
        checkEndpoint(text);
        break;
    case 2:
        checkValues(text, dice);
        break;
    case 3:
        checkMovement(text);
        break;
    default:
        checkMemoryFile(contents);
    }
    return 0;
}

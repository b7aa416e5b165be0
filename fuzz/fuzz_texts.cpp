// fuzz_texts.cpp - every text that a person hands to the command line tool: addresses, end points, values, writes,
// moving values, memory files, whole command lines; and the simulator's fault plans.
//
// Invariant: a text is either taken, and then what was read lies within its limits and reads back from its own spelling
// as the same, or refused, and then nothing is touched. A refusal is one line of printable text and not longer than a
// person reads, whatever it quotes.

#include "invariant.h"

#include "dice.h"
#include "fplink/address.h"
#include "fplink/assignments.h"
#include "fplink/movement_text.h"
#include "fplink/numbers.h"
#include "fplink/program.h"
#include "fplink/shown_text.h"
#include "plcsim/simulator.h"

#include <QtCore/QTemporaryFile>
#include <QtCore/QVector>

#include <algorithm>
#include <cstring>
#include <stdexcept>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size);

static bool isPrintable(uint character)
{
    switch (QChar::category(character)) {
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Other_Surrogate:
    case QChar::Other_PrivateUse:
    case QChar::Other_NotAssigned:
        return false;
    default:
        return character != QChar::ReplacementCharacter;
    }
}

static void requirePrintable(const QString &text)
{
    for (const uint character : text.toUcs4())
        require(isPrintable(character), "what is shown is printable: " + text.toStdString());
}

constexpr int kLongestRefusal = 3000; // three quotes of 80 characters that are all spelled out, and their words

static void requireRefusal(const QString &why)
{
    require(!why.isEmpty() && why.size() <= kLongestRefusal, "a refusal is short: " + why.toStdString());
    requirePrintable(why);
}

/// A refusal by the simulator or the command line's parser, as fplink shows it.
static void requireShownRefusal(const QString &why)
{
    const QString line = fplink::errorLine({fplink::ExitCode::Usage, why});
    require(!why.isEmpty() && line.startsWith(QLatin1String("fplink: ")) && line.endsWith(QLatin1Char('\n')),
            "a failure is a line");
    requirePrintable(line.chopped(1));
}

static void checkAddress(const QString &text)
{
    const fphost::Span untouched = {77, 78, 79, 80};
    fphost::Span span = untouched;
    if (const std::optional<QString> why = fplink::parseAddress(text, 5, &span)) {
        requireRefusal(*why);
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
        requireRefusal(*why);
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
        requireRefusal(*why);
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
        requireRefusal(*why);
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
        requireShownRefusal(*why);
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

static void checkAssignments(const QString &text)
{
    std::vector<fplink::Assignment> all;
    if (const std::optional<QString> why = fplink::parseAssignments(text.split(QLatin1Char(' ')), 5, &all)) {
        requireRefusal(*why);
        require(all.empty(), "refused writes touch nothing");
        return;
    }
    require(!all.empty(), "writes that are taken are not none");
    for (const fplink::Assignment &one : all) {
        const fphost::AreaRow *const row = fphost::areaRow(one.span.kind);
        require(row != nullptr && row->writable > 0, "what is written is in an area that can be");
        require(one.span.first >= 0 && one.span.count >= 1 && one.span.first <= row->writable - one.span.count,
                "the elements can be written");
        require(one.values.size() == one.span.count &&
                    one.bytes.size() == fphost::valueBytes(one.span.kind, one.span.count),
                "there is one value for each element");
    }
}

static void checkFaultPlan(const QString &text)
{
    QString why;
    const std::optional<plcsim::FaultPlan> plan = plcsim::FaultPlan::parse(text, &why);
    if (!plan) {
        requireShownRefusal(why);
        return;
    }
    const std::optional<plcsim::FaultPlan> again = plcsim::FaultPlan::parse(plan->describe());
    require(again && again->describe() == plan->describe() && again->faults.size() == plan->faults.size(),
            "a plan reads back as the same: " + text.toStdString());
    plcsim::Simulator plc;
    plc.addStation("01", 1);
    plc.setFaultPlan("01", *plan); // throws when a number is out of its range
}

/// The arguments of a command line, a zero byte behind each.
static void checkCommandLine(const QByteArray &contents)
{
    std::vector<const char *> arguments = {"fplink"};
    for (const char *at = contents.constData(); at < contents.constData() + contents.size(); at += std::strlen(at) + 1)
        arguments.push_back(at);
    fplink::Program program;
    if (const std::optional<fplink::Failure> failure = program.parse(int(arguments.size()), arguments.data())) {
        require(failure->code == fplink::ExitCode::Usage, "a command line is refused as bad usage");
        requireShownRefusal(failure->text);
    }
}

static void checkShown(const QString &text)
{
    const QString once = fplink::shown(text);
    requirePrintable(once);
    require(fplink::shown(once) == once, "what is shown is not changed again");
    const QVector<uint> characters = text.toUcs4();
    const bool plain = std::all_of(characters.begin(), characters.end(), isPrintable);
    require(!plain || once == text, "printable text is shown as it is");
    require(fplink::quoted(text).size() <= 80 * 10 + 3, "a quote is short");
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    if (size < 2)
        return 0;
    ByteDice dice(bytes + 1, 1);
    const QByteArray contents(reinterpret_cast<const char *>(bytes + 2), int(size) - 2);
    const QString text = QString::fromUtf8(contents);
    switch (bytes[0] % 9) {
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
    case 4:
        checkMemoryFile(contents);
        break;
    case 5:
        checkAssignments(text);
        break;
    case 6:
        checkFaultPlan(text);
        break;
    case 7:
        checkCommandLine(contents);
        break;
    default:
        checkShown(text);
    }
    return 0;
}
